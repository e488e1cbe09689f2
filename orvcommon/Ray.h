#pragma once

#include <utility>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace orvcore {

class Plane;
class Sphere;

/// Half-line from an origin along a unit direction. Points on the ray are
/// origin + t * direction with t >= 0; t is the distance from the origin.
class Ray {
public:
    /// Ray from the origin along -Z.
    Ray() = default;
    /// The direction is normalised; a zero direction logs a warning and
    /// keeps -Z.
    Ray(const glm::vec3& origin, const glm::vec3& direction);

    const glm::vec3& getOrigin() const { return m_Origin; }
    const glm::vec3& getDirection() const { return m_Direction; }
    void setOrigin(const glm::vec3& origin) { m_Origin = origin; }
    void setDirection(const glm::vec3& direction);

    glm::vec3 getPoint(float t) const { return m_Origin + m_Direction * t; }

    /// Moves the ray by a matrix: the origin as a point; the direction by the
    /// matrix's linear part when it is affine, else as the difference of the
    /// moved origin and the moved point one unit ahead; normalised again.
    /// Parameters measured on the moved ray are distances in the new space.
    void applyMatrix(const glm::mat4& matrix);

    /// Ray against plane. Returns (hit, t): t is the signed parameter of the
    /// crossing even when it lies behind the origin (then hit is false). A
    /// ray parallel to the plane gives (true, 0) when its origin lies on the
    /// plane and (false, 0) otherwise.
    std::pair<bool, float> intersects(const Plane& plane) const;
    /// Ray against sphere. Returns (hit, t) for the first crossing in front
    /// of the origin; an origin inside the sphere gives (true, 0).
    std::pair<bool, float> intersects(const Sphere& sphere) const;

    /// Parameter of the ray point nearest to `point` (clamped to t >= 0).
    float closestParameterToPoint(const glm::vec3& point) const;
    /// Ray point nearest to `point`.
    glm::vec3 closestPointToPoint(const glm::vec3& point) const;
    float distanceSqToPoint(const glm::vec3& point) const;

    /// Squared distance between the ray and the segment [a, b]. Optionally
    /// reports the two nearest points and the ray parameter of the first.
    float distanceSqToSegment(const glm::vec3& a, const glm::vec3& b, glm::vec3* pointOnRay = nullptr,
                              glm::vec3* pointOnSegment = nullptr, float* rayParameter = nullptr) const;

private:
    glm::vec3 m_Origin{0.0f};
    glm::vec3 m_Direction{0.0f, 0.0f, -1.0f};
};

} // namespace orvcore
