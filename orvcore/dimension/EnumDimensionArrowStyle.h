#pragma once

#include <cstdint>

namespace orvcore {

/// The mark at each end of a dimension line. Only `DIMENSION_ARROW_FILLED`
/// (3) draws arrowheads; every other value draws oblique ticks.
enum EnumDimensionArrowStyle : int32_t {
    DIMENSION_ARROW_TICK = 0,   ///< a thin bar across the line at 45 degrees
    DIMENSION_ARROW_FILLED = 3, ///< a filled arrowhead pointing at the extension line
};

} // namespace orvcore
