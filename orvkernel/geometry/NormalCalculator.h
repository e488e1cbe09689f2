#pragma once

#include <memory>

#include <orvkernel/geometry/BufferGeometry.h>

namespace orvcore {

/// Smooth vertex normals from the triangles of a geometry.
struct NormalCalculator {
    /// Gives every vertex the normalised sum of the face normals of the
    /// triangles that use it, each weighted by its triangle's area. Works on
    /// triangle lists, strips (every other triangle's winding flipped back)
    /// and fans, indexed or not. A vertex used by no triangle of non-zero
    /// area gets (0, 0, 1).
    ///
    /// The result goes to the normal slot: into the existing attribute when it
    /// holds 3 floats for every vertex, else into a new float attribute. The
    /// attribute's version is raised either way.
    ///
    /// Returns false with a warning, changing nothing, for a geometry that is
    /// not made of triangles, has no positions or indexes past its vertices.
    static bool ComputeVertexNormals(BufferGeometry& geometry);
    static bool ComputeVertexNormals(const std::shared_ptr<BufferGeometry>& geometry);
};

} // namespace orvcore
