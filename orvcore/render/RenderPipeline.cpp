#include <orvcore/render/RenderPipeline.h>
#include <orvcore/render/RenderPipeline.h>

#include <orvkernel/device/RenderDevice.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/SceneManager.h>

namespace orvcore {

RenderPipeline::~RenderPipeline() = default;
bool RenderPipeline::Initialize(Renderer*) { return true; }
void RenderPipeline::Destroy() {}

void RenderPipeline::Prepare(const std::shared_ptr<SceneManager>&, Renderer* renderer)
{
    if (renderer)
        renderer->Prepare();
}

void RenderPipeline::Render(const std::shared_ptr<Scene2D>& scene2D, const std::shared_ptr<Camera>& camera,
                            Renderer* renderer, float)
{
    if (renderer)
        renderer->RenderForegound(scene2D, camera);
}

} // namespace orvcore
