#pragma once

#include <cstdint>
#include <memory>

#include <glm/vec3.hpp>

#include <orvcommon/TypedArray.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/geometry/EnumPrimitiveType.h>

namespace orvcore {

/// Factories of ready-made geometries. Positions are three floats per vertex,
/// the scene is Z-up, and every geometry comes back with its bounding box
/// computed.
///
/// Surfaces are indexed triangles, counter-clockwise seen from outside, with
/// unit normals and uv coordinates in [0, 1]. Index lists are 16-bit when
/// every vertex number fits, 32-bit otherwise.
///
/// Bad input never throws: sizes that are negative or not finite give one
/// warning and an empty pointer; segment counts below the minimum are raised
/// to it with a warning; segment counts that would need more than 2^24
/// vertices give a warning and an empty pointer.
struct GeometryBuilder {
    /// Plane in XY centred at the origin, facing +Z. Vertex
    /// `j * (widthSegments + 1) + i` is column i (x from -width/2 to
    /// +width/2) of row j (y from -height/2 to +height/2), with uv (i/nx, j/ny).
    static std::shared_ptr<BufferGeometry> CreatePlane(float width, float height, uint32_t widthSegments = 1,
                                                       uint32_t heightSegments = 1);

    /// One segment: two vertices drawn as lines.
    static std::shared_ptr<BufferGeometry> CreateLine(const glm::vec3& start, const glm::vec3& end);

    /// Line list: every two consecutive points form a segment. Optional
    /// per-vertex colours (three floats each) and line distances (one float
    /// each, the distance along the line for dashing). A position count that
    /// is not a whole number of segments loses its incomplete tail; a colour
    /// or distance array of the wrong size is left out. Both give a warning.
    static std::shared_ptr<BufferGeometry> CreateLines(const Float32Array& positions,
                                                       const Float32Array& colors = Float32Array(),
                                                       const Float32Array& lineDistances = Float32Array());

    /// Point cloud with optional per-vertex colours (three floats each).
    static std::shared_ptr<BufferGeometry> CreatePoints(const Float32Array& positions,
                                                        const Float32Array& colors = Float32Array());

    /// Non-indexed geometry of the given primitive type from positions and
    /// optional normals (one per vertex; left out with a warning otherwise).
    static std::shared_ptr<BufferGeometry> CreateGeometry(const Float32Array& positions, const Float32Array& normals,
                                                          EnumPrimitiveType type = PRIMITIVE_TRIANGLES);

    /// Shared unit quad, corners (+-0.5, +-0.5, 0), facing +Z. The same
    /// object on every call: callers must not modify it.
    static std::shared_ptr<BufferGeometry> AtomQuadShape();

    /// Shared arrow head: a 16-sided cone along +Z, base disc of radius 1 at
    /// z = 0 (capped), tip at (0, 0, 3). The same object on every call:
    /// callers must not modify it.
    static std::shared_ptr<BufferGeometry> CreateArrowHead();

    /// Box centred at the origin: 4 vertices per face with the face normal,
    /// 36 indices.
    static std::shared_ptr<BufferGeometry> CreateBox(const glm::vec3& size);

    /// The 12 edges of the box of `CreateBox`: 8 corners, 24 line indices.
    /// Corner k has x, y, z at the maximum where bit 0, 1, 2 of k is set.
    static std::shared_ptr<BufferGeometry> CreateBoxEdges(const glm::vec3& size);

    /// UV sphere centred at the origin with its poles on +-Z. Rows run from
    /// the +Z pole down; each pole has one vertex per segment so that no
    /// triangle is degenerate. At least 3 width and 2 height segments.
    static std::shared_ptr<BufferGeometry> CreateSphere(float radius, uint32_t widthSegments = 32,
                                                        uint32_t heightSegments = 16);

    /// Cylinder or truncated cone along Z, z from -height/2 (bottom) to
    /// +height/2 (top). Side normals are smooth and follow the slope of the
    /// side; caps are flat. A radius of 0 ends the side in a tip and gets no
    /// cap. At least 3 radial segments; at least one radius must be positive.
    static std::shared_ptr<BufferGeometry> CreateCylinder(float radiusTop, float radiusBottom, float height,
                                                          uint32_t radialSegments = 32, bool capped = true);

    /// Cone with its base (radius `radius`, capped) at z = -height/2 and its
    /// tip at z = +height/2.
    static std::shared_ptr<BufferGeometry> CreateCone(float radius, float height, uint32_t radialSegments = 32);
};

} // namespace orvcore
