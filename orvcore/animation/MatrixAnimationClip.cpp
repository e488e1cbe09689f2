#include <orvcore/animation/MatrixAnimationClip.h>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>

#include <orvcommon/Logger.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

namespace {

/// The rotation of a matrix's upper 3x3 block, its columns normalised so
/// that a scale does not leak in (a zero column counts as its axis).
glm::quat RotationOf(const glm::mat4& m)
{
    glm::mat3 r(m);
    for (int c = 0; c < 3; ++c) {
        const float length = glm::length(r[c]);
        r[c] = length > 0.0f ? r[c] / length : glm::mat3(1.0f)[c];
    }
    const glm::quat q = glm::quat_cast(r);
    const float length = glm::length(q);
    return length > 0.0f ? q / length : glm::quat(1.0f, 0.0f, 0.0f, 0.0f);
}

} // namespace

MatrixAnimationClip::MatrixAnimationClip(const std::shared_ptr<SceneNode>& node, const glm::mat4& start,
                                         const glm::mat4& end, float startTime, float endTime)
    : RigidAnimationClip(startTime, endTime), m_StartMatrix(start), m_EndMatrix(end), m_Node(node)
{
    if (!node)
        Logger::Instance().Waring("Node is null!");
}

glm::mat4 MatrixAnimationClip::Blend(const glm::mat4& start, const glm::mat4& end, float r)
{
    // glm's slerp takes the shorter arc and falls back to a linear blend of
    // the components when the cosine exceeds 1 - float epsilon.
    const glm::quat q = glm::slerp(RotationOf(start), RotationOf(end), r);
    glm::mat4 result(glm::mat3_cast(q));
    result[3] = (1.0f - r) * start[3] + r * end[3];
    return result;
}

bool MatrixAnimationClip::Play(float time)
{
    float ratio = 0.0f;
    const int phase = Phase(time, ratio);
    if (phase == 0)
        return false;
    if (m_Node) {
        m_Node->SetTransform(phase == 1 ? Blend(m_StartMatrix, m_EndMatrix, ratio) : m_EndMatrix);
        m_Node->RequstUpdate();
    }
    return true;
}

MatrixAnimationClip* MatrixAnimationClip::Cast(RigidAnimationClip* clip)
{
    return dynamic_cast<MatrixAnimationClip*>(clip);
}
const MatrixAnimationClip* MatrixAnimationClip::Cast(const RigidAnimationClip* clip)
{
    return dynamic_cast<const MatrixAnimationClip*>(clip);
}

} // namespace orvcore
