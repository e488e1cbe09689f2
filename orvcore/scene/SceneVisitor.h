#pragma once

namespace orvcore {

class GeneralSceneNode;
class GroupSceneNode;
class ShapeSceneNode;
class PrimitiveSceneNode;

/// Visitor over the node kinds. A node's `Accept` calls exactly one `Visit`
/// and does not recurse; a visitor that wants a group's children calls
/// `GroupSceneNode::Apply(*this)` from its group overload.
class SceneVisitor {
public:
    SceneVisitor() = default;
    SceneVisitor(const SceneVisitor&) = default;
    SceneVisitor& operator=(const SceneVisitor&) = default;
    virtual ~SceneVisitor() = default;

    virtual void Visit(GeneralSceneNode* node) = 0;
    virtual void Visit(GroupSceneNode* node) = 0;
    virtual void Visit(ShapeSceneNode* node) = 0;
    virtual void Visit(PrimitiveSceneNode* node) = 0;
};

} // namespace orvcore
