#pragma once

#include <glm/vec3.hpp>

namespace orvcore {

/// Orientation tests on single-precision points whose signs are exact: the
/// determinant is evaluated in double with an error bound, and only when its
/// value lies within the bound is it summed again exactly (every product of
/// float coordinates split into doubles that hold it without rounding, the
/// terms added as a floating-point expansion). Zero means exactly degenerate
/// (coplanar, collinear), never "nearly". Inputs must be finite.
class ExactPredicates {
public:
    /// Sign of det[a - d; b - d; c - d]: positive when d lies below the
    /// plane through a, b, c (opposite the normal (b - a) x (c - a)),
    /// negative above it, zero on it.
    static int Orient3d(const glm::vec3& a, const glm::vec3& b, const glm::vec3& c, const glm::vec3& d);

    /// Sign of the 2D orientation of a, b, c projected along axis `drop`
    /// (0, 1 or 2) onto the two other coordinates in cyclic order ((y, z),
    /// (z, x) or (x, y)): the sign of component `drop` of the normal
    /// (b - a) x (c - a).
    static int Orient2d(const glm::vec3& a, const glm::vec3& b, const glm::vec3& c, int drop);
};

} // namespace orvcore
