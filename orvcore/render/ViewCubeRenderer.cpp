#include <orvcore/render/ViewCubeRenderer.h>

#include <cmath>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/SceneNodeRenderer.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/widget/ViewCube.h>

namespace orvcore {

ViewCubeRenderer::ViewCubeRenderer() = default;
ViewCubeRenderer::~ViewCubeRenderer() = default;

bool ViewCubeRenderer::Initialize(Renderer* renderer)
{
    if (m_Cube)
        return true;
    m_Cube = ViewCube::Create(5.0f);
    m_Distance = -200.0f;
    const unsigned int size = unsigned(m_ViewportSize);
    m_Camera = std::make_shared<Camera>(size, size, glm::vec3(100.0f), glm::vec3(0.0f), glm::vec3(0, 0, 1));
    // Orthographic: the cube keeps its parallel edges however close it is.
    m_Camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    const float dpi = renderer ? renderer->GetDpiScaling() : 1.0f;
    m_Camera->SetZoomFactor(0.15f / (std::isfinite(dpi) && dpi > 0.0f ? dpi : 1.0f));
    m_Camera->SetClipRange(1.0f, 400.0f);
    m_Camera->UpdateViewMatrix();
    SetPosition(0);
    CollectItems(*m_Cube, m_Items);
    return true;
}

void ViewCubeRenderer::Render(Renderer* renderer, const std::shared_ptr<Camera>& camera)
{
    if (!DrawItems(renderer, camera, m_Items))
        return;
    RenderDevice* device = renderer->GetDevice();
    if (PrimitiveSceneNode* hover = m_Cube->GetHoverNode()) {
        SceneNodeRenderer nodeRenderer(device, m_Cube->GetHoverMaterial());
        nodeRenderer.SetKeepCurrentMaterial(true);
        device->ActiveMaterial(m_Cube->GetHoverMaterial());
        hover->Accept(nodeRenderer);
    }
    device->SetCamera(camera);
}

std::pair<bool, unsigned int> ViewCubeRenderer::HitTest(unsigned int x, unsigned int y)
{
    if (!m_Visible || !m_Cube || !m_Camera || !m_Camera->Contain(int(x), int(y)))
        return {false, 0u};
    Raycaster caster(m_Camera, 7, int(x), int(y));
    caster.HitTest(m_Cube);
    const SceneNode* hit = caster.GetCount() > 0 ? caster.GetTopItem().GetNode() : nullptr;
    m_LastHit = hit ? unsigned(hit->GetUserId()) : 0u;
    m_Cube->SetHoverElement(m_LastHit);
    return {hit != nullptr, m_LastHit};
}

EnumStandardView ViewCubeRenderer::SyncCamera(const std::shared_ptr<Camera>&)
{
    if (!m_Cube || !m_Cube->GetElementNode(m_LastHit)) {
        Logger::Instance().Waring("Node is null!");
        return STANDARD_VIEW_NONE;
    }
    return ViewCube::GetStandardView(m_LastHit);
}

} // namespace orvcore
