#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <orvcore/scene/SceneNode.h>
#include <orvcore/scene/SceneNodeIterator.h>

namespace orvcore {

/// A node that owns children, keyed by their id. Its local box is always
/// derived from the children at `UpdateTransform`.
///
/// Children are iterated in the hash map's own order everywhere; no other
/// order is promised.
class GroupSceneNode : public SceneNode {
public:
    GroupSceneNode();

    std::shared_ptr<SceneNode> Clone() const override;
    /// Updates every child (dirty or not) and rebuilds the local box as the
    /// merge of the children's boxes in this group's coordinates, invisible
    /// children included. When this group's world matrix is bitwise the one
    /// of the last update, clean leaf children whose transform, box and
    /// parent did not change keep their results without recomputing them.
    void UpdateTransform(const glm::mat4& parentWorld) override;
    void Accept(SceneVisitor& visitor) override;
    /// Collects the visible children (their subtrees decide for themselves).
    void CollectRenderables(RenderContext& context) const override;

    /// Adopts a node. Logs "SceneNode is null!" for an empty pointer and
    /// "The node already has parent!" for a node that has a parent; a node
    /// already present is ignored silently. Adding the group to itself or
    /// to one of its descendants logs a warning and is refused.
    void AddNode(const std::shared_ptr<SceneNode>& node);
    /// Drops the child with this id. The child's parent link is left as it
    /// was: call `SetParent(nullptr)` before adding it elsewhere.
    bool RemoveNode(uint64_t id);
    /// Direct child by id (constant time), or empty.
    std::shared_ptr<SceneNode> FindNode(uint64_t id) const;
    /// First direct child with this user id, in map order (linear), or empty.
    std::shared_ptr<SceneNode> FindNodeByUserId(uint64_t userId) const;

    uint32_t GetCount() const { return static_cast<uint32_t>(m_Children.size()); }
    const SceneNodeMap& GetChildren() const { return m_Children; }
    std::shared_ptr<SceneNodeIterator> CreateIterator() const;

    /// Sends a visitor to every child (`Accept`), whatever their flags. The
    /// visitor must not add or remove children of this group meanwhile.
    void Apply(SceneVisitor& visitor) const;

    static GroupSceneNode* Cast(SceneNode* node);
    static const GroupSceneNode* Cast(const SceneNode* node);

protected:
    /// Clones every child of `other` into this group, then copies the base
    /// properties. Used by `Clone` of groups and of kinds derived from them.
    void CopyPropertiesFrom(const GroupSceneNode& other);

private:
    void InvalidateOrder();
    /// The children in the map's order, rebuilt first when they changed.
    SceneNode* const* Order();
    /// Appends every node below this group in the order the world update
    /// visits them.
    void CollectWalk(std::vector<const SceneNode*>& walk);

    // The children again, as raw pointers in the map's order: the world update
    // walks this array so it can prefetch the nodes ahead instead of chasing
    // the map's list. Rebuilt on the first update after a change. Groups of
    // up to `kInlineChildren` children (most groups of an assembly) keep it
    // in the object, right after the base's fields, which the parent's walk
    // prefetches with them: a deep tree of small groups then does not wait
    // for a separate array at every level.
    static constexpr std::size_t kInlineChildren = 4;
    SceneNode* m_Inline[kInlineChildren] = {};
    uint32_t m_OrderCount = 0;
    bool m_OrderValid = true;
    std::vector<SceneNode*> m_Order; // more than kInlineChildren children
    SceneNodeMap m_Children;
    // Every node below this group in the order the world update visits
    // them, kept while updates start at this group: the walk prefetches the
    // nodes some way ahead of the one it updates, across groups, instead of
    // waiting for each small group's children in turn. A hint only, never
    // read through: rebuilt after any change of children anywhere (a count
    // of changes over all groups).
    std::vector<const SceneNode*> m_Walk;
    uint64_t m_WalkChanges = ~uint64_t(0);
};

} // namespace orvcore
