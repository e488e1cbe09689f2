#pragma once

#include <glm/vec3.hpp>

namespace orvcore {

/// Sphere by centre and radius. A negative radius is stored as zero.
class Sphere {
public:
    Sphere() = default;
    Sphere(const glm::vec3& center, float radius) : m_Center(center), m_Radius(radius > 0.0f ? radius : 0.0f) {}

    const glm::vec3& getCenter() const { return m_Center; }
    float getRadius() const { return m_Radius; }
    void setCenter(const glm::vec3& center) { m_Center = center; }
    void setRadius(float radius) { m_Radius = radius > 0.0f ? radius : 0.0f; }

    bool containsPoint(const glm::vec3& p) const;

private:
    glm::vec3 m_Center{0.0f};
    float m_Radius = 0.0f;
};

} // namespace orvcore
