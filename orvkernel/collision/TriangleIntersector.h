#pragma once

#include <glm/vec3.hpp>

namespace orvcore {

/// Exact intersection test of two closed triangles in single precision.
///
/// The triangles are taken as the point sets they are, boundaries included:
/// triangles that only touch (a vertex on the other's face, edges crossing,
/// an edge lying on the other's face, coplanar triangles sharing an edge or
/// a single point) intersect; triangles a single float step apart do not.
/// Every decision is an orientation sign computed exactly
/// (`ExactPredicates`), so the answer is the one real arithmetic gives for
/// the float coordinates, whatever the order of the triangles or of their
/// corners. Coplanar triangles are compared in the plane; degenerate
/// triangles (collinear or coincident corners) count as the segment or
/// point they cover. A triangle with a non-finite coordinate intersects
/// nothing.
class TriangleIntersector {
public:
    /// Whether triangles a[0..2] and b[0..2] share a point.
    static bool Intersect(const glm::vec3* a, const glm::vec3* b);
};

} // namespace orvcore
