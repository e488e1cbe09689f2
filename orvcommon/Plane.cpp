#include <orvcommon/Plane.h>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>

#include <glm/geometric.hpp>
#include <glm/matrix.hpp>

namespace orvcore {

Plane::Plane(const glm::vec3& normal, float d)
{
    const float len = glm::length(normal);
    if (!(len > 0.0f)) {
        Logger::Instance().Waring("Plane normal is zero!");
        return;
    }
    m_Normal = normal / len;
    m_D = d / len;
}

Plane::Plane(const glm::vec3& normal, const glm::vec3& point) : Plane(normal, 0.0f)
{
    m_D = -glm::dot(m_Normal, point);
}

float Plane::getDistance(const glm::vec3& point) const { return glm::dot(m_Normal, point) + m_D; }

glm::vec3 Plane::projectPoint(const glm::vec3& point) const
{
    return point - m_Normal * getDistance(point);
}

void Plane::applyMatrix(const glm::mat4& matrix)
{
    const glm::mat3 linear(matrix);
    if (glm::determinant(linear) == 0.0f) {
        Logger::Instance().Waring("Matrix is singular!");
        return;
    }
    const glm::vec3 point = Math::transformVec3(matrix, -m_Normal * m_D);
    const glm::vec3 normal = glm::normalize(glm::transpose(glm::inverse(linear)) * m_Normal);
    m_Normal = normal;
    m_D = -glm::dot(normal, point);
}

} // namespace orvcore
