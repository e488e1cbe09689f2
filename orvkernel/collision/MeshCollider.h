#pragma once

#include <glm/mat4x4.hpp>

#include <orvkernel/collision/CollisionMesh.h>

namespace orvcore {

/// Whether two placed meshes touch: the tree-against-tree form of testing
/// every triangle of one against every triangle of the other.
///
/// A mesh is placed by a matrix: a triangle's corners become
/// `Math::transformVec3(matrix, corner)`, in single precision, and two
/// placed triangles touch when `TriangleIntersector` says so. `Intersect`
/// answers exactly what that all-pairs test answers; it only avoids the
/// pairs that cannot touch. Both trees stay in their own coordinates: the
/// walk carries one mesh's node boxes (oriented, see
/// `CollisionMesh::GetVolumes`) into the other's frame through the relative
/// transform and compares them with a separating-axis test (fifteen axes
/// under rotations and uniform scales, each box's own three otherwise), and
/// places only the triangles of leaf pairs it cannot rule out. A pair of
/// boxes is ruled out only when they are apart by more than a bound on the
/// rounding of the placement and of the test itself, so no pair that the
/// all-pairs test would find is ever skipped. The first touching pair ends
/// the walk.
///
/// Affine matrices with an invertible linear part cost nothing up front.
/// Others fall back to placing a whole mesh once per call: a projective or
/// non-finite matrix, or both linear parts singular.
class MeshCollider {
public:
    static bool Intersect(const CollisionMesh& a, const glm::mat4& ma, const CollisionMesh& b, const glm::mat4& mb);
};

} // namespace orvcore
