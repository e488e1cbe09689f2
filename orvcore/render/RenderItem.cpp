#include <orvcore/render/RenderItem.h>

namespace orvcore {

RenderItem::RenderItem(PrimitiveShape* primitive, MaterialInstance* overrideMaterial, const glm::mat4& transform,
                       float distance)
    : m_Primitive(primitive), m_OverrideMaterial(overrideMaterial), m_Transform(transform),
      m_Distance(ScaleDistance(primitive ? primitive->GetMaterial().get() : nullptr, distance))
{
}

float RenderItem::ScaleDistance(const MaterialInstance* ownMaterial, float distance)
{
    if (!ownMaterial || ownMaterial->OrderExempt)
        return distance;
    return ownMaterial->BlendingMode == BLENDING_TRANSPARENT ? distance * 100.0f : distance * 0.01f;
}

MaterialInstance* RenderItem::GetMaterial() const { return m_Primitive ? m_Primitive->GetMaterial().get() : nullptr; }

uint32_t RenderItem::GetType() const
{
    return m_Primitive ? m_Primitive->GetPrimitiveType() : uint32_t(PRIMITIVE_UNDEFINED);
}

BufferGeometry* RenderItem::GetGeometry() const { return m_Primitive ? m_Primitive->GetGeometry().get() : nullptr; }

} // namespace orvcore
