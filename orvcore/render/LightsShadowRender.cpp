#include <orvcore/render/LightsShadowRender.h>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvcore/scene/SceneManager.h>

namespace orvcore {

LightsShadowRender::LightsShadowRender() = default;
LightsShadowRender::~LightsShadowRender() = default;

void LightsShadowRender::Initialize(RenderDevice*)
{
    if (m_DepthMaterial)
        return;
    m_DepthMaterial = MaterialManager::Instance().Create("System.DepthMaterial", "depth");
    m_DepthMaterial->SetFaceSide(FACE_DOUBLE);
}

void LightsShadowRender::Render(const std::shared_ptr<SceneManager>& manager, RenderDevice* device)
{
    if (!device) {
        Logger::Instance().Waring("Device is null!");
        return;
    }
    LightManager* lights = manager ? manager->GetLightManager() : nullptr;
    if (!lights || !m_DepthMaterial)
        return;
    const std::shared_ptr<RenderTarget> target = device->GetTarget();
    const std::shared_ptr<Camera>& camera = manager->GetCamera();
    lights->DrawShadow(device, camera, m_DepthMaterial, [&](const std::shared_ptr<Camera>& lightCamera) {
        CollectCasters(*manager, lightCamera, m_Casters);
        m_Casters.RenderWithoutMaterial(device);
    });
    device->SetTarget(target, camera);
}

} // namespace orvcore
