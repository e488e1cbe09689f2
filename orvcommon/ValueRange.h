#pragma once

namespace orvcore {

/// A double value with inclusive bounds. The value always lies inside the
/// bounds: `SetValue` refuses anything outside (or not a number) and keeps
/// the old value.
class ValueRange {
public:
    /// Value 0, unbounded.
    ValueRange();
    /// The given value, unbounded.
    ValueRange(double value);
    /// Bounds given in the wrong order are swapped, and a value outside them
    /// is clamped, each with a warning.
    ValueRange(double value, double minimum, double maximum);

    double GetValue() const { return m_Value; }
    double GetMinimum() const { return m_Min; }
    double GetMaximum() const { return m_Max; }

    /// Stores the value when min <= value <= max and returns true; returns
    /// false and keeps the old value otherwise.
    bool SetValue(double value);
    /// Changes the bounds (swapped if reversed, with a warning); the value is
    /// clamped into them.
    void SetRange(double minimum, double maximum);
    bool Contains(double value) const { return value >= m_Min && value <= m_Max; }

    operator double() const { return m_Value; }

private:
    double m_Value;
    double m_Min;
    double m_Max;
};

} // namespace orvcore
