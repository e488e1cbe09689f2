#pragma once

namespace orvcore {

/// One timed effect of a `RigidAnimation` on one node, active from
/// `StartTime` to `EndTime` (seconds of the animation's run).
///
/// The kinds share their timing: `Play(t)` does nothing and returns false
/// before the start; during the clip it applies the effect at the ratio
/// r = (t - StartTime) / (EndTime - StartTime) and returns true; from the
/// end on it applies the final state, disables itself and returns true.
class RigidAnimationClip {
public:
    RigidAnimationClip() = default;
    RigidAnimationClip(float startTime, float endTime);
    RigidAnimationClip(const RigidAnimationClip&) = default;
    RigidAnimationClip& operator=(const RigidAnimationClip&) = default;
    virtual ~RigidAnimationClip();

    /// The base does nothing and returns false.
    virtual bool Play(float time);
    /// Prepares the next run; the base does nothing.
    virtual void Reset();

    float GetStartTime() const { return m_StartTime; }
    void SetStartTime(float time) { m_StartTime = time; }
    float GetEndTime() const { return m_EndTime; }
    void SetEndTime(float time) { m_EndTime = time; }
    bool GetEnabled() const { return m_Enabled; }
    void SetEnabled(bool enabled) { m_Enabled = enabled; }

protected:
    /// The common timing: 0 before the start (nothing to do), 1 during the
    /// clip with the ratio in `ratio`, 2 at or after the end (the clip is
    /// disabled).
    int Phase(float time, float& ratio);

    float m_StartTime = 0.0f;
    float m_EndTime = 0.0f;
    bool m_Enabled = true;
};

} // namespace orvcore
