#include <orvcore/robot/RobotBody.h>

#include <algorithm>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>
#include <orvcore/robot/RobotArm.h>

namespace orvcore {

RobotBody::RobotBody() = default;
RobotBody::~RobotBody() = default;

bool RobotBody::CheckIndex(unsigned int i) const
{
    if (i < m_Arms.size())
        return true;
    Logger::Instance().Waring("index is out of range!");
    return false;
}

void RobotBody::AddArm(const std::shared_ptr<RobotArm>& arm)
{
    if (!arm) {
        Logger::Instance().Waring("Arm is null!");
        return;
    }
    AddNode(arm);
    m_Arms.push_back(arm);
}

bool RobotBody::RemoveArm(const std::shared_ptr<RobotArm>& arm)
{
    auto found = std::find(m_Arms.begin(), m_Arms.end(), arm);
    if (!arm || found == m_Arms.end())
        return false;
    m_Arms.erase(found);
    if (arm->GetParent() == this) {
        RemoveNode(arm->GetId());
        arm->SetParent(nullptr);
    }
    RequstUpdate();
    return true;
}

std::shared_ptr<RobotArm> RobotBody::GetArm(unsigned int i) const { return CheckIndex(i) ? m_Arms[i] : nullptr; }

bool RobotBody::SetVariable(unsigned int arm, unsigned int joint, double value)
{
    return CheckIndex(arm) && m_Arms[arm]->SetVariable(joint, value);
}

double RobotBody::GetVariable(unsigned int arm, unsigned int joint) const
{
    return CheckIndex(arm) ? m_Arms[arm]->GetVariable(joint) : 0.0;
}

glm::mat4 RobotBody::GetFinalTransform(unsigned int arm) const
{
    if (!CheckIndex(arm))
        return GetWorldTransform();
    glm::mat4 armWorld, result;
    Math::Multiply(GetWorldTransform(), m_Arms[arm]->GetTransform(), armWorld);
    Math::Multiply(armWorld, m_Arms[arm]->GetFinalTransform(), result);
    return result;
}

void RobotBody::Reset()
{
    for (const auto& arm : m_Arms)
        arm->ResetInitialState();
}

void RobotBody::UpdateFrames()
{
    for (const auto& arm : m_Arms)
        arm->UpdateFrames();
}

void RobotBody::ShowJoints(bool show)
{
    for (const auto& arm : m_Arms)
        arm->ShowJoints(show);
}

void RobotBody::ShowLinks(bool show)
{
    for (const auto& arm : m_Arms)
        arm->ShowLinks(show);
}

void RobotBody::ShowVirtualLinks(bool show)
{
    for (const auto& arm : m_Arms)
        arm->ShowVirtualLinks(show);
}

std::shared_ptr<RobotBody> RobotBody::CloneRobot() const
{
    auto body = std::make_shared<RobotBody>();
    body->CopyBaseProperties(*this);
    body->m_Name = m_Name;
    for (const auto& arm : m_Arms)
        body->AddArm(arm->CloneRobotArm());
    return body;
}

std::shared_ptr<SceneNode> RobotBody::Clone() const { return CloneRobot(); }

RobotBody* RobotBody::Cast(GroupSceneNode* node) { return dynamic_cast<RobotBody*>(node); }
const RobotBody* RobotBody::Cast(const GroupSceneNode* node) { return dynamic_cast<const RobotBody*>(node); }
RobotBody* RobotBody::Cast(SceneNode* node) { return dynamic_cast<RobotBody*>(node); }
const RobotBody* RobotBody::Cast(const SceneNode* node) { return dynamic_cast<const RobotBody*>(node); }

} // namespace orvcore
