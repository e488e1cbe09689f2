#include <orvcommon/Sphere.h>

#include <glm/geometric.hpp>

namespace orvcore {

bool Sphere::containsPoint(const glm::vec3& p) const
{
    const glm::vec3 d = p - m_Center;
    return glm::dot(d, d) <= m_Radius * m_Radius;
}

} // namespace orvcore
