#pragma once

#include <cstddef>
#include <functional>

#include <glm/vec3.hpp>

#include <orvcommon/ElementId.h>
#include <orvkernel/search/IntersectPoint.h>

namespace orvcore {

class SceneNode;

/// One hit on one node, down to a sub-shape (vertex, edge, face) of one
/// primitive of the node's shape.
///
/// Identity: two items are equal when they hit the same node, the same shape
/// kind and the same shape index, and - for vertex hits only - the same
/// vertex. Positions, distance and element id do not take part, so two hits
/// on one edge at different places are the same item. The hash however
/// includes the element id: items that differ only in it may both sit in a
/// set.
class PickedItem {
public:
    PickedItem() = default;
    PickedItem(SceneNode* node, const IntersectPoint& point) : m_Point(point), m_Node(node) {}
    PickedItem(ElementId id, const IntersectPoint& point) : m_Point(point), m_ElementId(id) {}

    /// True without a node or with a negative primitive index.
    bool IsNull() const { return m_Node == nullptr || m_Point.GetPrimitiveIndex() < 0; }

    bool operator==(const PickedItem& other) const;
    bool operator!=(const PickedItem& other) const { return !(*this == other); }
    /// Orders by distance only (nearest first when sorted ascending).
    bool operator<(const PickedItem& other) const { return m_Point.GetDistance() < other.m_Point.GetDistance(); }

    /// With bit 16 or 32 in the filter, the item stands for its whole node:
    /// its shape kind becomes 0.
    void ResetByFilter(unsigned int filter);
    /// Sets the local and the world position to p.
    void SetPosition(const glm::vec3& p);

    const IntersectPoint& GetPoint() const { return m_Point; }
    IntersectPoint& GetPoint() { return m_Point; }
    const glm::vec3& GetPosition() const { return m_Point.GetPosition(); }
    EnumShapeFilter GetShapeType() const { return m_Point.GetShapeFilter(); }
    int GetPrimitiveIndex() const { return m_Point.GetPrimitiveIndex(); }
    unsigned int GetShapeIndex() const { return m_Point.GetShapeIndex(); }
    unsigned int GetTopoShapeId() const { return m_Point.GetTopoShapeId(); }
    SceneNode* GetNode() const { return m_Node; }
    void SetNode(SceneNode* node) { m_Node = node; }
    const ElementId& GetElementId() const { return m_ElementId; }
    void SetElementId(const ElementId& id) { m_ElementId = id; }

    /// The node's object id, 0 without a node.
    unsigned int GetNodeId() const;
    /// The topmost ancestor of the node (the node itself without a parent);
    /// null without a node.
    SceneNode* GetRootNode() const;

    /// The hash used by `std::hash<PickedItem>`: FNV-1a hashes of the element
    /// id, of (shape index, shape kind) and of the node pointer, combined
    /// in that order.
    std::size_t Hash() const;

private:
    IntersectPoint m_Point;
    SceneNode* m_Node = nullptr;
    ElementId m_ElementId;
};

} // namespace orvcore

template <>
struct std::hash<orvcore::PickedItem> {
    std::size_t operator()(const orvcore::PickedItem& item) const noexcept { return item.Hash(); }
};
