#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>

#include <orvcore/robot/EnumRobotJointType.h>
#include <orvcore/robot/RobotJoint.h>
#include <orvcore/robot/RobotLink.h>
#include <orvcore/scene/GroupSceneNode.h>

namespace orvcore {

class BasicMaterial;
class RobotDH;
class RobotSelfCollider;

/// A serial arm of DH joints, shown as a group node: every joint's axis
/// widget and virtual link, and the user's link geometry riding on the
/// joints' frames, are children of the arm.
///
/// Joint frames are in the arm's own coordinates: joint k's frame is
/// local0 x local1 x ... x localk. Setting joint values does not move
/// anything; `UpdateFrames` (forward kinematics) recomputes the frames of
/// the joints whose values changed, places every axis widget, virtual link
/// and link node, and requests the arm's world update.
class RobotArm : public GroupSceneNode {
public:
    RobotArm();
    ~RobotArm() override;

    /// Appends a joint with these DH values (its variable unbounded) and an
    /// optional bias frame, computes its frame from the previous joint's,
    /// and adds its axis widget and virtual link to the arm. Returns its
    /// index.
    unsigned int AddJoint(EnumRobotJointType type, double alpha, double a, double d, double theta,
                          const std::shared_ptr<RobotDH>& bias = nullptr);
    /// Attaches a node (made a child of the arm) to joint `jointIndex`: it
    /// keeps its current placement in the arm and rides on the joint from
    /// now on. Only as many links as joints: beyond that "Out of range!" and
    /// 0. A joint index past the last joint logs "index is out of range!",
    /// a null node "Node is null!", a node that has a parent "The node
    /// already has parent!"; each returns 0 and adds nothing.
    unsigned int AddLink(unsigned int jointIndex, const std::shared_ptr<SceneNode>& node);

    /// Joint i's value (see `RobotJoint::SetVariable`); frames are not
    /// recomputed. A bad index logs "index is out of range!" and gives false.
    bool SetVariable(unsigned int i, double value);
    /// A bad index logs "index is out of range!" and gives 0.
    double GetVariable(unsigned int i) const;

    /// A bad index logs "index is out of range!" and gives null.
    std::shared_ptr<RobotJoint> GetJoint(unsigned int i) const;
    std::shared_ptr<RobotLink> GetLink(unsigned int i) const;
    unsigned int GetJointCount() const { return static_cast<unsigned int>(m_Joints.size()); }
    unsigned int GetLinkCount() const { return static_cast<unsigned int>(m_Links.size()); }
    const std::vector<std::shared_ptr<RobotJoint>>& GetJoints() const { return m_Joints; }
    const std::vector<std::shared_ptr<RobotLink>>& GetLinks() const { return m_Links; }

    /// Forward kinematics: every joint's world frame in order, then every
    /// link's node, then `RequstUpdate` on the arm.
    void UpdateFrames();
    /// The last joint's frame (the identity for an arm without joints).
    const glm::mat4& GetFinalTransform() const;

    /// Recomputes every joint's frame and virtual link from the current
    /// values, and makes the current pose the links' rest pose: every link
    /// node keeps its placement relative to its joint's new frame.
    void ResetInitialState();
    /// Drops the last joint with its axis widget and virtual link; links are
    /// kept (a link on the dropped joint stays where it is).
    void RemoveTailJoint();

    void ShowJoints(bool show);
    void ShowVirtualLinks(bool show);
    void ShowLinks(bool show);

    /// Pairs of links, two or more apart in the list, whose triangles touch
    /// in the pose of the last world update, as a flat list [i0, j0, i1,
    /// j1, ...] (see `RobotSelfCollider`).
    std::vector<uint32_t> SelfCollisionTest();

    float GetAxisSize() const { return m_AxisSize; }
    /// The size of the axis widgets of joints added from now on.
    void SetAxisSize(float size) { m_AxisSize = size; }
    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }
    const std::shared_ptr<BasicMaterial>& GetLineMaterial() const { return m_LineMaterial; }

    /// A new arm with clones of the joints and links (and this arm's line
    /// material).
    std::shared_ptr<RobotArm> CloneRobotArm() const;
    std::shared_ptr<SceneNode> Clone() const override;

    static RobotArm* Cast(GroupSceneNode* node);
    static const RobotArm* Cast(const GroupSceneNode* node);
    static RobotArm* Cast(SceneNode* node);
    static const RobotArm* Cast(const SceneNode* node);

private:
    bool CheckIndex(unsigned int i, std::size_t count) const;
    void AdoptJointNodes(const RobotJoint& joint);
    /// The link's placement relative to the joint frame: inverse(frame) x
    /// the node's current transform.
    static glm::mat4 RelativeTo(const glm::mat4& frame, const SceneNode& node);

    float m_AxisSize = 10.0f;
    std::string m_Name;
    std::vector<std::shared_ptr<RobotJoint>> m_Joints;
    std::vector<std::shared_ptr<RobotLink>> m_Links;
    std::shared_ptr<BasicMaterial> m_LineMaterial;
    std::unique_ptr<RobotSelfCollider> m_Collider;
};

} // namespace orvcore
