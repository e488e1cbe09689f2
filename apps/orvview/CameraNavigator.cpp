#include <orvview/CameraNavigator.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/mat3x3.hpp>

#include <orvkernel/camera/CameraOperator.h>

namespace orvview {

using orvcore::AxisAlignedBox;
using orvcore::Camera;
using orvcore::CameraOperator;

namespace {

// Radians of orbit per pixel of mouse motion: half a turn over 400 pixels.
constexpr float kOrbitPerPixel = 3.14159265f / 400.0f;
// Each wheel notch brings the camera this much closer to the focus.
constexpr float kZoomPerStep = 0.85f;
// Margin left free around a framed box, as a fraction of the view.
constexpr float kFitMargin = 0.04f;

// Camera-to-world rotation of a view direction and up vector.
glm::quat Orientation(const glm::vec3& direction, const glm::vec3& up)
{
    const glm::vec3 right = glm::normalize(glm::cross(direction, up));
    const glm::vec3 trueUp = glm::cross(right, direction);
    return glm::quat_cast(glm::mat3(right, trueUp, -direction));
}

bool Finite(const glm::vec3& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

} // namespace

CameraNavigator::CameraNavigator(std::shared_ptr<Camera> camera) : m_Camera(std::move(camera)) {}

void CameraNavigator::SetWorldBox(const AxisAlignedBox& box)
{
    m_WorldBox = box;
    FitClipRange();
}

void CameraNavigator::FitClipRange()
{
    if (!m_WorldBox.isFinite())
        return;
    const glm::vec3 centre = m_WorldBox.getCenter();
    const float radius = 0.5f * glm::length(m_WorldBox.getSize()) * 1.02f + 1e-3f;
    const float depth = glm::dot(centre - m_Camera->GetEye(), m_Camera->GetDirection());
    float farPlane = depth + radius;
    float nearPlane = depth - radius;
    if (m_Camera->GetProjectionType() == Camera::PROJECTION_PERSPECTIVE) {
        // The whole box behind the eye: keep a valid range, nothing to see.
        if (farPlane <= 0.0f)
            farPlane = radius;
        nearPlane = std::max(nearPlane, farPlane * 1e-4f);
    }
    if (farPlane > nearPlane)
        m_Camera->SetClipRange(nearPlane, farPlane);
}

void CameraNavigator::Orbit(const glm::vec3& pivot, const glm::vec2& deltaPixels)
{
    m_Gliding = false;
    m_View = orvcore::STANDARD_VIEW_NONE;
    const glm::vec3 right = glm::normalize(glm::cross(m_Camera->GetDirection(), m_Camera->GetUp()));
    const glm::mat4 yaw = glm::rotate(glm::mat4(1.0f), -deltaPixels.x * kOrbitPerPixel, glm::vec3(0, 0, 1));
    const glm::mat4 pitch = glm::rotate(glm::mat4(1.0f), -deltaPixels.y * kOrbitPerPixel, right);
    const glm::mat3 turn = glm::mat3(yaw * pitch);
    const glm::vec3 eye = pivot + turn * (m_Camera->GetEye() - pivot);
    const glm::vec3 target = pivot + turn * (m_Camera->GetTarget() - pivot);
    const glm::vec3 up = turn * m_Camera->GetUp();
    if (!Finite(eye) || !Finite(target))
        return;
    m_Camera->LookAt(eye, target, up);
    FitClipRange();
}

void CameraNavigator::Pan(const glm::vec3& anchor, const glm::vec2& from, const glm::vec2& to)
{
    m_Gliding = false;
    const float depth = CameraOperator::WorldPointToWindowPoint(*m_Camera, anchor).z;
    const glm::vec3 a = CameraOperator::WindowPointToWorldPoint(*m_Camera, glm::vec3(from, depth));
    const glm::vec3 b = CameraOperator::WindowPointToWorldPoint(*m_Camera, glm::vec3(to, depth));
    const glm::vec3 delta = b - a;
    if (!Finite(delta))
        return;
    m_Camera->LookAt(m_Camera->GetEye() - delta, m_Camera->GetTarget() - delta, m_Camera->GetUp());
    FitClipRange();
}

void CameraNavigator::ZoomAt(const glm::vec3& focus, float steps)
{
    m_Gliding = false;
    const float scale = std::pow(kZoomPerStep, steps);
    const float distance = m_Camera->GetDistance() * scale;
    // Neither closer than a millionth of the model nor farther than a
    // thousand times its size: the view stays usable either way.
    const float size = m_WorldBox.isFinite() ? std::max(glm::length(m_WorldBox.getSize()), 1e-3f) : 1.0f;
    if (!std::isfinite(scale) || distance < size * 1e-6f || distance > size * 1e3f)
        return;
    const glm::vec3 eye = m_Camera->GetEye() + (focus - m_Camera->GetEye()) * (1.0f - scale);
    const glm::vec3 target = eye + m_Camera->GetDirection() * distance;
    if (!Finite(eye) || !Finite(target))
        return;
    m_Camera->LookAt(eye, target, m_Camera->GetUp());
    FitClipRange();
}

glm::vec3 CameraNavigator::PointOnTargetPlane(float x, float y) const
{
    const orvcore::Ray ray = CameraOperator::WindowPointToRay(*m_Camera, x, y);
    const glm::vec3 direction = m_Camera->GetDirection();
    const float along = glm::dot(ray.getDirection(), direction);
    if (std::abs(along) < 1e-6f)
        return m_Camera->GetTarget();
    const float t = glm::dot(m_Camera->GetTarget() - ray.getOrigin(), direction) / along;
    return ray.getOrigin() + ray.getDirection() * t;
}

float CameraNavigator::PixelSizeAt(const glm::vec3& point) const
{
    const glm::vec3 window = CameraOperator::WorldPointToWindowPoint(*m_Camera, point);
    const glm::vec3 a = CameraOperator::WindowPointToWorldPoint(*m_Camera, window);
    const glm::vec3 b = CameraOperator::WindowPointToWorldPoint(*m_Camera, window + glm::vec3(1.0f, 0.0f, 0.0f));
    const float size = glm::length(b - a);
    return std::isfinite(size) ? size : 0.0f;
}

void CameraNavigator::FitAll(const AxisAlignedBox& box, bool animate)
{
    if (!box.isFinite())
        return;
    Camera goal = *m_Camera;
    CameraOperator::FitToBox(goal, box, kFitMargin);
    StartGlide(goal, animate);
}

bool CameraNavigator::SetStandardView(orvcore::EnumStandardView view, const AxisAlignedBox& box, bool animate)
{
    glm::vec3 direction, up;
    if (!CameraOperator::GetStandardViewDirection(view, direction, up))
        return false;
    m_View = view;
    Camera goal = *m_Camera;
    const glm::vec3 centre = box.isFinite() ? box.getCenter() : m_Camera->GetTarget();
    const float distance = box.isFinite() ? std::max(glm::length(box.getSize()), 1.0f) : m_Camera->GetDistance();
    goal.LookAt(centre - direction * distance, centre, up);
    if (box.isFinite())
        CameraOperator::FitToBox(goal, box, kFitMargin);
    StartGlide(goal, animate);
    return true;
}

void CameraNavigator::ToggleProjection()
{
    m_Camera->SetProjectionType(m_Camera->GetProjectionType() == Camera::PROJECTION_PERSPECTIVE
                                    ? Camera::PROJECTION_ORTHOGRAPHIC
                                    : Camera::PROJECTION_PERSPECTIVE);
    FitClipRange();
}

void CameraNavigator::StartGlide(const Camera& goal, bool animate)
{
    m_GoalEye = goal.GetEye();
    m_GoalUp = goal.GetUp();
    m_ToTarget = goal.GetTarget();
    m_ToDistance = goal.GetDistance();
    if (!animate) {
        m_Gliding = false;
        m_Camera->LookAt(m_GoalEye, m_ToTarget, m_GoalUp);
        FitClipRange();
        return;
    }
    m_FromOrientation = Orientation(m_Camera->GetDirection(), m_Camera->GetUp());
    m_ToOrientation = Orientation(goal.GetDirection(), goal.GetUp());
    m_FromTarget = m_Camera->GetTarget();
    m_FromDistance = m_Camera->GetDistance();
    m_GlideStart = -1.0;
    m_Gliding = true;
}

bool CameraNavigator::Step(double now)
{
    if (!m_Gliding)
        return false;
    if (m_GlideStart < 0.0)
        m_GlideStart = now;
    const double t = (now - m_GlideStart) / kGlideSeconds;
    if (t >= 1.0) {
        m_Gliding = false;
        m_Camera->LookAt(m_GoalEye, m_ToTarget, m_GoalUp);
        FitClipRange();
        return false;
    }
    const float s = float(t * t * (3.0 - 2.0 * t)); // smoothstep: starts and lands softly
    const glm::mat3 frame = glm::mat3_cast(glm::slerp(m_FromOrientation, m_ToOrientation, s));
    const glm::vec3 direction = -frame[2];
    const glm::vec3 target = glm::mix(m_FromTarget, m_ToTarget, s);
    const float distance = glm::mix(m_FromDistance, m_ToDistance, s);
    m_Camera->LookAt(target - direction * distance, target, frame[1]);
    FitClipRange();
    return true;
}

} // namespace orvview
