#include <orvcore/robot/RobotAnimationClip.h>

#include <algorithm>
#include <cmath>

#include <orvcommon/Logger.h>
#include <orvcore/robot/RobotArm.h>

namespace orvcore {

RobotAnimationClip::RobotAnimationClip(unsigned int jointIndex, double startVar, double endVar, double startTime,
                                       double endTime)
    : m_JointIndex(jointIndex), m_StartVar(startVar), m_EndVar(endVar), m_StartTime(startTime), m_EndTime(endTime)
{
}

double RobotAnimationClip::ComputeSpeed() const
{
    const double span = m_EndTime - m_StartTime;
    return span > 0.0 ? std::fabs(m_EndVar - m_StartVar) / span : 0.0;
}

bool RobotAnimationClip::Play(const std::shared_ptr<RobotArm>& arm, double t)
{
    if (!arm) {
        Logger::Instance().Waring("Arm is null!");
        return false;
    }
    if (m_StartTime > t)
        return false;
    const double travelled = ComputeSpeed() * (t - m_StartTime);
    double value = m_EndVar > m_StartVar ? std::min(m_StartVar + travelled, m_EndVar)
                                         : std::max(m_StartVar - travelled, m_EndVar);
    if (t >= m_EndTime) {
        m_Enabled = false;
        value = m_EndVar;
    }
    return arm->SetVariable(m_JointIndex, value);
}

} // namespace orvcore
