#pragma once

#include <array>

#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec4.hpp>

#include <orvcommon/AxisAlignedBox.h>

namespace orvcore {

class Camera;

/// A convex view volume of six planes (left, right, bottom, top, near, far),
/// each stored as (normal, d) with the normal pointing inside.
///
/// A default frustum sees everything (every non-null box is visible).
class Frustum {
public:
    Frustum();
    /// The camera's view volume, widened by `factor` in x and y of clip space
    /// (1.2 gives a 20% margin so that culling never pops at the border).
    Frustum(const Camera& camera, float factor);

    /// Planes from a projection x view matrix, widened by `factor`. A factor
    /// <= 0 logs a warning and counts as 1; a matrix that is not finite logs
    /// a warning and keeps the planes.
    void SetFromMatrix(const glm::mat4& viewProjection, float factor = 1.0f);
    /// The sub-volume of the camera under a window rectangle given by two
    /// corners in window coordinates (top-left origin, y down), in either
    /// order, between the camera's near and far planes. A rectangle of zero
    /// width or height is widened to one pixel centred on it (a click picks
    /// around its pick ray). Corners that are not finite log a warning and
    /// keep the planes.
    void Initialize(const glm::vec2& first, const glm::vec2& second, const Camera& camera);

    /// Conservative test: false only when the box lies wholly outside one
    /// plane. Null boxes are never visible, infinite ones always.
    bool IsVisible(const AxisAlignedBox& box) const;
    bool IsVisible(const glm::vec3& point) const;

    enum class Containment { Outside, Intersects, Inside };
    /// Where a box lies: wholly outside one plane, wholly inside all six, or
    /// in between. Visitors use `Inside` to skip testing a subtree whose
    /// bounds the frustum already contains. Null boxes are outside, infinite
    /// ones intersect, and everything is inside a default frustum.
    Containment Classify(const AxisAlignedBox& box) const;

    const std::array<glm::vec4, 6>& GetPlanes() const { return m_Planes; }

private:
    std::array<glm::vec4, 6> m_Planes;
    bool m_Everything = true;
};

} // namespace orvcore
