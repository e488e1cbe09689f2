#pragma once

#include <cstdint>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvcommon/ElementId.h>

namespace orvcore {

/// Kinds of grip handles (what dragging one does is the application's).
enum EnumGripType : uint32_t {
    GRIP_TYPE_POINT = 0,  ///< a vertex or free point
    GRIP_TYPE_MIDDLE = 1, ///< the middle of an edge
    GRIP_TYPE_CENTER = 2, ///< the centre of a face or body
    GRIP_TYPE_AXIS = 3,   ///< a handle along an axis
};

/// One handle point the user can grab: which element it belongs to, its own
/// number, its kind, its world position and a matrix carried with it.
class GripNode {
public:
    GripNode() = default;
    GripNode(ElementId id, unsigned int gripId, EnumGripType type, const glm::vec3& point)
        : m_Id(id), m_GripId(gripId), m_GripType(type), m_Point(point)
    {
    }
    GripNode(ElementId id, unsigned int gripId, EnumGripType type, const glm::vec3& point, const glm::mat4& transform)
        : m_Id(id), m_GripId(gripId), m_GripType(type), m_Point(point), m_Transform(transform)
    {
    }

    const ElementId& GetId() const { return m_Id; }
    void SetId(const ElementId& id) { m_Id = id; }
    unsigned int GetGripId() const { return m_GripId; }
    void SetGripId(unsigned int id) { m_GripId = id; }
    EnumGripType GetGripType() const { return m_GripType; }
    void SetGripType(EnumGripType type) { m_GripType = type; }
    const glm::vec3& GetPoint() const { return m_Point; }
    void SetPoint(const glm::vec3& point) { m_Point = point; }
    const glm::mat4& GetTransform() const { return m_Transform; }
    void SetTransform(const glm::mat4& transform) { m_Transform = transform; }

private:
    ElementId m_Id;
    unsigned int m_GripId = 0;
    EnumGripType m_GripType = GRIP_TYPE_POINT;
    glm::vec3 m_Point{0.0f};
    glm::mat4 m_Transform{1.0f};
};

} // namespace orvcore
