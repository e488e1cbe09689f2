#include <orvcore/robot/RobotAnimation.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include <orvcommon/Logger.h>
#include <orvcore/robot/RobotArm.h>

namespace orvcore {

RobotAnimation::RobotAnimation() = default;
RobotAnimation::RobotAnimation(const std::shared_ptr<RobotArm>& arm) : m_Arm(arm) {}
RobotAnimation::~RobotAnimation() = default;

void RobotAnimation::AddClip(const std::shared_ptr<RobotAnimationClip>& clip)
{
    if (!clip) {
        Logger::Instance().Waring("Clip is null!");
        return;
    }
    m_ClipsByJoint[clip->GetJointIndex()].push_back(clip);
}

bool RobotAnimation::RemoveClip(const std::shared_ptr<RobotAnimationClip>& clip)
{
    if (!clip)
        return false;
    auto list = m_ClipsByJoint.find(clip->GetJointIndex());
    if (list == m_ClipsByJoint.end())
        return false;
    auto found = std::find(list->second.begin(), list->second.end(), clip);
    if (found == list->second.end())
        return false;
    list->second.erase(found);
    return true;
}

std::shared_ptr<RobotAnimationClip> RobotAnimation::GetClip(unsigned int joint, unsigned int i) const
{
    auto list = m_ClipsByJoint.find(joint);
    if (list == m_ClipsByJoint.end())
        return nullptr;
    if (i >= list->second.size()) {
        Logger::Instance().Waring("Out of range!");
        return nullptr;
    }
    return list->second[i];
}

unsigned int RobotAnimation::GetClipCountOfJoint(unsigned int joint) const
{
    auto list = m_ClipsByJoint.find(joint);
    return list == m_ClipsByJoint.end() ? 0u : static_cast<unsigned int>(list->second.size());
}

bool RobotAnimation::Play(float /*time*/)
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return Step(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

bool RobotAnimation::PlayAt(double seconds)
{
    // Within about 125 years either way the difference of two nanosecond
    // counts still fits 64 bits.
    if (!std::isfinite(seconds) || std::fabs(seconds) > 4.0e9) {
        Logger::Instance().Waring("Animation time is not finite!");
        return false;
    }
    return Step(static_cast<int64_t>(std::llround(seconds * 1.0e9)));
}

bool RobotAnimation::Step(int64_t now)
{
    if (m_Paused)
        return false;
    if (!m_Arm) {
        Logger::Instance().Waring("Arm is null!");
        return false;
    }
    if (!m_Enabled) {
        if (!m_Loop)
            return false;
        Reset();
    }
    if (m_Duration < 0.0f) {
        m_StartNanoseconds = now;
        m_Duration = 0.0f;
        m_CursorByJoint.clear();
        for (const auto& entry : m_ClipsByJoint) {
            if (!entry.second.empty())
                m_CursorByJoint[entry.first] = 0;
        }
    } else {
        m_Duration = static_cast<float>(static_cast<double>(now - m_StartNanoseconds) / 1.0e9);
    }
    unsigned int played = 0;
    for (auto& entry : m_CursorByJoint) {
        const auto list = m_ClipsByJoint.find(entry.first);
        if (list == m_ClipsByJoint.end() || entry.second >= list->second.size())
            continue;
        ++played;
        RobotAnimationClip& clip = *list->second[entry.second];
        clip.Play(m_Arm, m_Duration);
        if (!clip.GetEnabled())
            ++entry.second;
    }
    if (played > 0) {
        m_Arm->UpdateFrames();
        return m_Enabled;
    }
    m_Enabled = false;
    return false;
}

void RobotAnimation::Reset()
{
    for (const auto& entry : m_ClipsByJoint) {
        for (const auto& clip : entry.second)
            clip->SetEnabled(true);
    }
    m_Duration = -1.0f;
    m_Enabled = true;
    if (m_Arm)
        m_Arm->ResetInitialState();
}

RobotAnimation* RobotAnimation::Cast(Animation* animation) { return dynamic_cast<RobotAnimation*>(animation); }
const RobotAnimation* RobotAnimation::Cast(const Animation* animation)
{
    return dynamic_cast<const RobotAnimation*>(animation);
}

} // namespace orvcore
