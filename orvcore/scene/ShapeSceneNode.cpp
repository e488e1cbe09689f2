#include <orvcore/scene/ShapeSceneNode.h>

#include <orvcommon/Logger.h>
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
const std::vector<std::shared_ptr<PrimitiveShape>> kNoPrimitives;
}

ShapeSceneNode::ShapeSceneNode(const std::shared_ptr<CompoundShape>& shape) : m_Shape(shape)
{
    SetCollectKind(COLLECT_SHAPE);
    if (m_Shape)
        SetBoundingBox(m_Shape->GetBoundingBox());
}

std::shared_ptr<SceneNode> ShapeSceneNode::Clone() const
{
    auto copy = std::make_shared<ShapeSceneNode>(m_Shape ? m_Shape->Clone() : nullptr);
    copy->CopyBaseProperties(*this);
    return copy;
}

void ShapeSceneNode::Accept(SceneVisitor& visitor) { visitor.Visit(this); }

void ShapeSceneNode::CollectRenderables(RenderContext& context) const
{
    if (!m_Shape)
        return;
    // The display filter is deliberately not consulted here: a shape hands in
    // all of its members.
    const float depth = context.DistanceToEye(GetWorldBBox());
    for (const auto& primitive : m_Shape->GetPrimitives()) {
        const uint32_t type = primitive->GetPrimitiveType();
        MaterialInstance* material =
            IsTrianglePrimitive(type) ? GetOverrideFaceMaterial().get() : GetOverrideEdgeMaterial().get();
        RenderItem item(primitive.get(), material, GetWorldTransform(), depth);
        context.AddItem(item);
    }
}

const std::vector<std::shared_ptr<PrimitiveShape>>& ShapeSceneNode::GetPrimitives() const
{
    return m_Shape ? m_Shape->GetPrimitives() : kNoPrimitives;
}

std::shared_ptr<PrimitiveShape> ShapeSceneNode::GetPrimitive(uint32_t index) const
{
    if (!m_Shape) {
        Logger::Instance().Waring("Index is out of range!");
        return {};
    }
    return m_Shape->GetPrimitive(index);
}

bool ShapeSceneNode::HitTest(Raycaster& caster)
{
    if (!m_Shape)
        return false;
    const glm::mat4& world = GetWorldTransform();
    const Ray local = caster.GetLocalRay(world);

    // The nearest candidate by its distance along the local ray; on equal
    // distances the lower member index, met first, stays.
    bool found = false;
    IntersectPoint best;
    const float radius = caster.LocalSearchRadius(world, GetWorldBBox());
    const auto& primitives = m_Shape->GetPrimitives();
    for (uint32_t i = 0; i < primitives.size(); ++i) {
        const uint32_t type = primitives[i]->GetPrimitiveType();
        if (!caster.IsPickable(static_cast<EnumPrimitiveType>(type)))
            continue;
        IntersectPoint ip = primitives[i]->ComputeNearestPoint(
            local, IsTrianglePrimitive(type) ? std::numeric_limits<float>::max() : radius);
        if (ip.GetPrimitiveIndex() < 0)
            continue;
        if (type != PRIMITIVE_TRIANGLES) {
            ip.Transform(world);
            const glm::vec3 onRay = Math::transformVec3(world, local.getPoint(ip.GetDistance()));
            if (!caster.TestDistanceThreshold(ip.GetPosition(), onRay))
                continue;
        }
        ip.SetShapeIndex(i);
        if (!found || ip.GetDistance() < best.GetDistance()) {
            best = ip;
            found = true;
        }
    }
    if (!found)
        return false;

    // Point and line hits were already moved to world space above; this
    // second transform starts again from the local position, so it lands on
    // the same world point.
    best.Transform(world);
    const glm::vec3 d = best.GetPosition() - caster.GetRay().getOrigin();
    best.SetDistance(glm::dot(d, d));
    caster.AddIntersect(PickedItem(this, best));
    return true;
}

bool ShapeSceneNode::HitTest(FrustumCaster& caster)
{
    if (!m_Shape)
        return false;
    const auto& primitives = m_Shape->GetPrimitives();
    for (uint32_t i = 0; i < primitives.size(); ++i) {
        const auto type = static_cast<EnumPrimitiveType>(primitives[i]->GetPrimitiveType());
        if (!caster.IsPickable(type))
            continue;
        IntersectPoint ip(FrustumCaster::ToFilter(type), 0, glm::vec3(0.0f), 0.0f);
        ip.SetShapeIndex(i);
        caster.AddIntersect(PickedItem(this, ip));
    }
    return false;
}

ShapeSceneNode* ShapeSceneNode::Cast(SceneNode* node) { return dynamic_cast<ShapeSceneNode*>(node); }
const ShapeSceneNode* ShapeSceneNode::Cast(const SceneNode* node) { return dynamic_cast<const ShapeSceneNode*>(node); }

} // namespace orvcore
