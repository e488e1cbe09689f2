#include <orvcore/render/ColorBackground.h>

#include <orvcore/render/Renderer.h>

namespace orvcore {

void ColorBackground::Render(Renderer* renderer, const std::shared_ptr<Camera>&)
{
    ClearView(renderer ? renderer->GetDevice() : nullptr);
}

} // namespace orvcore
