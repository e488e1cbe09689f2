#pragma once

#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <glm/vec3.hpp>

#include <orvcommon/Ray.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/search/Bvh.h>
#include <orvkernel/search/IntersectPoint.h>
#include <orvkernel/search/TriangleTree.h>

namespace orvcore {

/// Nearest-point search over the elements of one geometry, with a
/// bounding-volume hierarchy cached between queries. Owned by a
/// `PrimitiveShape`; see there for the query's meaning.
///
/// The cache remembers which position and index attributes (and versions)
/// it was built from: a change of positions alone refits the boxes, any
/// other change rebuilds.
class PrimitiveSearch {
public:
    /// Nearest element through the hierarchy (built or refreshed as needed).
    /// Points and segments farther from the ray than `maxDistance` are left
    /// out (triangles are not affected).
    IntersectPoint Query(const BufferGeometry& geometry, const Ray& ray, float maxDistance = FLT_MAX);
    /// Nearest element by visiting every element: the reference answer.
    static IntersectPoint QueryBruteForce(const BufferGeometry& geometry, const Ray& ray,
                                          float maxDistance = FLT_MAX);

    const Bvh& GetTree() const { return m_Tree; }
    /// Number of full builds so far (refits not counted).
    uint32_t GetBuildCount() const { return m_Builds; }
    uint32_t GetRefitCount() const { return m_Refits; }

private:
    void Refresh(const BufferGeometry& geometry);

    Bvh m_Tree;
    // Point and segment vertices copied in the tree's leaf order, so that a
    // leaf's vertices share cache lines instead of being gathered through
    // the index (1 vertex per point, 2 per segment).
    LargeVector<glm::vec3> m_LeafVertices;
    // Triangle lists: the tree's eight-wide form and its triangles in leaf order.
    TriangleTree m_Triangles;
    // Weak references identify the attributes by ownership, not by address.
    std::weak_ptr<BufferAttribute> m_Positions;
    uint32_t m_PositionsVersion = 0;
    std::weak_ptr<ElementAttribute> m_Index;
    uint32_t m_IndexVersion = 0;
    uint32_t m_Type = 0xffffffffu;
    std::size_t m_ElementCount = 0;
    std::size_t m_VertexCount = 0;
    bool m_Valid = false;
    uint32_t m_Builds = 0;
    uint32_t m_Refits = 0;
};

} // namespace orvcore
