#pragma once

#include <memory>

#include <glm/gtc/quaternion.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/camera/EnumStandardView.h>

namespace orvview {

/// Turns mouse motion into camera motion, through `Camera` and
/// `CameraOperator` only:
///
/// - orbit: turntable about a pivot (the point under the cursor when the
///   drag started, else the scene centre): horizontal motion turns about
///   the world Z axis, vertical motion about the camera's right axis; the
///   up vector turns along, so the view passes over the poles without a
///   jump;
/// - pan: the point under the cursor follows the cursor at its depth;
/// - zoom: towards the point under the cursor, which stays under it (both
///   projections: the orthographic view height follows the distance);
/// - fit and standard views: glide to the framed view in `kGlideSeconds`
///   (orientation by spherical interpolation, target and distance
///   linearly), landing exactly on it.
///
/// After every change the clip range is fitted around the world box given
/// by `SetWorldBox`, so the model is never cut by the near or far plane.
class CameraNavigator {
public:
    static constexpr double kGlideSeconds = 0.35;

    explicit CameraNavigator(std::shared_ptr<orvcore::Camera> camera);

    const std::shared_ptr<orvcore::Camera>& GetCamera() const { return m_Camera; }
    /// The box that the clip range must always enclose (the scene with its
    /// grid); a null box leaves the clip range alone.
    void SetWorldBox(const orvcore::AxisAlignedBox& box);

    /// Orbit about `pivot` by a mouse motion in window pixels.
    void Orbit(const glm::vec3& pivot, const glm::vec2& deltaPixels);
    /// Moves the camera so that `anchor` (a world point) goes from window
    /// point `from` to window point `to`.
    void Pan(const glm::vec3& anchor, const glm::vec2& from, const glm::vec2& to);
    /// Zooms by `steps` wheel notches (positive: closer) towards the world
    /// point `focus`, which keeps its window position.
    void ZoomAt(const glm::vec3& focus, float steps);
    /// The world point at window point (x, y) on the plane through the
    /// camera target facing the viewer: the zoom and orbit focus when
    /// nothing lies under the cursor.
    glm::vec3 PointOnTargetPlane(float x, float y) const;
    /// World length of one window pixel at the depth of `point`.
    float PixelSizeAt(const glm::vec3& point) const;

    /// Frames `box` keeping the direction (`animate`: glides there).
    void FitAll(const orvcore::AxisAlignedBox& box, bool animate);
    /// Turns to a standard view and frames `box`.
    bool SetStandardView(orvcore::EnumStandardView view, const orvcore::AxisAlignedBox& box, bool animate);
    /// Orthographic <-> perspective, keeping what is at the target the same size.
    void ToggleProjection();

    /// Advances a glide to time `now` (seconds); true while one runs.
    bool Step(double now);
    bool IsGliding() const { return m_Gliding; }
    /// The standard view last asked for (NONE once the user orbits).
    orvcore::EnumStandardView GetView() const { return m_View; }

private:
    void FitClipRange();
    void StartGlide(const orvcore::Camera& goal, bool animate);

    std::shared_ptr<orvcore::Camera> m_Camera;
    orvcore::AxisAlignedBox m_WorldBox;
    orvcore::EnumStandardView m_View = orvcore::STANDARD_VIEW_NONE;

    bool m_Gliding = false;
    double m_GlideStart = -1.0; // set on the first Step of a glide
    glm::quat m_FromOrientation{1.0f, 0.0f, 0.0f, 0.0f};
    glm::quat m_ToOrientation{1.0f, 0.0f, 0.0f, 0.0f};
    glm::vec3 m_FromTarget{0.0f}, m_ToTarget{0.0f};
    float m_FromDistance = 1.0f, m_ToDistance = 1.0f;
    glm::vec3 m_GoalEye{0.0f}, m_GoalUp{0.0f, 0.0f, 1.0f};
};

} // namespace orvview
