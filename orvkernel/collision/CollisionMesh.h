#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvcommon/LargePageAllocator.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/search/Bvh.h>

namespace orvcore {

/// The triangles of a triangle-list geometry in its own coordinates, with a
/// bounding-volume hierarchy over them, for collision tests (`MeshCollider`).
/// Immutable once built: a shape keeps the mesh of its current geometry
/// (`PrimitiveShape::GetCollisionMesh`) and hands out shared references, so
/// whoever holds one keeps the triangles it was given even after the
/// geometry changes.
///
/// Reading: positions are attribute 0 with three components (floats as
/// stored, other types converted as the device reads them); with an index
/// (16- or 32-bit) every three indices are a triangle, without one every
/// three vertices (a trailing one or two are ignored). Triangles that refer
/// to a vertex past the end, or have a non-finite corner, are left out.
class CollisionMesh {
public:
    struct Triangle {
        glm::vec3 v[3];
    };
    /// A tree node as the collision walk reads it, in one cache line: an
    /// oriented box in the mesh's coordinates (the points
    /// center + sum of y[i] * axis[i] with |y[i]| <= half[i]; the axes are
    /// orthonormal to float precision) and the node's links: for an inner
    /// node the first of its two children, for a leaf its first triangle
    /// slot and triangle count.
    struct Volume {
        glm::vec3 axis[3];
        glm::vec3 center;
        glm::vec3 half;
        uint32_t link; ///< first << 2 | count (count 0: inner node)

        bool IsLeaf() const { return (link & 3u) != 0; }
        uint32_t First() const { return link >> 2; }
        uint32_t Count() const { return link & 3u; }
    };

    /// Maximum number of triangles per leaf of the tree.
    static constexpr uint32_t kLeafSize = 2;
    static_assert(kLeafSize <= 3, "a leaf's triangle count takes two bits of its link");
    /// Meshes of more triangles than this are left empty (links hold 30 bits).
    static constexpr std::size_t kMaxTriangles = (std::size_t(1) << 29) - 1;

    /// Builds from a geometry read as a triangle list, whatever its
    /// primitive type says. Without three-component positions, or with an
    /// index of another width, the mesh is empty.
    static std::shared_ptr<const CollisionMesh> Build(const BufferGeometry& geometry);
    /// The mesh's triangles with every corner moved by
    /// `Math::transformVec3(matrix, corner)` (projective matrices included);
    /// triangles whose moved corners are not all finite are left out.
    static std::shared_ptr<const CollisionMesh> Transformed(const CollisionMesh& mesh, const glm::mat4& matrix);

    /// Whether the mesh was built from the geometry's current positions and
    /// index (same attributes, same versions, same counts).
    bool IsCurrent(const BufferGeometry& geometry) const;

    bool IsEmpty() const { return m_Triangles.empty(); }
    std::size_t GetTriangleCount() const { return m_Triangles.size(); }
    /// Triangles in the tree's leaf order: a leaf covers slots
    /// [first, first + count) of this array.
    const LargeVector<Triangle>& GetTriangles() const { return m_Triangles; }
    const Bvh& GetTree() const { return m_Tree; }
    /// The box of each tree node, by node number: the smaller of the node's
    /// axis-aligned box and a box along the principal axes of its corners.
    /// It holds every corner of the node's triangles.
    const LargeVector<Volume, 64>& GetVolumes() const { return m_Volumes; }
    /// The geometry's triangle number of each slot.
    const LargeVector<uint32_t>& GetTriangleNumbers() const { return m_Tree.GetPrimitiveIndices(); }
    /// Number of triangles left out because an index was past the last vertex.
    std::size_t GetOutOfRangeCount() const { return m_OutOfRange; }
    /// Componentwise largest magnitude of any corner (zero when empty).
    const glm::vec3& GetMaxMagnitude() const { return m_MaxMagnitude; }

private:
    void Finish(const LargeVector<Triangle>& byNumber, const LargeVector<uint8_t>& valid);
    void FitVolumes();

    LargeVector<Triangle> m_Triangles;
    Bvh m_Tree;
    LargeVector<Volume, 64> m_Volumes;
    glm::vec3 m_MaxMagnitude{0.0f};
    std::size_t m_OutOfRange = 0;
    // What the mesh was read from: the attributes by ownership, not by
    // address, and their versions.
    std::weak_ptr<BufferAttribute> m_Positions;
    std::weak_ptr<ElementAttribute> m_Index;
    uint32_t m_PositionsVersion = 0;
    uint32_t m_IndexVersion = 0;
    std::size_t m_VertexCount = 0;
    std::size_t m_ElementCount = 0;
};

} // namespace orvcore
