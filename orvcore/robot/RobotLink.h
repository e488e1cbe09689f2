#pragma once

#include <cstdint>
#include <memory>

#include <glm/mat4x4.hpp>

namespace orvcore {

class SceneNode;

/// A piece of geometry riding on a joint: its node is placed at the joint's
/// frame times `WorldToDH`, the geometry's fixed placement relative to that
/// frame.
class RobotLink {
public:
    RobotLink() = default;
    RobotLink(unsigned int jointIndex, const std::shared_ptr<SceneNode>& visual);

    /// VisualNode's transform = jointWorld * WorldToDH, then `RequstUpdate`
    /// on it. Does nothing without a node.
    void UpdateTransform(const glm::mat4& jointWorld);
    /// The visual node's world transform as of the last world update
    /// (identity without a node).
    const glm::mat4& GetWorldTransform() const;
    void SetVisible(bool visible);

    const glm::mat4& GetWorldToDH() const { return m_WorldToDH; }
    void SetWorldToDH(const glm::mat4& matrix) { m_WorldToDH = matrix; }
    unsigned int GetJointIndex() const { return m_JointIndex; }
    void SetJointIndex(unsigned int index) { m_JointIndex = index; }
    const std::shared_ptr<SceneNode>& GetVisualNode() const { return m_VisualNode; }
    void SetVisualNode(const std::shared_ptr<SceneNode>& node) { m_VisualNode = node; }

    /// A copy with a clone of the visual node.
    std::shared_ptr<RobotLink> Clone() const;

private:
    glm::mat4 m_WorldToDH{1.0f};
    uint32_t m_JointIndex = 0;
    std::shared_ptr<SceneNode> m_VisualNode;
};

} // namespace orvcore
