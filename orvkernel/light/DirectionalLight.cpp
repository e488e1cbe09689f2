#include <orvkernel/light/DirectionalLight.h>

#include <orvcommon/Logger.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>

namespace orvcore {

DirectionalLight::DirectionalLight() : m_Direction(glm::normalize(glm::vec3(-1.0f, -1.0f, -2.0f))) {}

void DirectionalLight::SetDirection(const glm::vec3& direction)
{
    const bool finite = std::isfinite(direction.x) && std::isfinite(direction.y) && std::isfinite(direction.z);
    // Scale by the largest component first, so that neither tiny nor huge
    // vectors lose their length to underflow or overflow.
    const float largest =
        finite ? std::max({std::fabs(direction.x), std::fabs(direction.y), std::fabs(direction.z)}) : 0.0f;
    if (!(largest > 0.0f)) {
        Logger::Instance().Waring("Light direction is invalid!");
        return;
    }
    m_Direction = glm::normalize(direction / largest);
}

} // namespace orvcore
