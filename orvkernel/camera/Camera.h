#pragma once

#include <cstdint>
#include <memory>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvkernel/camera/ViewPosition.h>

namespace orvcore {

/// A view camera: eye, target and up; a perspective or orthographic
/// projection; the viewport size in pixels; a zoom factor; and a placement of
/// its drawing area on the viewport (used by corner overlays).
///
/// Projection type 0 is orthographic, 1 perspective. Both share the vertical
/// field of view: the orthographic view shows the height that the
/// perspective view shows at the target, 2 * distance * tan(fov / 2), so
/// switching type keeps the size of what is at the target.
///
/// The projection matrix is  Placement * Zoom * Base:
/// - Base is the perspective or orthographic matrix (OpenGL clip space);
/// - Zoom scales x and y of clip space by the zoom factor (a magnification:
///   2 shows things twice as large, 0.15 shrinks the view to 15%);
/// - Placement moves the centre of the view to  anchor * size + offset
///   pixels (the two view positions; default: the viewport centre).
///
/// Every setter that changes a matrix recomputes it at once;
/// `UpdateProjection` and `UpdateViewMatrix` recompute on demand and are
/// cheap. Degenerate input (eye on the target, up parallel to the view
/// direction, non-finite values, non-positive zoom, field of view outside
/// (0, pi), bad clip range) logs a warning and keeps the previous value; a
/// zero viewport size logs a warning and is clamped to 1.
class Camera {
public:
    enum ProjectionType : uint32_t { PROJECTION_ORTHOGRAPHIC = 0, PROJECTION_PERSPECTIVE = 1 };

    /// 1 x 1 viewport, eye (0, 0, 1) looking at the origin, up +Y, perspective.
    Camera();
    /// Perspective camera over a viewport of width x height pixels.
    Camera(unsigned int width, unsigned int height, const glm::vec3& eye, const glm::vec3& target,
           const glm::vec3& up);

    /// Orthographic camera looking down -Z from (0, 0, 1) at the origin, with
    /// the given zoom factor and clip range (near may be 0 or negative).
    static std::shared_ptr<Camera> CreateOrthographic(unsigned int width, unsigned int height, float zoom,
                                                      float nearPlane, float farPlane);

    uint32_t GetProjectionType() const { return m_ProjectionType; }
    /// 0 (orthographic) or 1 (perspective); other values log a warning. A
    /// switch to perspective with a near plane <= 0 moves the near plane to
    /// far / 1000 (or restores the default range when far <= 0 too).
    void SetProjectionType(uint32_t type);

    unsigned int GetWidth() const { return m_Width; }
    unsigned int GetHeight() const { return m_Height; }
    float GetAspect() const { return float(m_Width) / float(m_Height); }
    /// New viewport size in pixels; updates the projection.
    void Resize(unsigned int width, unsigned int height);

    const glm::vec3& GetEye() const { return m_Eye; }
    const glm::vec3& GetTarget() const { return m_Target; }
    /// The orthonormalised up vector.
    const glm::vec3& GetUp() const { return m_Up; }
    /// Unit vector from the eye towards the target.
    glm::vec3 GetDirection() const;
    float GetDistance() const;
    /// Places the camera; updates the view matrix (and the projection, which
    /// depends on the distance for the orthographic type).
    void LookAt(const glm::vec3& eye, const glm::vec3& target, const glm::vec3& up);

    float GetZoomFactor() const { return m_Zoom; }
    void SetZoomFactor(float zoom);
    /// Vertical field of view in radians (default 45 degrees).
    float GetFov() const { return m_Fov; }
    void SetFov(float fov);
    float GetNear() const { return m_Near; }
    float GetFar() const { return m_Far; }
    /// Clip range; for the perspective type near must be > 0.
    void SetClipRange(float nearPlane, float farPlane);
    /// Half the height of the orthographic view volume in world units.
    float GetOrthoHalfHeight() const;

    /// The anchor (mode 0) and offset (mode 1) of the drawing area.
    void SetViewPosition(const ViewPosition& position);
    const ViewPosition& GetViewPosition(uint32_t mode) const;

    void UpdateProjection();
    void UpdateViewMatrix();
    const glm::mat4& GetViewMatrix() const { return m_View; }
    const glm::mat4& GetProjectionMatrix() const { return m_Projection; }
    /// Projection x view.
    glm::mat4 GetViewProjectionMatrix() const { return m_Projection * m_View; }
    /// The inverse of projection x view in double precision, from clip space
    /// back to the world; kept with the two matrices, so that turning window
    /// points into rays (every pick, every hover) costs no inverse.
    const glm::dmat4& GetInverseViewProjectionMatrix() const { return m_InverseViewProjection; }

    /// True when the window point (top-left origin, y down) lies inside the
    /// viewport, [0, width) x [0, height), and inside the camera's placed
    /// drawing area (the clip square scaled by the zoom and moved by the
    /// placement), whose left and top edges count as inside.
    bool Contain(int x, int y) const;

private:
    uint32_t m_ProjectionType = PROJECTION_PERSPECTIVE;
    unsigned int m_Width = 1;
    unsigned int m_Height = 1;
    glm::vec3 m_Eye{0.0f, 0.0f, 1.0f};
    glm::vec3 m_Target{0.0f};
    glm::vec3 m_Up{0.0f, 1.0f, 0.0f};
    float m_Zoom = 1.0f;
    float m_Fov = 0.78539816f; // 45 degrees
    float m_Near = 0.1f;
    float m_Far = 10000.0f;
    ViewPosition m_Anchor{ViewPosition::VIEW_POSITION_ANCHOR, glm::vec2(0.5f)};
    ViewPosition m_Offset{ViewPosition::VIEW_POSITION_OFFSET, glm::vec2(0.0f)};
    glm::mat4 m_View{1.0f};
    glm::mat4 m_Projection{1.0f};
    glm::dmat4 m_InverseViewProjection{1.0};

    void UpdateInverse();
};

} // namespace orvcore
