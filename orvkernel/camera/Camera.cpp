#include <orvkernel/camera/Camera.h>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>

#include <cmath>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/matrix.hpp>

namespace orvcore {

namespace {
bool IsFinite(const glm::vec3& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

constexpr float DefaultNear = 0.1f;
constexpr float DefaultFar = 10000.0f;
} // namespace

Camera::Camera()
{
    UpdateViewMatrix();
    UpdateProjection();
}

Camera::Camera(unsigned int width, unsigned int height, const glm::vec3& eye, const glm::vec3& target,
               const glm::vec3& up)
{
    Resize(width, height);
    LookAt(eye, target, up);
    UpdateViewMatrix();
    UpdateProjection();
}

std::shared_ptr<Camera> Camera::CreateOrthographic(unsigned int width, unsigned int height, float zoom,
                                                   float nearPlane, float farPlane)
{
    auto camera = std::make_shared<Camera>(width, height, glm::vec3(0.0f, 0.0f, 1.0f), glm::vec3(0.0f),
                                           glm::vec3(0.0f, 1.0f, 0.0f));
    camera->SetProjectionType(PROJECTION_ORTHOGRAPHIC);
    camera->SetZoomFactor(zoom);
    camera->SetClipRange(nearPlane, farPlane);
    return camera;
}

void Camera::SetProjectionType(uint32_t type)
{
    if (type != PROJECTION_ORTHOGRAPHIC && type != PROJECTION_PERSPECTIVE) {
        Logger::Instance().Waring("Projection type is invalid!");
        return;
    }
    m_ProjectionType = type;
    // An orthographic range may start behind the eye; a perspective one may not.
    if (type == PROJECTION_PERSPECTIVE && !(m_Near > 0.0f)) {
        if (m_Far > 0.0f) {
            m_Near = m_Far * 1e-3f;
        } else {
            m_Near = DefaultNear;
            m_Far = DefaultFar;
        }
    }
    UpdateProjection();
}

void Camera::Resize(unsigned int width, unsigned int height)
{
    if (width == 0 || height == 0)
        Logger::Instance().Waring("Viewport size is invalid!");
    m_Width = width > 0 ? width : 1u;
    m_Height = height > 0 ? height : 1u;
    UpdateProjection();
}

glm::vec3 Camera::GetDirection() const { return glm::normalize(m_Target - m_Eye); }

float Camera::GetDistance() const { return glm::length(m_Target - m_Eye); }

void Camera::LookAt(const glm::vec3& eye, const glm::vec3& target, const glm::vec3& up)
{
    const glm::vec3 sight = target - eye;
    const float distance = glm::length(sight);
    const float upLength = glm::length(up);
    bool valid = IsFinite(eye) && IsFinite(target) && IsFinite(up) && distance > 0.0f && std::isfinite(distance) &&
                 upLength > 0.0f && std::isfinite(upLength);
    glm::vec3 orthoUp(0.0f);
    if (valid) {
        const glm::vec3 direction = sight / distance;
        // Gram-Schmidt: drop the component of up along the line of sight.
        orthoUp = up / upLength - direction * glm::dot(up / upLength, direction);
        const float orthoLength = glm::length(orthoUp);
        valid = orthoLength > 1e-6f;
        if (valid)
            orthoUp /= orthoLength;
    }
    if (!valid) {
        Logger::Instance().Waring("Camera position is invalid!");
        return;
    }
    m_Eye = eye;
    m_Target = target;
    m_Up = orthoUp;
    UpdateViewMatrix();
    UpdateProjection();
}

void Camera::SetZoomFactor(float zoom)
{
    if (!(zoom > 0.0f) || !std::isfinite(zoom)) {
        Logger::Instance().Waring("Zoom factor is invalid!");
        return;
    }
    m_Zoom = zoom;
    UpdateProjection();
}

void Camera::SetFov(float fov)
{
    if (!(fov > 0.0f) || !(fov < float(Math::PI))) {
        Logger::Instance().Waring("Field of view is invalid!");
        return;
    }
    m_Fov = fov;
    UpdateProjection();
}

void Camera::SetClipRange(float nearPlane, float farPlane)
{
    const bool valid = std::isfinite(nearPlane) && std::isfinite(farPlane) && farPlane > nearPlane &&
                       (m_ProjectionType == PROJECTION_ORTHOGRAPHIC || nearPlane > 0.0f);
    if (!valid) {
        Logger::Instance().Waring("Clip range is invalid!");
        return;
    }
    m_Near = nearPlane;
    m_Far = farPlane;
    UpdateProjection();
}

float Camera::GetOrthoHalfHeight() const { return GetDistance() * std::tan(m_Fov * 0.5f); }

void Camera::SetViewPosition(const ViewPosition& position)
{
    const glm::vec2& value = position.GetValue();
    if (!std::isfinite(value.x) || !std::isfinite(value.y)) {
        Logger::Instance().Waring("View position is invalid!");
        return;
    }
    if (position.GetMode() == ViewPosition::VIEW_POSITION_OFFSET)
        m_Offset = position;
    else
        m_Anchor = position;
    UpdateProjection();
}

const ViewPosition& Camera::GetViewPosition(uint32_t mode) const
{
    return mode == ViewPosition::VIEW_POSITION_OFFSET ? m_Offset : m_Anchor;
}

void Camera::UpdateProjection()
{
    const float aspect = GetAspect();
    glm::mat4 base;
    if (m_ProjectionType == PROJECTION_ORTHOGRAPHIC) {
        const float halfHeight = GetOrthoHalfHeight();
        const float halfWidth = halfHeight * aspect;
        base = glm::ortho(-halfWidth, halfWidth, -halfHeight, halfHeight, m_Near, m_Far);
    } else {
        base = glm::perspective(m_Fov, aspect, m_Near, m_Far);
    }

    // The view centre goes to anchor * size + offset pixels; in clip space
    // that is a shift of x and y by w times the normalised device position.
    const glm::vec2 size{float(m_Width), float(m_Height)};
    const glm::vec2 centre = m_Anchor.GetValue() * size + m_Offset.GetValue();
    const glm::vec2 ndc = centre / size * 2.0f - 1.0f;
    const glm::mat4 placement = glm::translate(glm::mat4(1.0f), glm::vec3(ndc, 0.0f));
    const glm::mat4 zoom = glm::scale(glm::mat4(1.0f), glm::vec3(m_Zoom, m_Zoom, 1.0f));
    m_Projection = placement * zoom * base;
    UpdateInverse();
}

void Camera::UpdateViewMatrix()
{
    m_View = glm::lookAt(m_Eye, m_Target, m_Up);
    UpdateInverse();
}

void Camera::UpdateInverse()
{
    m_InverseViewProjection = glm::inverse(glm::dmat4(m_Projection) * glm::dmat4(m_View));
}

bool Camera::Contain(int x, int y) const
{
    if (x < 0 || y < 0 || unsigned(x) >= m_Width || unsigned(y) >= m_Height)
        return false;
    // The drawing area in window coordinates: the clip square scaled by the
    // zoom, centred on the placed view centre, y flipped.
    const glm::vec2 size{float(m_Width), float(m_Height)};
    const glm::vec2 centre = m_Anchor.GetValue() * size + m_Offset.GetValue();
    const glm::vec2 half = size * (0.5f * m_Zoom);
    const float left = centre.x - half.x;
    const float right = centre.x + half.x;
    const float top = size.y - (centre.y + half.y);
    const float bottom = size.y - (centre.y - half.y);
    const float px = float(x);
    const float py = float(y);
    return px >= left && px < right && py >= top && py < bottom;
}

} // namespace orvcore
