#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <glm/mat4x4.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/device/GfxObject.h>
#include <orvcore/scene/SceneNodeIterator.h>

namespace orvcore {

class SceneNode;
class SceneVisitor;

/// A flat table of top-level nodes with one world transform and the union of
/// their world boxes: what renderers, pickers and collision walk.
///
/// Top-level nodes keep a null parent. Only dirty nodes (non-zero update
/// counter) are recomputed by `UpdateWorld`, so moving the whole scene with
/// `SetWorldTransform` reaches the nodes that are marked with `RequstUpdate`.
class Scene : public GfxObject {
public:
    Scene();
    ~Scene() override;

    /// Adds a top-level node and places it in the world at once when it is
    /// dirty. Returns its id; 0 with "Node is null!" or "Parent should be
    /// null!". A node already present returns its id and changes nothing.
    uint64_t AddNode(const std::shared_ptr<SceneNode>& node);
    /// Drops a node; the scene box shrinks only at the next `UpdateWorld`.
    bool RemoveNode(uint64_t id);
    std::shared_ptr<SceneNode> FindNode(uint64_t id) const;
    void Clear();
    std::shared_ptr<SceneNodeIterator> CreateIterator() const;
    const SceneNodeMap& GetNodes() const { return m_Nodes; }

    /// Sends the visitor to every top-level node (no visibility test).
    void Accept(SceneVisitor& visitor) const;

    /// Recomputes the dirty nodes and the scene box.
    void UpdateWorld();
    const AxisAlignedBox& GetWorldBBox() const { return m_WorldBBox; }
    const glm::mat4& GetWorldTransform() const { return m_WorldTransform; }
    void SetWorldTransform(const glm::mat4& transform) { m_WorldTransform = transform; }

    static Scene* Cast(GfxObject* object);
    static const Scene* Cast(const GfxObject* object);

protected:
    void UpdateWorldTransform(const glm::mat4& transform);

private:
    /// The nodes in the table's order, as a dense array for the per-frame
    /// walks; made again after the table changes.
    const std::vector<SceneNode*>& Walk() const;

    AxisAlignedBox m_WorldBBox;
    glm::mat4 m_WorldTransform{1.0f};
    SceneNodeMap m_Nodes;
    mutable std::vector<SceneNode*> m_Walk;
    mutable bool m_WalkStale = true;
};

} // namespace orvcore
