#include <orvcore/render/PrepareShadowVisitor.h>

#include <orvcore/render/ShadowRenderContext.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

bool PrepareShadowVisitor::Admit(const SceneNode& node) const
{
    return node.GetVisible() && node.GetCastShadow() && m_Context.IsVisible(node.GetWorldBBox());
}

void PrepareShadowVisitor::Visit(GeneralSceneNode* node)
{
    if (Admit(*node))
        node->CollectRenderables(m_Context);
}

void PrepareShadowVisitor::Visit(GroupSceneNode* node)
{
    if (Admit(*node))
        node->Apply(*this);
}

void PrepareShadowVisitor::Visit(PrimitiveSceneNode* node)
{
    PrimitiveShape* primitive = node->GetPrimitive().get();
    if (!Admit(*node) || !primitive || !ShadowRenderContext::Casts(primitive, primitive->GetMaterial().get()))
        return;
    RenderItem item(primitive, nullptr, node->GetWorldTransform(), m_Context.DistanceToEye(node->GetWorldBBox()));
    m_Context.AddItem(item);
}

void PrepareShadowVisitor::Visit(ShapeSceneNode* node)
{
    if (!Admit(*node))
        return;
    const float depth = m_Context.DistanceToEye(node->GetWorldBBox());
    for (const auto& primitive : node->GetPrimitives()) {
        if (!ShadowRenderContext::Casts(primitive.get(), primitive ? primitive->GetMaterial().get() : nullptr))
            continue;
        RenderItem item(primitive.get(), nullptr, node->GetWorldTransform(), depth);
        m_Context.AddItem(item);
    }
}

} // namespace orvcore
