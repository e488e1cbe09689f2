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
    /// As `DIMENSION_LABEL_IN_PLANE`, but turned half round where it would
    /// read right to left or top to bottom in the plane's own view (the
    /// plane seen from its normal with world Z up, or world Y up for a
    /// horizontal plane), and then set on the other side of the dimension
    /// line, so that it still stands over the line as read.
    DIMENSION_LABEL_UPRIGHT = 2,
};

} // namespace orvcore
