#pragma once

#include <cstdint>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvkernel/search/EnumShapeFilter.h>

namespace orvcore {

/// One hit of a pick query on a shape.
///
/// - ShapeFilter: the sub-shape kind hit (vertex, edge, face, or 0).
/// - PrimitiveIndex: the element hit inside its primitive (vertex, segment
///   or triangle index); negative means no hit. Called the element index by
///   the shape queries.
/// - Distance: the query's distance (a ray parameter from the shapes; the
///   squared world distance from the ray origin after a ray pick).
/// - Position / LocalPosition: the hit in world and in shape coordinates.
/// - ShapeIndex: which primitive of a compound shape was hit.
/// - TopoShapeId: the topological id of the hit sub-shape, when the shape
///   carries one.
class IntersectPoint {
public:
    /// No hit: filter 0, index -1, distance +infinity, positions at the origin.
    IntersectPoint();
    /// A hit at `position` (shape coordinates; the world position starts
    /// equal to it until `Transform`).
    IntersectPoint(EnumShapeFilter filter, int32_t primitiveIndex, const glm::vec3& position, float distance);

    /// World position = matrix applied to the local position.
    void Transform(const glm::mat4& matrix);

    EnumShapeFilter GetShapeFilter() const { return m_ShapeFilter; }
    void SetShapeFilter(EnumShapeFilter filter) { m_ShapeFilter = filter; }
    int32_t GetPrimitiveIndex() const { return m_PrimitiveIndex; }
    void SetPrimitiveIndex(int32_t index) { m_PrimitiveIndex = index; }
    float GetDistance() const { return m_Distance; }
    void SetDistance(float distance) { m_Distance = distance; }
    const glm::vec3& GetPosition() const { return m_Position; }
    void SetPosition(const glm::vec3& position) { m_Position = position; }
    const glm::vec3& GetLocalPosition() const { return m_LocalPosition; }
    void SetLocalPosition(const glm::vec3& position) { m_LocalPosition = position; }
    uint32_t GetShapeIndex() const { return m_ShapeIndex; }
    void SetShapeIndex(uint32_t index) { m_ShapeIndex = index; }
    uint32_t GetTopoShapeId() const { return m_TopoShapeId; }
    void SetTopoShapeId(uint32_t id) { m_TopoShapeId = id; }

    bool IsHit() const { return m_PrimitiveIndex >= 0; }

private:
    EnumShapeFilter m_ShapeFilter;
    int32_t m_PrimitiveIndex;
    float m_Distance;
    glm::vec3 m_Position;
    glm::vec3 m_LocalPosition;
    uint32_t m_ShapeIndex;
    uint32_t m_TopoShapeId;
};

} // namespace orvcore
