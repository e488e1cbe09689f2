#include <orvkernel/search/IntersectPoint.h>

#include <orvcommon/Math.h>

#include <limits>

namespace orvcore {

IntersectPoint::IntersectPoint()
    : m_ShapeFilter(SHAPE_FILTER_NONE), m_PrimitiveIndex(-1), m_Distance(std::numeric_limits<float>::infinity()),
      m_Position(0.0f), m_LocalPosition(0.0f), m_ShapeIndex(0), m_TopoShapeId(0)
{
}

IntersectPoint::IntersectPoint(EnumShapeFilter filter, int32_t primitiveIndex, const glm::vec3& position,
                               float distance)
    : m_ShapeFilter(filter), m_PrimitiveIndex(primitiveIndex), m_Distance(distance), m_Position(position),
      m_LocalPosition(position), m_ShapeIndex(0), m_TopoShapeId(0)
{
}

void IntersectPoint::Transform(const glm::mat4& matrix) { m_Position = Math::transformVec3(matrix, m_LocalPosition); }

} // namespace orvcore
