#pragma once

#include <cstdint>
#include <memory>

#include <orvcommon/TypedArray.h>
#include <orvkernel/geometry/BufferGeometry.h>

namespace orvcore {

/// Line geometries for plots: polylines through sampled points and the grid
/// lines of sampled surfaces. Every geometry comes back with its bounding
/// box computed; bad input never throws but gives one warning and an empty
/// pointer.
struct CurveGeometryBuilder {
    /// A line strip (or, closed, a line loop) through the points, three
    /// floats each, with the distance along the polyline per vertex (slot
    /// `ATTRIBUTE_LINE_DISTANCE`, for dashed materials). Needs at least two
    /// points; a float count that is not a multiple of 3 loses its tail, and
    /// fewer than two points log "Curve needs at least two points!".
    /// Non-finite points are kept (the box skips them) and count no distance.
    static std::shared_ptr<BufferGeometry> CreatePolyline(const Float32Array& positions, bool closed = false);

    /// The lines of a grid of `columns` x `rows` vertices of `grid` (vertex
    /// j * columns + i is column i of row j): every `stride`-th row and
    /// column as segments between neighbouring vertices, the last row and
    /// column always included. The geometry shares the grid's position
    /// attribute (the same object: moving the surface moves its lines) and
    /// holds only an index list. A grid whose vertex count is not
    /// columns x rows, fewer than two columns or rows, or a stride of 0 log
    /// "Grid size does not match the geometry!".
    static std::shared_ptr<BufferGeometry> CreateGridLines(const BufferGeometry& grid, uint32_t columns, uint32_t rows,
                                                           uint32_t stride = 1);
};

} // namespace orvcore
