#include <orvcommon/AxisAlignedBox.h>

#include <orvcommon/Logger.h>

#include <cmath>
#include <limits>

#include <glm/common.hpp>

namespace orvcore {

namespace {
bool IsNan(const glm::vec3& v)
{
    return std::isnan(v.x) || std::isnan(v.y) || std::isnan(v.z);
}
} // namespace

void AxisAlignedBox::setExtents(const glm::vec3& a, const glm::vec3& b)
{
    if (IsNan(a) || IsNan(b)) {
        Logger::Instance().Waring("Box corner is not a number!");
        m_Extent = EXTENT_NULL;
        return;
    }
    m_Min = glm::min(a, b);
    m_Max = glm::max(a, b);
    m_Extent = EXTENT_FINITE;
}

glm::vec3 AxisAlignedBox::getCenter() const
{
    if (m_Extent != EXTENT_FINITE)
        return glm::vec3(0.0f);
    return (m_Min + m_Max) * 0.5f;
}

glm::vec3 AxisAlignedBox::getSize() const
{
    switch (m_Extent) {
    case EXTENT_FINITE: return m_Max - m_Min;
    case EXTENT_INFINITE: return glm::vec3(std::numeric_limits<float>::infinity());
    case EXTENT_NULL: break;
    }
    return glm::vec3(0.0f);
}

glm::vec3 AxisAlignedBox::getHalfSize() const { return getSize() * 0.5f; }

void AxisAlignedBox::merge(const glm::vec3& point)
{
    switch (m_Extent) {
    case EXTENT_NULL: setExtents(point, point); return;
    case EXTENT_FINITE:
        m_Min = glm::min(m_Min, point);
        m_Max = glm::max(m_Max, point);
        return;
    case EXTENT_INFINITE: return;
    }
}

void AxisAlignedBox::transformProjective(const glm::mat4& m)
{
    AxisAlignedBox result;
    for (int corner = 0; corner < 8; ++corner) {
        const glm::vec4 p((corner & 1) ? m_Max.x : m_Min.x, (corner & 2) ? m_Max.y : m_Min.y,
                          (corner & 4) ? m_Max.z : m_Min.z, 1.0f);
        glm::vec4 q = m * p;
        if (q.w != 0.0f)
            q /= q.w;
        result.merge(glm::vec3(q));
    }
    *this = result;
}

bool AxisAlignedBox::intersects(const AxisAlignedBox& other) const
{
    if (m_Extent == EXTENT_NULL || other.m_Extent == EXTENT_NULL)
        return false;
    if (m_Extent == EXTENT_INFINITE || other.m_Extent == EXTENT_INFINITE)
        return true;
    return m_Min.x <= other.m_Max.x && m_Max.x >= other.m_Min.x && m_Min.y <= other.m_Max.y &&
           m_Max.y >= other.m_Min.y && m_Min.z <= other.m_Max.z && m_Max.z >= other.m_Min.z;
}

bool AxisAlignedBox::containsPoint(const glm::vec3& p) const
{
    switch (m_Extent) {
    case EXTENT_NULL: return false;
    case EXTENT_INFINITE: return true;
    case EXTENT_FINITE: break;
    }
    return p.x >= m_Min.x && p.x <= m_Max.x && p.y >= m_Min.y && p.y <= m_Max.y && p.z >= m_Min.z &&
           p.z <= m_Max.z;
}

bool AxisAlignedBox::operator==(const AxisAlignedBox& other) const
{
    if (m_Extent != other.m_Extent)
        return false;
    if (m_Extent != EXTENT_FINITE)
        return true;
    return m_Min == other.m_Min && m_Max == other.m_Max;
}

} // namespace orvcore
