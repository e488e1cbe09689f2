#include <orvcore/robot/RobotJoint.h>

#include <glm/matrix.hpp>

#include <orvcommon/Math.h>
#include <orvcommon/VEC3.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/widget/AxisWidget.h>

namespace orvcore {

RobotJoint::RobotJoint(unsigned int index, EnumRobotJointType type, double alpha, double a, double d, double theta,
                       float axisSize)
    : m_JointType(type), m_Index(index), m_Parameters(std::make_shared<RobotDH>(alpha, a, d, theta)),
      m_AxisNode(AxisWidget::Create(axisSize / 5.0f, glm::vec3(axisSize)))
{
}

double RobotJoint::GetVariable() const
{
    switch (m_JointType) {
    case ROBOT_JOINT_REVOLUTE:
        return m_Parameters->GetTheta();
    case ROBOT_JOINT_PRISMATIC:
        return m_Parameters->GetD();
    default:
        return 0.0;
    }
}

bool RobotJoint::SetVariable(double value)
{
    bool set = false;
    if (m_JointType == ROBOT_JOINT_REVOLUTE)
        set = m_Parameters->SetTheta(value);
    else if (m_JointType == ROBOT_JOINT_PRISMATIC)
        set = m_Parameters->SetD(value);
    if (set)
        m_NeedUpdate = true;
    return set;
}

void RobotJoint::CalculateFrame()
{
    if (!m_NeedUpdate)
        return;
    m_NeedUpdate = false;
    m_Parameters->Update();
    if (m_BiasDH) {
        glm::mat4 combined;
        Math::Multiply(m_Parameters->GetFrame(), m_BiasDH->GetFrame(), combined);
        m_BiasDH->SetWorldFrame(combined);
    }
}

const glm::mat4& RobotJoint::GetLocalFrame() const
{
    return m_BiasDH ? m_BiasDH->GetWorldFrame() : m_Parameters->GetFrame();
}

void RobotJoint::UpdateWorldFrame(glm::mat4& m)
{
    CalculateFrame();
    glm::mat4 world;
    if (m_BiasDH) // the bias makes the local frame a general one
        Math::Multiply(m, GetLocalFrame(), world);
    else
        Math::MultiplyDH(m, m_Parameters->GetFrame(), world);
    m = world;
    m_Parameters->SetWorldFrame(world);
    if (m_AxisNode) {
        m_AxisNode->SetTransform(world);
        m_AxisNode->RequstUpdate();
    }
    if (m_VirtualLink)
        m_VirtualLink->UpdateTransform(world);
}

void RobotJoint::Update()
{
    const glm::mat4& world = m_Parameters->GetWorldFrame();
    if (m_AxisNode) {
        m_AxisNode->SetTransform(world);
        m_AxisNode->RequstUpdate();
    }
    if (m_VirtualLink)
        m_VirtualLink->UpdateTransform(world);
}

void RobotJoint::Initialize(const std::shared_ptr<RobotJoint>& previous,
                            const std::shared_ptr<MaterialInstance>& lineMaterial)
{
    CalculateFrame();
    const glm::mat4 parent = previous ? previous->GetWorldFrame() : glm::mat4(1.0f);
    glm::mat4 world;
    Math::Multiply(parent, GetLocalFrame(), world);
    m_Parameters->SetWorldFrame(world);

    // The joint's frame without its offset along the previous axis: the
    // line from there to the joint's origin shows that offset.
    const RobotDH& source = m_BiasDH ? *m_BiasDH : *m_Parameters;
    const glm::mat4 start = parent * Math::ComputeDH(source.GetAlpha(), source.GetA(), 0.0, source.GetTheta());
    auto line = std::make_shared<PrimitiveShape>(
        GeometryBuilder::CreateLine(Math::transformVec3(start, VEC3::ZERO), Math::transformVec3(world, VEC3::ZERO)),
        lineMaterial);
    // The line is built in the arm's coordinates at this pose; its node
    // rides on the joint's frame, so its placement relative to the frame is
    // the frame's inverse. An existing node is kept (it is a child of the
    // arm) and given the new line.
    if (m_VirtualLink && m_VirtualLink->GetVisualNode()) {
        if (auto node = PrimitiveSceneNode::Cast(m_VirtualLink->GetVisualNode().get())) {
            node->SetPrimitive(line);
            node->RequstUpdate();
        }
    } else {
        m_VirtualLink = std::make_shared<RobotLink>(m_Index, std::make_shared<PrimitiveSceneNode>(line));
    }
    m_VirtualLink->SetWorldToDH(glm::inverse(world));
}

void RobotJoint::SetAxisVisible(bool visible)
{
    if (m_AxisNode)
        m_AxisNode->SetVisible(visible);
}

void RobotJoint::SetLinkVisible(bool visible)
{
    if (m_VirtualLink)
        m_VirtualLink->SetVisible(visible);
}

std::shared_ptr<RobotJoint> RobotJoint::Clone() const
{
    auto copy = std::shared_ptr<RobotJoint>(new RobotJoint(*this));
    copy->m_Parameters = m_Parameters->Clone();
    if (m_BiasDH)
        copy->m_BiasDH = m_BiasDH->Clone();
    if (m_AxisNode)
        copy->m_AxisNode = m_AxisNode->CloneAxisWidget();
    if (m_VirtualLink)
        copy->m_VirtualLink = m_VirtualLink->Clone();
    return copy;
}

} // namespace orvcore
