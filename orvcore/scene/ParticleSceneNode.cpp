#include <orvcore/scene/ParticleSceneNode.h>

#include <orvcommon/Logger.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/PointsMaterial.h>

#include <vector>

namespace orvcore {

ParticleSceneNode::ParticleSceneNode(uint32_t count, const glm::vec3& color, float pointSize) : m_SeedCount(count)
{
    if (count == 0) {
        Logger::Instance().Waring("Capacity must not be zero!");
        return;
    }
    auto material = PointsMaterial::Create("point-material");
    material->SetVertexColors(true);
    material->SetPointSize(pointSize);

    const std::size_t floats = std::size_t(count) * 3;
    std::vector<float> positions(floats, 0.0f);
    std::vector<float> colors(floats);
    for (std::size_t i = 0; i < floats; i += 3) {
        colors[i] = color.x;
        colors[i + 1] = color.y;
        colors[i + 2] = color.z;
    }
    auto geometry = GeometryBuilder::CreatePoints(Float32Array(positions.data(), floats),
                                                  Float32Array(colors.data(), floats));
    SetPrimitive(std::make_shared<PrimitiveShape>(geometry, material));
}

ParticleSceneNode::ParticleSceneNode(const std::shared_ptr<PrimitiveShape>& primitive, uint32_t count)
    : PrimitiveSceneNode(primitive), m_SeedCount(count)
{
    if (count == 0) {
        Logger::Instance().Waring("Capacity must not be zero!");
        return;
    }
    if (!primitive) {
        Logger::Instance().Waring("Primitive is null!");
        return;
    }
    if (!IsPointPrimitive(primitive->GetPrimitiveType()))
        Logger::Instance().Waring("Not support shape type!");
    const auto positions = primitive->GetPositions();
    if (!positions || positions->GetCount() < count)
        Logger::Instance().Waring("The primitive holds fewer vertices than the capacity!");
}

BufferAttribute* ParticleSceneNode::Attribute(uint32_t slot) const
{
    if (m_SeedCount == 0) {
        Logger::Instance().Waring("Capacity must not be zero!");
        return nullptr;
    }
    const std::shared_ptr<PrimitiveShape>& primitive = GetPrimitive();
    BufferAttribute* attribute =
        primitive && primitive->GetGeometry() ? primitive->GetGeometry()->GetAttribute(slot).get() : nullptr;
    if (!attribute)
        Logger::Instance().Waring(slot == ATTRIBUTE_COLOR ? "Primitive has no colors!" : "Primitive has no positions!");
    return attribute;
}

void ParticleSceneNode::SetPosition(uint32_t index, const glm::vec3& position)
{
    BufferAttribute* positions = Attribute(ATTRIBUTE_POSITION);
    if (!positions || !positions->SetVec3(index % m_SeedCount, position))
        return;
    PrimitiveShape& primitive = *GetPrimitive();
    primitive.SetLastWritten(index < m_SeedCount ? index : 0);
    primitive.RequestUpdate();
    RequstUpdate();
}

glm::vec3 ParticleSceneNode::GetPosition(uint32_t index) const
{
    const BufferAttribute* positions = Attribute(ATTRIBUTE_POSITION);
    return positions ? positions->GetVec3(index % m_SeedCount) : glm::vec3(0.0f);
}

void ParticleSceneNode::SetColor(uint32_t index, const glm::vec3& color)
{
    BufferAttribute* colors = Attribute(ATTRIBUTE_COLOR);
    if (!colors || !colors->SetVec3(index % m_SeedCount, color))
        return;
    GetPrimitive()->RequestUpdate();
}

glm::vec3 ParticleSceneNode::GetColor(uint32_t index) const
{
    const BufferAttribute* colors = Attribute(ATTRIBUTE_COLOR);
    return colors ? colors->GetVec3(index % m_SeedCount) : glm::vec3(0.0f);
}

void ParticleSceneNode::UpdateBoundingBox()
{
    if (GetPrimitive() && GetPrimitive()->GetGeometry())
        GetPrimitive()->GetGeometry()->ComputeBoundingBox();
    PrimitiveSceneNode::UpdateBoundingBox();
}

std::shared_ptr<SceneNode> ParticleSceneNode::Clone() const
{
    auto copy = std::make_shared<ParticleSceneNode>(GetPrimitive(), m_SeedCount);
    copy->CopyBaseProperties(*this);
    return copy;
}

ParticleSceneNode* ParticleSceneNode::Cast(SceneNode* node) { return dynamic_cast<ParticleSceneNode*>(node); }
const ParticleSceneNode* ParticleSceneNode::Cast(const SceneNode* node)
{
    return dynamic_cast<const ParticleSceneNode*>(node);
}
ParticleSceneNode* ParticleSceneNode::Cast(PrimitiveSceneNode* node) { return dynamic_cast<ParticleSceneNode*>(node); }
const ParticleSceneNode* ParticleSceneNode::Cast(const PrimitiveSceneNode* node)
{
    return dynamic_cast<const ParticleSceneNode*>(node);
}

} // namespace orvcore
