#include <orvcore/robot/RobotLink.h>

#include <orvcommon/Math.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

RobotLink::RobotLink(unsigned int jointIndex, const std::shared_ptr<SceneNode>& visual)
    : m_JointIndex(jointIndex), m_VisualNode(visual)
{
}

void RobotLink::UpdateTransform(const glm::mat4& jointWorld)
{
    if (!m_VisualNode)
        return;
    glm::mat4 transform;
    Math::Multiply(jointWorld, m_WorldToDH, transform);
    m_VisualNode->SetTransform(transform);
    m_VisualNode->RequstUpdate();
}

const glm::mat4& RobotLink::GetWorldTransform() const
{
    static const glm::mat4 kIdentity(1.0f);
    return m_VisualNode ? m_VisualNode->GetWorldTransform() : kIdentity;
}

void RobotLink::SetVisible(bool visible)
{
    if (m_VisualNode)
        m_VisualNode->SetVisible(visible);
}

std::shared_ptr<RobotLink> RobotLink::Clone() const
{
    auto copy = std::make_shared<RobotLink>(m_JointIndex, m_VisualNode ? m_VisualNode->Clone() : nullptr);
    copy->m_WorldToDH = m_WorldToDH;
    return copy;
}

} // namespace orvcore
