#pragma once

#include <cstdint>

namespace orvcore {

/// Sub-shape kinds of a hit, and the bits of pick and display filters.
/// The first three are the filter bits; a mask of them selects primitive
/// kinds (points 0x1, lines and edges 0x2, faces 0x4).
enum EnumShapeFilter : uint32_t {
    SHAPE_FILTER_NONE = 0,    ///< no sub-shape: the hit stands for its node
    SHAPE_FILTER_VERTEX = 1,  ///< a point (vertex) hit
    SHAPE_FILTER_EDGE = 2,    ///< a line (edge) hit
    SHAPE_FILTER_FACE = 4,    ///< a triangle (face) hit
    SHAPE_FILTER_ALL = 7,     ///< every primitive kind (the default filter)
    SHAPE_FILTER_SHAPE = 16,  ///< the whole shape (any other primitive kind)
    SHAPE_FILTER_NODE = 32,   ///< with SHAPE, collapses hits to their node
};

} // namespace orvcore
