#pragma once

#include <cstdint>

namespace orvcore {

/// Standard views of a model. The scene is Z-up: the front view looks along
/// +Y, the right view along -X, the top view along -Z. The first three faces
/// and the front-top-right isometric view (the home view) come first, the
/// other corners, the twelve edges, then the three opposite faces.
enum EnumStandardView : uint32_t {
    STANDARD_VIEW_NONE = 0,
    STANDARD_VIEW_FRONT = 1,
    STANDARD_VIEW_TOP = 2,
    STANDARD_VIEW_RIGHT = 3,
    STANDARD_VIEW_ISOMETRIC = 4, ///< front-top-right corner, the home view
    STANDARD_VIEW_FRONT_TOP_LEFT = 5,
    STANDARD_VIEW_FRONT_BOTTOM_RIGHT = 6,
    STANDARD_VIEW_FRONT_BOTTOM_LEFT = 7,
    STANDARD_VIEW_BACK_TOP_RIGHT = 8,
    STANDARD_VIEW_BACK_TOP_LEFT = 9,
    STANDARD_VIEW_BACK_BOTTOM_RIGHT = 10,
    STANDARD_VIEW_BACK_BOTTOM_LEFT = 11,
    STANDARD_VIEW_FRONT_TOP = 12,
    STANDARD_VIEW_FRONT_BOTTOM = 13,
    STANDARD_VIEW_FRONT_LEFT = 14,
    STANDARD_VIEW_FRONT_RIGHT = 15,
    STANDARD_VIEW_BACK_TOP = 16,
    STANDARD_VIEW_BACK_BOTTOM = 17,
    STANDARD_VIEW_BACK_LEFT = 18,
    STANDARD_VIEW_BACK_RIGHT = 19,
    STANDARD_VIEW_TOP_LEFT = 20,
    STANDARD_VIEW_TOP_RIGHT = 21,
    STANDARD_VIEW_BOTTOM_LEFT = 22,
    STANDARD_VIEW_BOTTOM_RIGHT = 23,
    STANDARD_VIEW_BACK = 24,
    STANDARD_VIEW_BOTTOM = 25,
    STANDARD_VIEW_LEFT = 26,
    STANDARD_VIEW_COUNT = 27,
};

} // namespace orvcore
