#include <orvcore/animation/MaterialAnimationClip.h>

#include <cmath>
#include <cstdint>

#include <orvcommon/Logger.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

MaterialAnimationClip::MaterialAnimationClip(const std::shared_ptr<SceneNode>& node,
                                             const std::shared_ptr<MaterialInstance>& face,
                                             const std::shared_ptr<MaterialInstance>& edge, float period,
                                             float start, float end)
    : RigidAnimationClip(start, end), m_Duration(period), m_FaceMaterial(face), m_EdgeMaterial(edge), m_Node(node)
{
    if (!node)
        Logger::Instance().Waring("Node is null!");
    if (!(period > 0.0f))
        Logger::Instance().Waring("Blink period is not positive!");
}

bool MaterialAnimationClip::Play(float time)
{
    float ratio = 0.0f;
    const int phase = Phase(time, ratio);
    if (phase == 0)
        return false;
    if (!m_Node)
        return true;
    bool on = false;
    if (phase == 1) {
        // The period count, truncated; one that does not fit 32 bits (a
        // zero or tiny period) counts as even: no override.
        const double periods = (static_cast<double>(time) - m_StartTime) / m_Duration;
        if (std::isfinite(periods) && std::fabs(periods) < 2147483648.0)
            on = static_cast<int32_t>(periods) % 2 != 0;
    }
    m_Node->SetOverrideFaceMaterial(on ? m_FaceMaterial : nullptr);
    m_Node->SetOverrideEdgeMaterial(on ? m_EdgeMaterial : nullptr);
    return true;
}

MaterialAnimationClip* MaterialAnimationClip::Cast(RigidAnimationClip* clip)
{
    return dynamic_cast<MaterialAnimationClip*>(clip);
}
const MaterialAnimationClip* MaterialAnimationClip::Cast(const RigidAnimationClip* clip)
{
    return dynamic_cast<const MaterialAnimationClip*>(clip);
}

} // namespace orvcore
