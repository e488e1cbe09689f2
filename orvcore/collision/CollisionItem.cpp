#include <orvcore/collision/CollisionItem.h>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>
#include <orvkernel/collision/MeshCollider.h>

#include <algorithm>
#include <utility>

namespace orvcore {

CollisionItem::CollisionItem(const PrimitiveShape& shape, const glm::mat4& matrix) : m_Matrix(matrix)
{
    const std::shared_ptr<BufferGeometry>& geometry = shape.GetGeometry();
    if (!geometry) {
        Logger::Instance().Waring("Not support!");
        return;
    }
    m_LocalBox = geometry->GetSafeBoudingBox();
    m_Box = m_LocalBox;
    m_Box.transform(matrix);
    const std::shared_ptr<BufferAttribute>& positions = geometry->GetPositions();
    if (!positions || positions->GetItemSize() != 3) {
        Logger::Instance().Waring("Not support!");
        return;
    }
    const std::shared_ptr<ElementAttribute>& index = geometry->GetIndex();
    if (index && index->GetDataType() != DATA_TYPE_UNSIGNED_INT && index->GetDataType() != DATA_TYPE_UNSIGNED_SHORT) {
        Logger::Instance().Waring("Invalid Index Type!");
        return;
    }
    m_Mesh = shape.GetCollisionMesh();
    if (m_Mesh && m_Mesh->GetOutOfRangeCount() > 0)
        Logger::Instance().Waring("Index is out of range!");
}

const std::vector<glm::vec3>& CollisionItem::GetVertices() const
{
    if (m_VerticesMade || !m_Mesh)
        return m_Vertices;
    m_VerticesMade = true;
    // Slots are in tree order; put them back in triangle order.
    const auto& numbers = m_Mesh->GetTriangleNumbers();
    const auto& triangles = m_Mesh->GetTriangles();
    std::vector<std::pair<uint32_t, uint32_t>> order(numbers.size());
    for (uint32_t slot = 0; slot < numbers.size(); ++slot)
        order[slot] = {numbers[slot], slot};
    std::sort(order.begin(), order.end());
    m_Vertices.reserve(order.size() * 3);
    for (const auto& entry : order) {
        for (const glm::vec3& corner : triangles[entry.second].v)
            m_Vertices.push_back(Math::transformVec3(m_Matrix, corner));
    }
    return m_Vertices;
}

bool CollisionItem::Intersects(const CollisionItem& other) const
{
    if (!m_Box.intersects(other.m_Box) || !m_Mesh || !other.m_Mesh)
        return false;
    return MeshCollider::Intersect(*m_Mesh, m_Matrix, *other.m_Mesh, other.m_Matrix);
}

bool CollisionItem::Intersects(const glm::mat4& pose, const CollisionItem& other, const glm::mat4& otherPose) const
{
    if (!m_Mesh || !other.m_Mesh)
        return false;
    const glm::mat4 matrix = pose * m_Matrix, otherMatrix = otherPose * other.m_Matrix;
    AxisAlignedBox box = m_LocalBox, otherBox = other.m_LocalBox;
    box.transform(matrix);
    otherBox.transform(otherMatrix);
    if (!box.intersects(otherBox))
        return false;
    return MeshCollider::Intersect(*m_Mesh, matrix, *other.m_Mesh, otherMatrix);
}

} // namespace orvcore
