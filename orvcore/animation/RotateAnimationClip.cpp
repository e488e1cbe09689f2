#include <orvcore/animation/RotateAnimationClip.h>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include <orvcommon/Logger.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

RotateAnimationClip::RotateAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::vec3& pivot,
                                         const glm::vec3& axis, float angle, float start, float end)
    : RotateAnimationClip(node, axis, angle, start, end)
{
    m_Pivot = pivot;
}

RotateAnimationClip::RotateAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::vec3& axis, float angle,
                                         float start, float end)
    : RigidAnimationClip(start, end), m_Direction(axis), m_Angle(angle), m_Node(node)
{
    if (!node)
        Logger::Instance().Waring("Node is null!");
}

bool RotateAnimationClip::Play(float time)
{
    float ratio = 0.0f;
    const int phase = Phase(time, ratio);
    if (phase == 0)
        return false;
    if (!m_Node)
        return true;
    if (m_NeedInit) {
        m_NeedInit = false;
        glm::vec3 pivot;
        if (m_Pivot) {
            pivot = *m_Pivot;
        } else {
            // A node without a finite box turns about its world origin.
            const auto& box = m_Node->GetWorldBBox();
            pivot = box.isFinite() ? box.getCenter() : glm::vec3(m_Node->GetWorldTransform()[3]);
        }
        m_Back = glm::translate(glm::mat4(1.0f), pivot);
        m_Start = glm::translate(glm::mat4(1.0f), -pivot) * m_Node->GetTransform();
    }
    Update(phase == 1 ? m_Angle * ratio : m_Angle);
    return true;
}

void RotateAnimationClip::Update(float angle)
{
    // A zero axis has no rotation about it: the node stays where it was.
    const float length = glm::length(m_Direction);
    const glm::mat4 rotation =
        length > 0.0f ? glm::rotate(glm::mat4(1.0f), angle, m_Direction / length) : glm::mat4(1.0f);
    m_Node->SetTransform(m_Back * rotation * m_Start);
    m_Node->RequstUpdate();
}

RotateAnimationClip* RotateAnimationClip::Cast(RigidAnimationClip* clip)
{
    return dynamic_cast<RotateAnimationClip*>(clip);
}
const RotateAnimationClip* RotateAnimationClip::Cast(const RigidAnimationClip* clip)
{
    return dynamic_cast<const RotateAnimationClip*>(clip);
}

} // namespace orvcore
