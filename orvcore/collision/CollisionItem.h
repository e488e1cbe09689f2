#pragma once

#include <memory>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/collision/CollisionMesh.h>
#include <orvkernel/shape/PrimitiveShape.h>

namespace orvcore {

/// The triangles of one drawable, placed in the world by a matrix, for
/// collision tests: a world box and the world-space triangles.
///
/// The triangles are not copied into the world when the item is made: the
/// item keeps the shape's collision mesh (its local triangles and tree,
/// built once per geometry and shared) and the matrix, and the world
/// corners, `Math::transformVec3(matrix, local corner)`, are what every
/// test compares. `GetVertices` spells them out on request.
class CollisionItem {
public:
    /// An item without triangles and with a null box.
    CollisionItem() = default;
    /// Converts a triangle-list shape placed by `matrix`. The box is the
    /// geometry's box moved by the matrix. A geometry without a
    /// three-component position attribute logs "Not support!", one whose
    /// index is neither 16- nor 32-bit logs "Invalid Index Type!", and either
    /// gives no triangles; triangles that refer to a vertex past the end are
    /// left out with "Index is out of range!".
    CollisionItem(const PrimitiveShape& shape, const glm::mat4& matrix);

    const AxisAlignedBox& GetBox() const { return m_Box; }
    const glm::mat4& GetMatrix() const { return m_Matrix; }
    std::size_t GetTriangleCount() const { return m_Mesh ? m_Mesh->GetTriangleCount() : 0; }
    /// World-space corners, three per triangle, in the geometry's triangle
    /// order (triangles left out by the reading rules are absent). Made on
    /// the first call and kept.
    const std::vector<glm::vec3>& GetVertices() const;

    /// False unless the boxes intersect; then whether any triangle of one
    /// meets any triangle of the other (closed triangles: touching counts).
    bool Intersects(const CollisionItem& other) const;
    /// The same with this item's matrix taken as `pose * matrix` and the
    /// other's as `otherPose * matrix` (boxes moved alike): the answer of
    /// items made at those matrices, without making them.
    bool Intersects(const glm::mat4& pose, const CollisionItem& other, const glm::mat4& otherPose) const;

private:
    AxisAlignedBox m_LocalBox;
    AxisAlignedBox m_Box;
    glm::mat4 m_Matrix{1.0f};
    std::shared_ptr<const CollisionMesh> m_Mesh;
    mutable std::vector<glm::vec3> m_Vertices;
    mutable bool m_VerticesMade = false;
};

} // namespace orvcore
