#pragma once

#include <memory>
#include <vector>

#include <glm/mat4x4.hpp>

#include <orvcore/collision/CollisionItem.h>

namespace orvcore {

class SceneNode;

/// Triangle-exact interference of a node's subtree with other nodes.
///
/// The detector is bound to one node. `Prepare` walks the subtree the way
/// rendering collects it (a `CollisionVisitor` over a `RenderItemCollector`)
/// and turns every triangle-list item into a `CollisionItem` at the node's
/// current world matrices; points, segments and line strips are ignored,
/// other kinds (line loops, triangle strips and fans) are refused with "Not
/// support shape type!". Preparing is
/// cheap: an item keeps the shape's collision mesh (built once per
/// geometry) and its matrix, no triangle is copied or moved.
///
/// A detector answers for the pose at which it was prepared: `Prepare`
/// never refreshes items it has, so after the node moves the caller makes a
/// new detector (cheap, see above), or uses the posed test below.
///
/// Answers: two items touch when their world boxes intersect and a pair of
/// their world-space triangles shares a point (closed triangles, exact
/// arithmetic on the float corners: touching counts, a float step apart
/// does not). A subtree lying wholly inside the other's closed surface,
/// with no triangles crossing, does not collide: only triangles are
/// compared, not volumes. The first touching pair ends the test.
///
/// Self-collision of articulated bodies (robot links): prepare one detector
/// per body once, with the body at its reference pose (its node's world
/// matrix W0, often the identity), and test body against body with the
/// posed form, passing each body's motion since then (current world x
/// inverse of W0; with W0 the identity, simply the current world matrix):
///
///     NodeCollisionDetector link1(link1Node), link3(link3Node);
///     link1.Prepare(); link3.Prepare();            // once
///     bool hit = link1.Test(pose1, link3, pose3);   // per query, no preparing
///
/// It answers what detectors prepared with every item's matrix taken as
/// pose x matrix would answer, and costs no walk and no allocation.
///
/// Copies share the items.
class NodeCollisionDetector {
public:
    explicit NodeCollisionDetector(const std::shared_ptr<SceneNode>& node);
    NodeCollisionDetector(const NodeCollisionDetector&) = default;
    NodeCollisionDetector& operator=(const NodeCollisionDetector&) = default;
    ~NodeCollisionDetector();

    /// Fills the items from the bound node when there are none (a null node
    /// logs "Node is null!").
    void Prepare();

    /// Whether the other node's triangles touch this node's. False at once
    /// when the two world boxes do not intersect; prepares this detector
    /// when it has no items; then walks the other node (a `CollisionVisitor`
    /// over a `CollisionContext`), converting its triangle items at their
    /// current world matrices. A null node on either side logs "Node is
    /// null!" and gives false.
    bool Test(const std::shared_ptr<SceneNode>& other);
    /// Item against item, this detector's items outer, the other's inner;
    /// false when either has none. Prepares neither.
    bool Test(const NodeCollisionDetector& other) const;
    /// The same with this detector's items moved by `pose` and the other's by
    /// `otherPose` (each item's matrix taken as pose x matrix).
    bool Test(const glm::mat4& pose, const NodeCollisionDetector& other, const glm::mat4& otherPose) const;
    /// Whether the item touches any of this detector's items (in order).
    bool TestItem(const CollisionItem& item) const;

    const std::vector<std::shared_ptr<CollisionItem>>& GetItems() const { return m_Items; }
    /// Appends a prepared item (the collecting context fills the list this way).
    void AddItem(const std::shared_ptr<CollisionItem>& item) { m_Items.push_back(item); }
    const std::shared_ptr<SceneNode>& GetNode() const { return m_Node; }

private:
    std::vector<std::shared_ptr<CollisionItem>> m_Items;
    std::shared_ptr<SceneNode> m_Node;
};

} // namespace orvcore
