#include <orvcore/scene/SegmentsSceneNode.h>

#include <orvcommon/Logger.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>

#include <vector>

namespace orvcore {

SegmentsSceneNode::SegmentsSceneNode(uint32_t count, const glm::vec3& color, uint8_t width) : m_SegmentCount(count)
{
    if (count == 0) {
        Logger::Instance().Waring("Capacity must not be zero!");
        return;
    }
    // The same name as the particles' material, on purpose: both are the
    // streamed-data material, told apart by their template.
    auto material = BasicMaterial::Create("point-material");
    material->SetVertexColors(true);
    material->LineWidth = width == 0 ? 1 : width;
    material->RequestUpdate();

    const std::size_t floats = std::size_t(count) * 6;
    std::vector<float> positions(floats, 0.0f);
    std::vector<float> colors(floats);
    for (std::size_t i = 0; i < floats; i += 3) {
        colors[i] = color.x;
        colors[i + 1] = color.y;
        colors[i + 2] = color.z;
    }
    auto geometry = GeometryBuilder::CreateLines(Float32Array(positions.data(), floats),
                                                 Float32Array(colors.data(), floats));
    SetPrimitive(std::make_shared<PrimitiveShape>(geometry, material));
}

SegmentsSceneNode::SegmentsSceneNode(const std::shared_ptr<PrimitiveShape>& primitive, uint32_t count)
    : PrimitiveSceneNode(primitive), m_SegmentCount(count)
{
    if (count == 0) {
        Logger::Instance().Waring("Capacity must not be zero!");
        return;
    }
    if (!primitive) {
        Logger::Instance().Waring("Primitive is null!");
        return;
    }
    if (primitive->GetPrimitiveType() != PRIMITIVE_LINES)
        Logger::Instance().Waring("Not support shape type!");
    const auto positions = primitive->GetPositions();
    if (!positions || positions->GetCount() / 2 < count)
        Logger::Instance().Waring("The primitive holds fewer vertices than the capacity!");
}

BufferAttribute* SegmentsSceneNode::Attribute(uint32_t slot) const
{
    if (m_SegmentCount == 0) {
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

bool SegmentsSceneNode::WritePair(uint32_t slot, uint32_t index, const glm::vec3& start, const glm::vec3& end)
{
    BufferAttribute* attribute = Attribute(slot);
    if (!attribute)
        return false;
    const std::size_t vertex = std::size_t(index % m_SegmentCount) * 2;
    // Both ends or neither: a short buffer must not keep half a segment.
    if (vertex + 1 >= attribute->GetCount()) {
        Logger::Instance().Waring("Index is out of range!");
        return false;
    }
    attribute->SetVec3(vertex, start);
    attribute->SetVec3(vertex + 1, end);
    GetPrimitive()->RequestUpdate();
    return true;
}

glm::vec3 SegmentsSceneNode::Read(uint32_t slot, uint32_t index, uint32_t end) const
{
    const BufferAttribute* attribute = Attribute(slot);
    return attribute ? attribute->GetVec3(std::size_t(index % m_SegmentCount) * 2 + end) : glm::vec3(0.0f);
}

void SegmentsSceneNode::SetPositions(uint32_t index, const glm::vec3& start, const glm::vec3& end)
{
    if (WritePair(ATTRIBUTE_POSITION, index, start, end))
        RequstUpdate();
}

void SegmentsSceneNode::SetColors(uint32_t index, const glm::vec3& start, const glm::vec3& end)
{
    WritePair(ATTRIBUTE_COLOR, index, start, end);
}

glm::vec3 SegmentsSceneNode::GetStart(uint32_t index) const { return Read(ATTRIBUTE_POSITION, index, 0); }
glm::vec3 SegmentsSceneNode::GetEnd(uint32_t index) const { return Read(ATTRIBUTE_POSITION, index, 1); }
glm::vec3 SegmentsSceneNode::GetStartColor(uint32_t index) const { return Read(ATTRIBUTE_COLOR, index, 0); }
glm::vec3 SegmentsSceneNode::GetEndColor(uint32_t index) const { return Read(ATTRIBUTE_COLOR, index, 1); }

void SegmentsSceneNode::UpdateBoundingBox()
{
    if (GetPrimitive() && GetPrimitive()->GetGeometry())
        GetPrimitive()->GetGeometry()->ComputeBoundingBox();
    PrimitiveSceneNode::UpdateBoundingBox();
}

std::shared_ptr<SceneNode> SegmentsSceneNode::Clone() const
{
    auto copy = std::make_shared<SegmentsSceneNode>(GetPrimitive(), m_SegmentCount);
    copy->CopyBaseProperties(*this);
    return copy;
}

SegmentsSceneNode* SegmentsSceneNode::Cast(SceneNode* node) { return dynamic_cast<SegmentsSceneNode*>(node); }
const SegmentsSceneNode* SegmentsSceneNode::Cast(const SceneNode* node)
{
    return dynamic_cast<const SegmentsSceneNode*>(node);
}
SegmentsSceneNode* SegmentsSceneNode::Cast(PrimitiveSceneNode* node) { return dynamic_cast<SegmentsSceneNode*>(node); }
const SegmentsSceneNode* SegmentsSceneNode::Cast(const PrimitiveSceneNode* node)
{
    return dynamic_cast<const SegmentsSceneNode*>(node);
}

} // namespace orvcore
