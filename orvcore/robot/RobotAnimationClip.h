#pragma once

#include <cstdint>
#include <memory>

namespace orvcore {

class RobotArm;

/// A ramp of one joint's value: from `StartVar` at `StartTime` to `EndVar`
/// at `EndTime` (seconds of the animation's run), at constant speed.
class RobotAnimationClip {
public:
    RobotAnimationClip() = default;
    RobotAnimationClip(unsigned int jointIndex, double startVar, double endVar, double startTime, double endTime);

    /// |EndVar - StartVar| / (EndTime - StartTime); 0 when the clip has no
    /// positive length in time (it then jumps to EndVar at EndTime).
    double ComputeSpeed() const;
    /// Before StartTime: false, the arm untouched. Otherwise sets the joint
    /// to the ramp's value at `t`, limited to EndVar; from EndTime on the
    /// value is exactly EndVar and the clip disables itself. Returns what
    /// the arm's `SetVariable` returned (a joint's range may refuse a
    /// value; the clip still ends on time). A null arm logs "Arm is null!".
    bool Play(const std::shared_ptr<RobotArm>& arm, double t);

    unsigned int GetJointIndex() const { return m_JointIndex; }
    void SetJointIndex(unsigned int index) { m_JointIndex = index; }
    double GetStartVar() const { return m_StartVar; }
    void SetStartVar(double value) { m_StartVar = value; }
    double GetEndVar() const { return m_EndVar; }
    void SetEndVar(double value) { m_EndVar = value; }
    double GetStartTime() const { return m_StartTime; }
    void SetStartTime(double time) { m_StartTime = time; }
    double GetEndTime() const { return m_EndTime; }
    void SetEndTime(double time) { m_EndTime = time; }
    bool GetEnabled() const { return m_Enabled; }
    void SetEnabled(bool enabled) { m_Enabled = enabled; }

private:
    uint32_t m_JointIndex = 0;
    double m_StartVar = 0.0;
    double m_EndVar = 0.0;
    double m_StartTime = 0.0;
    double m_EndTime = 0.0;
    bool m_Enabled = true;
};

} // namespace orvcore
