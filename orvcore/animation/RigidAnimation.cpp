#include <orvcore/animation/RigidAnimation.h>

#include <chrono>
#include <cmath>

#include <orvcommon/Logger.h>

namespace orvcore {

RigidAnimation::~RigidAnimation() = default;

void RigidAnimation::Add(const std::shared_ptr<RigidAnimationClip>& clip)
{
    if (!clip) {
        Logger::Instance().Waring("Clip is null!");
        return;
    }
    m_Clips.push_back(clip);
}

bool RigidAnimation::Play(float /*time*/)
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return Step(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

bool RigidAnimation::PlayAt(double seconds)
{
    // Within about 125 years either way the difference of two nanosecond
    // counts still fits 64 bits.
    if (!std::isfinite(seconds) || std::fabs(seconds) > 4.0e9) {
        Logger::Instance().Waring("Animation time is not finite!");
        return false;
    }
    return Step(static_cast<int64_t>(std::llround(seconds * 1.0e9)));
}

bool RigidAnimation::Step(int64_t now)
{
    if (m_Paused || (!m_Enabled && !m_Loop))
        return false;
    if (m_Duration < 0.0f) {
        m_StartNanoseconds = now;
        m_Duration = 0.0f;
        Reset();
    } else {
        m_Duration = static_cast<float>(static_cast<double>(now - m_StartNanoseconds) / 1.0e9);
    }
    unsigned int played = 0;
    for (const auto& clip : m_Clips) {
        if (!clip || !clip->GetEnabled())
            continue;
        clip->Play(m_Duration);
        ++played;
    }
    if (played > 0)
        return m_Enabled;
    m_Enabled = false;
    m_Duration = -1.0f;
    return false;
}

void RigidAnimation::Reset()
{
    for (const auto& clip : m_Clips) {
        if (!clip)
            continue;
        clip->SetEnabled(true);
        clip->Reset();
    }
    m_Enabled = true;
}

RigidAnimation* RigidAnimation::Cast(Animation* animation) { return dynamic_cast<RigidAnimation*>(animation); }
const RigidAnimation* RigidAnimation::Cast(const Animation* animation)
{
    return dynamic_cast<const RigidAnimation*>(animation);
}

} // namespace orvcore
