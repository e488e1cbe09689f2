#include <orvcore/render/ModelRenderContext.h>

#include <orvcommon/Logger.h>
#include <orvcore/render/RenderQuene.h>

namespace orvcore {

void ModelRenderContext::AddItem(RenderItem& item)
{
    using L = EnumRenderListIndex;
    switch (item.GetType()) {
    case PRIMITIVE_POINTS: m_Queue->GetRenderList(L::Point).AddItem(std::move(item)); return;
    case PRIMITIVE_LINES:
    case PRIMITIVE_LINE_LOOP:
    case PRIMITIVE_LINE_STRIP: m_Queue->GetRenderList(L::Line).AddItem(std::move(item)); return;
    case PRIMITIVE_TRIANGLES: {
        MaterialInstance* effective = item.GetOverrideMaterial() ? item.GetOverrideMaterial() : item.GetMaterial();
        const bool transparent = effective && effective->BlendingMode == BLENDING_TRANSPARENT;
        m_Queue->GetRenderList(transparent ? L::TransparentFace : L::Face).AddItem(std::move(item));
        return;
    }
    default: Logger::Instance().Waring("Not support shape type!"); return;
    }
}

} // namespace orvcore
