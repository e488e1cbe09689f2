#include <orvrender/RenderSession.h>

#include <algorithm>

#include <glm/geometric.hpp>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/ViewCubeRenderer.h>
#include <orvcore/scene/SceneManager.h>
#include <orvrender/SceneJson.h>

// Picks on the view cube overlay: the element under the point and the
// standard view it stands for; a selecting click turns the camera there.

namespace orvrender {

bool RenderSession::PickOverlay(int x, int y, bool turn, PickReport& report)
{
    auto* cube = m_Renderer ? dynamic_cast<orvcore::ViewCubeRenderer*>(m_Renderer->GetViewWidget()) : nullptr;
    if (!cube)
        return false;
    const std::shared_ptr<orvcore::Camera>& camera = m_Manager->GetCamera();
    const auto answer = m_Renderer->HitTestViewWidget(x, y, camera);
    if (!answer.first)
        return false;
    report.hit = true;
    report.overlay = "cube";
    report.element = cube->GetLastHit();
    report.view = json::ViewName(answer.second);
    const orvcore::AxisAlignedBox& box = m_Manager->GetSceneBBox();
    glm::vec3 direction, up;
    if (turn && box.isFinite() && orvcore::CameraOperator::GetStandardViewDirection(answer.second, direction, up)) {
        // As a scene file's "fit": the model framed tightly from that side.
        camera->LookAt(box.getCenter() - direction * std::max(glm::length(box.getSize()), 1.0f), box.getCenter(), up);
        orvcore::CameraOperator::FitToBox(*camera, box, 0.04f);
        orvcore::CameraOperator::EncloseInClipRange(*camera, m_Manager->GetWorldBBox());
    }
    return true;
}

} // namespace orvrender
