#include <orvcore/render/SelectionRenderContext.h>

#include <orvcommon/Logger.h>
#include <orvcore/render/RenderQuene.h>

namespace orvcore {

void SelectionRenderContext::AddItem(RenderItem& item)
{
    using L = EnumRenderListIndex;
    switch (item.GetType()) {
    case PRIMITIVE_POINTS: m_Queue->GetRenderList(L::Point).AddItem(std::move(item)); return;
    case PRIMITIVE_LINES:
    case PRIMITIVE_LINE_STRIP: m_Queue->GetRenderList(L::Line).AddItem(std::move(item)); return;
    case PRIMITIVE_TRIANGLES: m_Queue->GetRenderList(L::TransparentFace).AddItem(std::move(item)); return;
    default: Logger::Instance().Waring("Not support shape type!"); return;
    }
}

} // namespace orvcore
