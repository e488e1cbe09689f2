#include <orvcommon/ValueRange.h>

#include <orvcommon/Logger.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvcore {

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
}

ValueRange::ValueRange() : m_Value(0.0), m_Min(-kInf), m_Max(kInf) {}

ValueRange::ValueRange(double value) : m_Value(std::isnan(value) ? 0.0 : value), m_Min(-kInf), m_Max(kInf)
{
    if (std::isnan(value))
        Logger::Instance().Waring("Value is not a number!");
}

ValueRange::ValueRange(double value, double minimum, double maximum) : m_Value(0.0), m_Min(-kInf), m_Max(kInf)
{
    SetRange(minimum, maximum);
    if (std::isnan(value)) {
        Logger::Instance().Waring("Value is not a number!");
        value = std::max(m_Min, std::min(0.0, m_Max));
    } else if (!Contains(value)) {
        Logger::Instance().Waring("Value is out of range!");
    }
    m_Value = std::max(m_Min, std::min(value, m_Max));
}

bool ValueRange::SetValue(double value)
{
    if (!Contains(value)) // also false for NaN
        return false;
    m_Value = value;
    return true;
}

void ValueRange::SetRange(double minimum, double maximum)
{
    if (std::isnan(minimum) || std::isnan(maximum)) {
        Logger::Instance().Waring("Range bound is not a number!");
        return;
    }
    if (minimum > maximum) {
        Logger::Instance().Waring("Range bounds are reversed!");
        std::swap(minimum, maximum);
    }
    m_Min = minimum;
    m_Max = maximum;
    m_Value = std::max(m_Min, std::min(m_Value, m_Max));
}

} // namespace orvcore
