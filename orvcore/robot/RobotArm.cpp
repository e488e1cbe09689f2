#include <orvcore/robot/RobotArm.h>

#include <glm/matrix.hpp>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvcore/robot/RobotSelfCollider.h>
#include <orvcore/widget/AxisWidget.h>

namespace orvcore {

RobotArm::RobotArm() : m_LineMaterial(BasicMaterial::Create("robot.line")), m_Collider(new RobotSelfCollider)
{
    m_LineMaterial->SetColor(glm::vec3(1.0f, 1.0f, 0.0f));
}

RobotArm::~RobotArm() = default;

bool RobotArm::CheckIndex(unsigned int i, std::size_t count) const
{
    if (i < count)
        return true;
    Logger::Instance().Waring("index is out of range!");
    return false;
}

void RobotArm::AdoptJointNodes(const RobotJoint& joint)
{
    if (joint.GetAxisNode())
        AddNode(joint.GetAxisNode());
    if (joint.GetVirtualLink() && joint.GetVirtualLink()->GetVisualNode())
        AddNode(joint.GetVirtualLink()->GetVisualNode());
}

unsigned int RobotArm::AddJoint(EnumRobotJointType type, double alpha, double a, double d, double theta,
                                const std::shared_ptr<RobotDH>& bias)
{
    const unsigned int index = GetJointCount();
    auto joint = std::make_shared<RobotJoint>(index, type, alpha, a, d, theta, m_AxisSize);
    joint->SetBiasDH(bias);
    joint->Initialize(m_Joints.empty() ? nullptr : m_Joints.back(), m_LineMaterial);
    m_Joints.push_back(joint);
    AdoptJointNodes(*joint);
    joint->Update();
    return index;
}

glm::mat4 RobotArm::RelativeTo(const glm::mat4& frame, const SceneNode& node)
{
    return glm::inverse(frame) * node.GetTransform();
}

unsigned int RobotArm::AddLink(unsigned int jointIndex, const std::shared_ptr<SceneNode>& node)
{
    if (m_Links.size() >= m_Joints.size()) {
        Logger::Instance().Waring("Out of range!");
        return 0;
    }
    if (!CheckIndex(jointIndex, m_Joints.size()))
        return 0;
    if (!node) {
        Logger::Instance().Waring("Node is null!");
        return 0;
    }
    if (node->GetParent()) {
        Logger::Instance().Waring("The node already has parent!");
        return 0;
    }
    auto link = std::make_shared<RobotLink>(jointIndex, node);
    link->SetWorldToDH(RelativeTo(m_Joints[jointIndex]->GetWorldFrame(), *node));
    m_Links.push_back(link);
    AddNode(node);
    return GetLinkCount() - 1;
}

bool RobotArm::SetVariable(unsigned int i, double value)
{
    if (!CheckIndex(i, m_Joints.size()))
        return false;
    return m_Joints[i]->SetVariable(value);
}

double RobotArm::GetVariable(unsigned int i) const
{
    if (!CheckIndex(i, m_Joints.size()))
        return 0.0;
    return m_Joints[i]->GetVariable();
}

std::shared_ptr<RobotJoint> RobotArm::GetJoint(unsigned int i) const
{
    return CheckIndex(i, m_Joints.size()) ? m_Joints[i] : nullptr;
}

std::shared_ptr<RobotLink> RobotArm::GetLink(unsigned int i) const
{
    return CheckIndex(i, m_Links.size()) ? m_Links[i] : nullptr;
}

void RobotArm::UpdateFrames()
{
    glm::mat4 m(1.0f);
    for (const auto& joint : m_Joints)
        joint->UpdateWorldFrame(m);
    for (const auto& link : m_Links) {
        // A link whose joint was dropped (RemoveTailJoint) stays put.
        if (link->GetJointIndex() < m_Joints.size())
            link->UpdateTransform(m_Joints[link->GetJointIndex()]->GetWorldFrame());
    }
    RequstUpdate();
}

const glm::mat4& RobotArm::GetFinalTransform() const
{
    static const glm::mat4 kIdentity(1.0f);
    return m_Joints.empty() ? kIdentity : m_Joints.back()->GetWorldFrame();
}

void RobotArm::ResetInitialState()
{
    for (std::size_t i = 0; i < m_Joints.size(); ++i) {
        m_Joints[i]->Initialize(i > 0 ? m_Joints[i - 1] : nullptr, m_LineMaterial);
        m_Joints[i]->Update();
    }
    for (const auto& link : m_Links) {
        if (link->GetVisualNode() && link->GetJointIndex() < m_Joints.size())
            link->SetWorldToDH(RelativeTo(m_Joints[link->GetJointIndex()]->GetWorldFrame(), *link->GetVisualNode()));
    }
    RequstUpdate();
}

void RobotArm::RemoveTailJoint()
{
    if (m_Joints.empty())
        return;
    const auto& joint = m_Joints.back();
    std::shared_ptr<SceneNode> nodes[2] = {joint->GetAxisNode(),
                                           joint->GetVirtualLink() ? joint->GetVirtualLink()->GetVisualNode() : nullptr};
    for (const auto& node : nodes) {
        if (node && node->GetParent() == this) {
            RemoveNode(node->GetId());
            node->SetParent(nullptr);
        }
    }
    m_Joints.pop_back();
    RequstUpdate();
}

void RobotArm::ShowJoints(bool show)
{
    for (const auto& joint : m_Joints)
        joint->SetAxisVisible(show);
}

void RobotArm::ShowVirtualLinks(bool show)
{
    for (const auto& joint : m_Joints)
        joint->SetLinkVisible(show);
}

void RobotArm::ShowLinks(bool show)
{
    for (const auto& link : m_Links)
        link->SetVisible(show);
}

std::vector<uint32_t> RobotArm::SelfCollisionTest() { return m_Collider->Test(m_Links); }

std::shared_ptr<RobotArm> RobotArm::CloneRobotArm() const
{
    auto arm = std::make_shared<RobotArm>();
    arm->CopyBaseProperties(*this);
    arm->m_AxisSize = m_AxisSize;
    arm->m_Name = m_Name;
    arm->m_LineMaterial = m_LineMaterial;
    for (const auto& joint : m_Joints) {
        arm->m_Joints.push_back(joint->Clone());
        arm->AdoptJointNodes(*arm->m_Joints.back());
    }
    for (const auto& link : m_Links) {
        auto copy = link->Clone();
        arm->m_Links.push_back(copy);
        if (copy->GetVisualNode())
            arm->AddNode(copy->GetVisualNode());
    }
    return arm;
}

std::shared_ptr<SceneNode> RobotArm::Clone() const { return CloneRobotArm(); }

RobotArm* RobotArm::Cast(GroupSceneNode* node) { return dynamic_cast<RobotArm*>(node); }
const RobotArm* RobotArm::Cast(const GroupSceneNode* node) { return dynamic_cast<const RobotArm*>(node); }
RobotArm* RobotArm::Cast(SceneNode* node) { return dynamic_cast<RobotArm*>(node); }
const RobotArm* RobotArm::Cast(const SceneNode* node) { return dynamic_cast<const RobotArm*>(node); }

} // namespace orvcore
