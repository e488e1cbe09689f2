#include <orvcore/render/PrepareSelectionVisitor.h>

#include <orvcore/pick/PickedItem.h>
#include <orvcore/render/RenderContext.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

void PrepareSelectionVisitor::Apply(const PickedItem& item)
{
    m_Item = &item;
    if (SceneNode* node = item.GetNode())
        node->Accept(*this);
}

void PrepareSelectionVisitor::Visit(GeneralSceneNode* node)
{
    if (m_Item && m_Context.IsVisible(node->GetWorldBBox()))
        node->CollectSelection(m_Context, *m_Item);
}

void PrepareSelectionVisitor::Visit(GroupSceneNode* node)
{
    if (m_Context.IsVisible(node->GetWorldBBox()))
        node->Apply(*this);
}

void PrepareSelectionVisitor::Visit(PrimitiveSceneNode* node)
{
    if (!node->GetPrimitive() || !m_Context.IsVisible(node->GetWorldBBox()))
        return;
    RenderItem item(node->GetPrimitive().get(), nullptr, node->GetWorldTransform(),
                    m_Context.DistanceToEye(node->GetWorldBBox()));
    m_Context.AddItem(item);
}

void PrepareSelectionVisitor::Visit(ShapeSceneNode* node)
{
    if (!m_Context.IsVisible(node->GetWorldBBox()))
        return;
    const float depth = m_Context.DistanceToEye(node->GetWorldBBox());
    if (m_Item && m_Item->GetShapeType() != SHAPE_FILTER_NONE) {
        if (std::shared_ptr<PrimitiveShape> primitive = node->GetPrimitive(m_Item->GetShapeIndex())) {
            RenderItem item(primitive.get(), nullptr, node->GetWorldTransform(), depth);
            m_Context.AddItem(item);
        }
        return;
    }
    for (const auto& primitive : node->GetPrimitives()) {
        RenderItem item(primitive.get(), nullptr, node->GetWorldTransform(), depth);
        m_Context.AddItem(item);
    }
}

} // namespace orvcore
