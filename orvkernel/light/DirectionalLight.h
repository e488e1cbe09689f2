#pragma once

#include <memory>

#include <glm/vec3.hpp>

#include <orvkernel/device/GfxObject.h>

namespace orvcore {

class Camera;

/// A light from one direction (as the sun): colour, intensity, the
/// direction the light travels in, and whether it casts shadows.
/// By default a white light of intensity 1 shining along (-1, -1, -2)
/// (from above, over the viewer's right shoulder in the default top view).
class DirectionalLight : public GfxObject {
public:
    DirectionalLight();

    const glm::vec3& GetColor() const { return m_Color; }
    void SetColor(const glm::vec3& color) { m_Color = color; }
    float GetIntensity() const { return m_Intensity; }
    void SetIntensity(float intensity) { m_Intensity = intensity; }
    const glm::vec3& GetDirection() const { return m_Direction; }
    /// Normalised; a zero or non-finite direction logs "Light direction is
    /// invalid!" and keeps the old one.
    void SetDirection(const glm::vec3& direction);
    bool GetCastShadow() const { return m_CastShadow; }
    void SetCastShadow(bool on) { m_CastShadow = on; }
    /// Whether the light is fixed to the camera (turns with the view).
    bool GetFollowCamera() const { return m_FollowCamera; }
    void SetFollowCamera(bool on) { m_FollowCamera = on; }

private:
    glm::vec3 m_Color{1.0f};
    float m_Intensity = 1.0f;
    glm::vec3 m_Direction;
    bool m_CastShadow = true;
    bool m_FollowCamera = true;
};

} // namespace orvcore
