#pragma once

#include <memory>

#include <glm/vec3.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvcommon/Ray.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/camera/EnumStandardView.h>

namespace orvcore {

/// Operations between a camera and the world.
///
/// Window coordinates: pixels, origin at the top-left of the viewport, y
/// down (mouse events). Viewport coordinates: pixels, origin at the
/// bottom-left, y up, z the depth in [0, 1] (0 on the near plane). Points are
/// continuous: integer coordinates are pixel corners, pixel centres lie at
/// half-integers.
///
/// The overloads taking a shared pointer log a warning for a null camera and
/// return the default ray or the zero vector, or do nothing.
struct CameraOperator {
    /// The pick ray through a window point: from the near plane along the
    /// line of sight (perspective) or the view direction (orthographic).
    /// A point that does not unproject to finite world points logs a warning
    /// and gives the default ray.
    static Ray WindowPointToRay(const Camera& camera, float x, float y);
    static Ray WindowPointToRay(const std::shared_ptr<Camera>& camera, int x, int y);

    static glm::vec3 WorldPointToViewportPoint(const Camera& camera, const glm::vec3& point);
    static glm::vec3 WorldPointToViewportPoint(const std::shared_ptr<Camera>& camera, const glm::vec3& point);
    static glm::vec3 WorldPointToWindowPoint(const Camera& camera, const glm::vec3& point);
    static glm::vec3 WorldPointToWindowPoint(const std::shared_ptr<Camera>& camera, const glm::vec3& point);
    /// Inverse of `WorldPointToWindowPoint` (z the depth in [0, 1]).
    static glm::vec3 WindowPointToWorldPoint(const Camera& camera, const glm::vec3& windowPoint);

    /// Keeps the view direction and up, moves the target to the box centre and
    /// the eye back so that the box's bounding sphere, enlarged by `factor`,
    /// fills the view in both directions; sets a clip range that encloses it.
    /// The zoom factor is kept, so the sphere fills the drawing area as the
    /// zoom scales it. A single-point box frames a sphere of radius 1; a
    /// factor <= 0 logs a warning and counts as 1. A null or infinite box
    /// logs a warning and changes nothing.
    static void ZoomToBBox(const std::shared_ptr<Camera>& camera, const AxisAlignedBox& box, float factor);
    static void ZoomToBBox(Camera& camera, const AxisAlignedBox& box, float factor);

    /// Frames a box tightly: keeps the view direction, up, zoom and
    /// projection, and moves the eye (and the target, to the box centre's
    /// depth) so that the box's eight corners fill the view up to `margin`
    /// (a fraction of the view's width and height left free on each side,
    /// clamped to [0, 0.45]) in the limiting direction, centred in the
    /// other. Exact for both projections: the corners, not a bounding
    /// sphere, decide. The clip range encloses the box. A null or infinite
    /// box logs a warning and changes nothing.
    static void FitToBox(Camera& camera, const AxisAlignedBox& box, float margin);
    static void FitToBox(const std::shared_ptr<Camera>& camera, const AxisAlignedBox& box, float margin);
    /// Widens the clip range, where needed, so that it encloses the box too
    /// (for content that must not be cut though it was not framed, like a
    /// ground grid). Null and infinite boxes change nothing.
    static void EncloseInClipRange(Camera& camera, const AxisAlignedBox& box);

    /// Turns the camera about its target to a standard view (keeping the
    /// distance), then zooms to the box. An unknown view logs a warning and
    /// changes nothing; a null or infinite box leaves the camera turned only.
    static void SetStandardView(const std::shared_ptr<Camera>& camera, EnumStandardView view,
                                const AxisAlignedBox& box, float factor);
    static void SetStandardView(Camera& camera, EnumStandardView view, const AxisAlignedBox& box, float factor);

    /// Unit direction from the eye towards the target and the up vector of a
    /// standard view; false (outputs untouched, nothing logged) for
    /// `STANDARD_VIEW_NONE` and unknown values. A view looks from the sum of
    /// the eye offsets of the faces it names (front -Y, right +X, top +Z, ...);
    /// its up is +Z made orthogonal to the direction, except for the top
    /// (+Y) and bottom (-Y) views.
    static bool GetStandardViewDirection(EnumStandardView view, glm::vec3& direction, glm::vec3& up);
};

} // namespace orvcore
