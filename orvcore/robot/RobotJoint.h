#pragma once

#include <cstdint>
#include <memory>

#include <glm/mat4x4.hpp>

#include <orvcore/robot/EnumRobotJointType.h>
#include <orvcore/robot/RobotDH.h>
#include <orvcore/robot/RobotLink.h>

namespace orvcore {

class AxisWidget;
class MaterialInstance;

/// One joint of a serial arm: its DH parameters, whose angle (revolute) or
/// offset (prismatic) is the joint variable, an optional fixed bias frame
/// applied after them, the joint's frame in the arm's coordinates, and two
/// markers: an axis widget at that frame and a line, the virtual link,
/// drawn along the parameters' offset on the previous joint's axis.
class RobotJoint {
public:
    /// Parameters from the four values (unbounded), the axis widget
    /// `AxisWidget::Create(axisSize / 5, (axisSize, axisSize, axisSize))`.
    RobotJoint(unsigned int index, EnumRobotJointType type, double alpha, double a, double d, double theta,
               float axisSize);

    /// Theta (revolute), D (prismatic), 0 for a fixed joint.
    double GetVariable() const;
    /// Stores the variable when its range allows (false, nothing changed,
    /// otherwise; always false for a fixed joint) and marks the frame for
    /// recomputation.
    bool SetVariable(double value);

    /// Recomputes the local frame when marked: the parameters' frame, times
    /// the bias frame when there is one (kept in the bias's world-frame slot).
    void CalculateFrame();
    /// The local frame in use: parameters x bias with a bias, else the
    /// parameters' frame.
    const glm::mat4& GetLocalFrame() const;
    /// m = m x local frame; the joint's world frame, axis widget and virtual
    /// link follow.
    void UpdateWorldFrame(glm::mat4& m);
    /// Places the axis widget and the virtual link at the stored world frame.
    void Update();
    /// Computes the world frame from the previous joint's (identity without
    /// one) and (re)builds the virtual link: a line from the origin of
    /// previous x DH(alpha, a, 0, theta) to the joint's origin, the values
    /// taken from the bias when there is one.
    void Initialize(const std::shared_ptr<RobotJoint>& previous, const std::shared_ptr<MaterialInstance>& lineMaterial);

    void SetAxisVisible(bool visible);
    void SetLinkVisible(bool visible);

    const glm::mat4& GetWorldFrame() const { return m_Parameters->GetWorldFrame(); }
    unsigned int GetIndex() const { return m_Index; }
    void SetIndex(unsigned int index) { m_Index = index; }
    EnumRobotJointType GetJointType() const { return m_JointType; }
    void SetJointType(EnumRobotJointType type) { m_JointType = type; }
    const std::shared_ptr<RobotDH>& GetParameters() const { return m_Parameters; }
    const std::shared_ptr<RobotDH>& GetBiasDH() const { return m_BiasDH; }
    void SetBiasDH(const std::shared_ptr<RobotDH>& bias)
    {
        m_BiasDH = bias;
        m_NeedUpdate = true;
    }
    const std::shared_ptr<AxisWidget>& GetAxisNode() const { return m_AxisNode; }
    void SetAxisNode(const std::shared_ptr<AxisWidget>& node) { m_AxisNode = node; }
    const std::shared_ptr<RobotLink>& GetVirtualLink() const { return m_VirtualLink; }
    bool GetNeedUpdate() const { return m_NeedUpdate; }
    void RequstUpdate() { m_NeedUpdate = true; }

    /// A deep copy: its own parameters, bias, axis widget and virtual link.
    std::shared_ptr<RobotJoint> Clone() const;

private:
    EnumRobotJointType m_JointType;
    uint32_t m_Index;
    std::shared_ptr<RobotDH> m_Parameters;
    bool m_NeedUpdate = true;
    std::shared_ptr<AxisWidget> m_AxisNode;
    std::shared_ptr<RobotLink> m_VirtualLink;
    std::shared_ptr<RobotDH> m_BiasDH;
};

} // namespace orvcore
