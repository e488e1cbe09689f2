#include <orvcore/render/ColorBackground.h>

namespace orvcore {

// A frame reaches the device through the renderer, which hands it to
// ClearView; this entry point has nothing of its own to draw.
void ColorBackground::Render(Renderer*, const std::shared_ptr<Camera>&) {}

} // namespace orvcore
