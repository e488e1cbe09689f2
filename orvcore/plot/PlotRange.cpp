#include <orvcore/plot/PlotRange.h>

#include <cmath>

namespace orvcore {

unsigned int PlotRange::GetSteps() const
{
    // In float, as the range is kept: 10 / 0.1f is exactly 100 steps there.
    // Converting a float outside the target's range is undefined: such
    // quotients are refused before the cast.
    const float steps = std::trunc((m_Max - m_Min) / m_Step);
    if (!(steps >= 0.0f && steps < 4294967296.0f))
        return 0;
    return static_cast<unsigned int>(steps);
}

} // namespace orvcore
