#include <orvcore/render/ShadowRenderContext.h>

#include <orvcore/render/RenderList.h>

namespace orvcore {

bool ShadowRenderContext::Casts(const PrimitiveShape* primitive, const MaterialInstance* material)
{
    return primitive && primitive->GetPrimitiveType() == PRIMITIVE_TRIANGLES && material &&
           material->BlendingMode != BLENDING_TRANSPARENT;
}

void ShadowRenderContext::AddItem(RenderItem& item)
{
    const MaterialInstance* material = item.GetOverrideMaterial() ? item.GetOverrideMaterial() : item.GetMaterial();
    if (m_List && Casts(item.GetPrimitive(), material))
        m_List->AddItem(std::move(item));
}

} // namespace orvcore
