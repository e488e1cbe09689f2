#include <orvkernel/shape/PrimitiveShape.h>

#include <orvkernel/collision/CollisionMesh.h>
#include <orvkernel/search/PrimitiveSearch.h>

#include <cfloat>

namespace orvcore {

namespace {
const AxisAlignedBox kNullBox;
}

PrimitiveShape::PrimitiveShape() = default;

PrimitiveShape::PrimitiveShape(const std::shared_ptr<BufferGeometry>& geometry,
                               const std::shared_ptr<MaterialInstance>& material)
    : m_Geometry(geometry), m_Material(material)
{
}

PrimitiveShape::~PrimitiveShape() = default;

void PrimitiveShape::SetGeometry(const std::shared_ptr<BufferGeometry>& geometry)
{
    m_Geometry = geometry;
    m_Search.reset();
    m_CollisionMesh.reset();
    RequestUpdate();
}

const AxisAlignedBox& PrimitiveShape::GetBoundingBox() const
{
    return m_Geometry ? m_Geometry->GetBoundingBox() : kNullBox;
}

std::shared_ptr<BufferAttribute> PrimitiveShape::GetPositions() const
{
    return m_Geometry ? m_Geometry->GetPositions() : std::shared_ptr<BufferAttribute>();
}

std::shared_ptr<BufferAttribute> PrimitiveShape::GetColors() const
{
    return m_Geometry ? m_Geometry->GetColors() : std::shared_ptr<BufferAttribute>();
}

std::shared_ptr<PrimitiveShape> PrimitiveShape::Clone() const
{
    auto copy = std::make_shared<PrimitiveShape>(m_Geometry ? m_Geometry->Clone() : nullptr, m_Material);
    copy->m_LastWritten = m_LastWritten;
    return copy;
}

IntersectPoint PrimitiveShape::ComputeNearestPoint(const Ray& ray) const { return ComputeNearestPoint(ray, FLT_MAX); }

IntersectPoint PrimitiveShape::ComputeNearestPoint(const Ray& ray, float maxDistance) const
{
    if (!m_Geometry)
        return IntersectPoint();
    if (m_Geometry->GetPrimitiveCount() <= kSearchThreshold)
        return PrimitiveSearch::QueryBruteForce(*m_Geometry, ray, maxDistance);
    if (!m_Search)
        m_Search = std::make_unique<PrimitiveSearch>();
    return m_Search->Query(*m_Geometry, ray, maxDistance);
}

IntersectPoint PrimitiveShape::ComputeNearestPointBruteForce(const Ray& ray) const
{
    return m_Geometry ? PrimitiveSearch::QueryBruteForce(*m_Geometry, ray) : IntersectPoint();
}

std::shared_ptr<const CollisionMesh> PrimitiveShape::GetCollisionMesh() const
{
    if (!m_Geometry)
        return {};
    if (!m_CollisionMesh || !m_CollisionMesh->IsCurrent(*m_Geometry))
        m_CollisionMesh = CollisionMesh::Build(*m_Geometry);
    return m_CollisionMesh;
}

} // namespace orvcore
