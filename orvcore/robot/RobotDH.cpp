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
    // The frame of Math::ComputeDH, with the twist's cosine and sine reused:
    // the same double expressions rounded once, so the same floats.
    const double alpha = m_Alpha.GetValue(), a = m_A.GetValue(), d = m_D.GetValue(), theta = m_Theta.GetValue();
    if (!(alpha == m_TrigAlpha)) {
        Math::SinCos(alpha, m_SinAlpha, m_CosAlpha);
        m_TrigAlpha = alpha;
    }
    double st, ct;
    Math::SinCos(theta, st, ct);
    const double ca = m_CosAlpha, sa = m_SinAlpha;
    m_Frame[0] = glm::vec4(float(ct), float(st), 0.0f, 0.0f);
    m_Frame[1] = glm::vec4(float(-st * ca), float(ct * ca), float(sa), 0.0f);
    m_Frame[2] = glm::vec4(float(st * sa), float(-ct * sa), float(ca), 0.0f);
    m_Frame[3] = glm::vec4(float(a * ct), float(a * st), float(d), 1.0f);
}

std::shared_ptr<RobotDH> RobotDH::Clone() const { return std::make_shared<RobotDH>(*this); }

} // namespace orvcore
