#include <orvcore/robot/RobotDH.h>

#include <cmath>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>

namespace orvcore {

RobotDH::RobotDH(double alpha, double a, double d, double theta) : m_Alpha(alpha), m_A(a), m_D(d), m_Theta(theta)
{
    Update();
}

RobotDH::RobotDH(const ValueRange& alpha, const ValueRange& a, const ValueRange& d, const ValueRange& theta)
    : m_Alpha(alpha), m_A(a), m_D(d), m_Theta(theta)
{
    Update();
}

bool RobotDH::Set(ValueRange& field, double value)
{
    if (!std::isfinite(value)) {
        Logger::Instance().Waring("Value is not finite!");
        return false;
    }
    return field.SetValue(value);
}

void RobotDH::Update()
{
    m_Frame = Math::ComputeDH(m_Alpha.GetValue(), m_A.GetValue(), m_D.GetValue(), m_Theta.GetValue());
}

std::shared_ptr<RobotDH> RobotDH::Clone() const { return std::make_shared<RobotDH>(*this); }

} // namespace orvcore
