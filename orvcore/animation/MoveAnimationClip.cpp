#include <orvcore/animation/MoveAnimationClip.h>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include <orvcommon/Logger.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

MoveAnimationClip::MoveAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::vec3& offset, float start,
                                     float end)
    : RigidAnimationClip(start, end), m_Direction(0.0f), m_Distance(glm::length(offset)), m_Node(node)
{
    if (m_Distance > 0.0f)
        m_Direction = offset / m_Distance;
    if (!node)
        Logger::Instance().Waring("Node is null!");
}

MoveAnimationClip::MoveAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::vec3& direction,
                                     float distance, float start, float end)
    : RigidAnimationClip(start, end), m_Direction(direction), m_Distance(distance), m_Node(node)
{
    if (!node)
        Logger::Instance().Waring("Node is null!");
}

bool MoveAnimationClip::Play(float time)
{
    float ratio = 0.0f;
    const int phase = Phase(time, ratio);
    if (phase == 0)
        return false;
    if (m_Node) {
        if (m_NeedInit) {
            m_NeedInit = false;
            m_Start = m_Node->GetTransform();
        }
        Update(ratio);
    }
    return true;
}

void MoveAnimationClip::Update(float ratio)
{
    m_Node->SetTransform(glm::translate(glm::mat4(1.0f), m_Direction * (ratio * m_Distance)) * m_Start);
    m_Node->RequstUpdate();
}

MoveAnimationClip* MoveAnimationClip::Cast(RigidAnimationClip* clip) { return dynamic_cast<MoveAnimationClip*>(clip); }
const MoveAnimationClip* MoveAnimationClip::Cast(const RigidAnimationClip* clip)
{
    return dynamic_cast<const MoveAnimationClip*>(clip);
}

} // namespace orvcore
