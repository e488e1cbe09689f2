#include <orvcore/animation/RigidAnimationClip.h>

namespace orvcore {

RigidAnimationClip::RigidAnimationClip(float startTime, float endTime) : m_StartTime(startTime), m_EndTime(endTime) {}

RigidAnimationClip::~RigidAnimationClip() = default;

bool RigidAnimationClip::Play(float /*time*/) { return false; }

void RigidAnimationClip::Reset() {}

int RigidAnimationClip::Phase(float time, float& ratio)
{
    if (m_StartTime > time)
        return 0;
    if (time < m_EndTime) {
        ratio = (time - m_StartTime) / (m_EndTime - m_StartTime);
        return 1;
    }
    ratio = 1.0f;
    m_Enabled = false;
    return 2;
}

} // namespace orvcore
