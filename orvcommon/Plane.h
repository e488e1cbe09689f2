#pragma once

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace orvcore {

/// Plane of the points x with dot(normal, x) + d = 0, with a unit normal.
/// The default plane is the XY plane through the origin, normal +Z: the
/// construction plane of the library.
class Plane {
public:
    Plane() = default;
    /// A zero normal logs a warning and yields the default plane.
    Plane(const glm::vec3& normal, float d);
    Plane(const glm::vec3& normal, const glm::vec3& point);

    const glm::vec3& getNormal() const { return m_Normal; }
    float getD() const { return m_D; }

    /// Signed distance of a point; positive on the side the normal points to.
    float getDistance(const glm::vec3& point) const;
    /// Foot of the perpendicular from a point.
    glm::vec3 projectPoint(const glm::vec3& point) const;

    /// Moves the plane by a matrix: a point on it by the matrix, the normal
    /// by the inverse transpose. A singular matrix leaves the plane unchanged
    /// with a warning.
    void applyMatrix(const glm::mat4& matrix);

private:
    glm::vec3 m_Normal{0.0f, 0.0f, 1.0f};
    float m_D = 0.0f;
};

} // namespace orvcore
