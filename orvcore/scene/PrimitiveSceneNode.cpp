#include <orvcore/scene/PrimitiveSceneNode.h>

#include <orvcommon/Math.h>
#include <orvcore/pick/FrustumCaster.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/render/RenderContext.h>
#include <orvcore/scene/SceneVisitor.h>

#include <limits>

#include <glm/geometric.hpp>
#include <glm/matrix.hpp>

namespace orvcore {

namespace {
const std::shared_ptr<MaterialInstance> kNoMaterial;
}

PrimitiveSceneNode::PrimitiveSceneNode(const std::shared_ptr<BufferGeometry>& geometry,
                                       const std::shared_ptr<MaterialInstance>& material)
    : m_Primitive(std::make_shared<PrimitiveShape>(geometry, material))
{
    SetCollectKind(COLLECT_PRIMITIVE);
    SetBoundingBox(m_Primitive->GetBoundingBox());
}

PrimitiveSceneNode::PrimitiveSceneNode(const std::shared_ptr<PrimitiveShape>& primitive) : m_Primitive(primitive)
{
    SetCollectKind(COLLECT_PRIMITIVE);
    if (m_Primitive)
        SetBoundingBox(m_Primitive->GetBoundingBox());
}

std::shared_ptr<SceneNode> PrimitiveSceneNode::Clone() const
{
    auto copy = std::make_shared<PrimitiveSceneNode>(m_Primitive ? m_Primitive->Clone() : nullptr);
    copy->CopyBaseProperties(*this);
    return copy;
}

void PrimitiveSceneNode::Accept(SceneVisitor& visitor) { visitor.Visit(this); }

void PrimitiveSceneNode::CollectRenderables(RenderContext& context) const
{
    if (!m_Primitive)
        return;
    const float depth = context.DistanceToEye(GetWorldBBox());
    const uint32_t type = m_Primitive->GetPrimitiveType();
    const unsigned int filter = context.GetDisplayFilter();
    MaterialInstance* material = nullptr;
    if (IsPointPrimitive(type)) {
        if (!(filter & SHAPE_FILTER_VERTEX))
            return;
        material = GetOverrideEdgeMaterial().get();
    } else if (IsLinePrimitive(type)) {
        if (!(filter & SHAPE_FILTER_EDGE))
            return;
        material = GetOverrideEdgeMaterial().get();
    } else {
        if (!(filter & SHAPE_FILTER_FACE))
            return;
        material = GetOverrideFaceMaterial().get();
    }
    RenderItem item(m_Primitive.get(), material, GetWorldTransform(), depth);
    context.AddItem(item);
}

void PrimitiveSceneNode::UpdateBoundingBox()
{
    if (m_Primitive)
        SetBoundingBox(m_Primitive->GetBoundingBox());
    RequstUpdate();
}

void PrimitiveSceneNode::SetPrimitive(const std::shared_ptr<PrimitiveShape>& primitive)
{
    if (!primitive)
        return;
    m_Primitive = primitive;
    SetBoundingBox(m_Primitive->GetBoundingBox());
}

const std::shared_ptr<MaterialInstance>& PrimitiveSceneNode::GetMaterial() const
{
    return m_Primitive ? m_Primitive->GetMaterial() : kNoMaterial;
}

void PrimitiveSceneNode::SetMaterial(const std::shared_ptr<MaterialInstance>& material)
{
    if (m_Primitive)
        m_Primitive->SetMaterial(material);
}

bool PrimitiveSceneNode::HitTest(Raycaster& caster)
{
    if (!m_Primitive)
        return false;
    const auto type = static_cast<EnumPrimitiveType>(m_Primitive->GetPrimitiveType());
    if (!caster.IsPickable(type))
        return false;
    const glm::mat4& world = GetWorldTransform();
    // Parts mostly sit where they were modelled: no matrix to apply.
    const bool placed = world != glm::mat4(1.0f);
    const Ray local = placed ? caster.GetLocalRay(world) : caster.GetRay();

    const float radius = IsTrianglePrimitive(type)
                             ? std::numeric_limits<float>::max()
                             : caster.LocalSearchRadius(world, GetWorldBBox());
    IntersectPoint ip = m_Primitive->ComputeNearestPoint(local, radius);
    if (ip.GetPrimitiveIndex() < 0)
        return false;
    if (placed)
        ip.Transform(world);
    if (type != PRIMITIVE_TRIANGLES) {
        const glm::vec3 onRay = Math::transformVec3(world, local.getPoint(ip.GetDistance()));
        if (!caster.TestDistanceThreshold(ip.GetPosition(), onRay))
            return false;
    }
    ip.SetShapeIndex(0);
    const glm::vec3 d = ip.GetPosition() - caster.GetRay().getOrigin();
    ip.SetDistance(glm::dot(d, d));
    caster.AddIntersect(PickedItem(this, ip));
    return true;
}

bool PrimitiveSceneNode::HitTest(FrustumCaster& caster)
{
    const uint32_t type = m_Primitive ? m_Primitive->GetPrimitiveType() : uint32_t(PRIMITIVE_UNDEFINED);
    IntersectPoint ip(FrustumCaster::ToFilter(static_cast<EnumPrimitiveType>(type)), 0, glm::vec3(0.0f), 0.0f);
    caster.AddIntersect(PickedItem(this, ip));
    return true;
}

PrimitiveSceneNode* PrimitiveSceneNode::Cast(SceneNode* node) { return dynamic_cast<PrimitiveSceneNode*>(node); }
const PrimitiveSceneNode* PrimitiveSceneNode::Cast(const SceneNode* node)
{
    return dynamic_cast<const PrimitiveSceneNode*>(node);
}

} // namespace orvcore
