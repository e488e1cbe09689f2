#pragma once

namespace orvcore {

/// A sampling range of a plot: samples from Min in steps of Step.
///
/// A range is valid with a positive step and room for at least two steps
/// (Max >= Min + 2 Step). The default range (0, 0.01, step 1) is
/// deliberately invalid, so that every plot range is set explicitly.
class PlotRange {
public:
    PlotRange() = default;
    PlotRange(float min, float max, float step) : m_Min(min), m_Max(max), m_Step(step) {}

    float GetMin() const { return m_Min; }
    void SetMin(float min) { m_Min = min; }
    float GetMax() const { return m_Max; }
    void SetMax(float max) { m_Max = max; }
    float GetStep() const { return m_Step; }
    void SetStep(float step) { m_Step = step; }

    /// Step > 0 and Max >= Min + 2 x Step.
    bool IsValid() const { return m_Step > 0.0f && m_Max >= m_Min + 2.0f * m_Step; }
    /// Min <= v <= Max, written as not below Min and not above Max, so that
    /// a NaN counts as contained.
    bool Contains(float v) const { return !(v < m_Min) && !(v > m_Max); }
    /// Max - Min.
    float GetRange() const { return m_Max - m_Min; }
    /// (Max - Min) / Step truncated toward zero; 0 when that is not a
    /// number of steps a plot can hold (negative, not finite, or 2^32 and
    /// more).
    unsigned int GetSteps() const;

private:
    float m_Min = 0.0f;
    float m_Max = 0.01f;
    float m_Step = 1.0f;
};

} // namespace orvcore
