#include <orvcore/render/BasicPipeline.h>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/SceneManager.h>

namespace orvcore {

void BasicPipeline::Render(const std::shared_ptr<SceneManager>& manager, Renderer* renderer, float)
{
    if (!manager || !renderer || !renderer->GetDevice()) {
        Logger::Instance().Waring("Renderer is not ready!");
        return;
    }
    RenderDevice* device = renderer->GetDevice();
    const std::shared_ptr<Camera>& camera = manager->GetCamera();
    device->SetCamera(camera);
    renderer->RenderShadowMap(manager);
    renderer->RenderBackground(manager->GetBackground(), camera);
    renderer->RenderModel(manager, camera, nullptr);
    renderer->DrawSelection(manager, camera);
    renderer->RenderForegound(manager->GetScene2D(), camera);
    device->Gc();
}

} // namespace orvcore
