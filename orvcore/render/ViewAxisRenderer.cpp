#include <orvcore/render/ViewAxisRenderer.h>

#include <algorithm>
#include <cmath>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/widget/AxisWidget.h>

namespace orvcore {

ViewAxisRenderer::ViewAxisRenderer() = default;
ViewAxisRenderer::~ViewAxisRenderer() = default;

bool ViewAxisRenderer::Initialize(Renderer* renderer)
{
    if (m_Axis)
        return true;
    m_Axis = AxisWidget::Create(5.0f, glm::vec3(40.0f));
    const unsigned int size = unsigned(m_ViewportSize);
    m_Camera = std::make_shared<Camera>(size, size, glm::vec3(100.0f), glm::vec3(0.0f), glm::vec3(0, 0, 1));
    m_Camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    const float dpi = renderer ? renderer->GetDpiScaling() : 1.0f;
    m_Camera->SetZoomFactor(0.15f / (std::isfinite(dpi) && dpi > 0.0f ? dpi : 1.0f));
    const AxisAlignedBox& box = m_Axis->GetBoundingBox();
    CameraOperator::ZoomToBBox(m_Camera, box, 1.1f);
    // The triad is looked at around its origin, not its box centre: keep the
    // framing distance, on the viewer's side, with a clip range that holds
    // every arrow whichever way it points.
    m_Distance = -m_Camera->GetDistance();
    const float reach = std::max(glm::length(box.getMaximum()), glm::length(box.getMinimum()));
    m_Camera->SetClipRange(-m_Distance - 2.0f * reach, -m_Distance + 2.0f * reach);
    SetPosition(0);
    CollectItems(*m_Axis, m_Items);
    return true;
}

void ViewAxisRenderer::SetCoordinateWidgetText(const std::wstring& x, const std::wstring& y, const std::wstring& z)
{
    if (!m_Axis)
        return;
    m_Axis->SetLabels(x, y, z);
    m_Axis->UpdateTransform(glm::mat4(1.0f));
    CollectItems(*m_Axis, m_Items);
}

void ViewAxisRenderer::Render(Renderer* renderer, const std::shared_ptr<Camera>& camera)
{
    if (!DrawItems(renderer, camera, m_Items))
        return;
    RenderDevice* device = renderer->GetDevice();
    // Drawn under the model: the model must not be hidden by the triad's depth.
    device->ClearBuffers(CLEAR_DEPTH);
    device->SetCamera(camera);
}

std::pair<bool, unsigned int> ViewAxisRenderer::HitTest(unsigned int, unsigned int) { return {false, 0u}; }

EnumStandardView ViewAxisRenderer::SyncCamera(const std::shared_ptr<Camera>&) { return STANDARD_VIEW_ISOMETRIC; }

} // namespace orvcore
