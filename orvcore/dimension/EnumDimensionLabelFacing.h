#pragma once

#include <cstdint>

namespace orvcore {

/// How a dimension's label is oriented.
enum EnumDimensionLabelFacing : int32_t {
    /// Glyph triangles lying in the dimension's plane, reading along the
    /// dimension line (a drawing on the model).
    DIMENSION_LABEL_IN_PLANE = 0,
    /// A text rectangle that always turns to face the camera, centred over
    /// the dimension line (readable from every side; never picked).
    DIMENSION_LABEL_FACING_CAMERA = 1,
};

} // namespace orvcore
