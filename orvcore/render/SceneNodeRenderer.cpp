#include <orvcore/render/SceneNodeRenderer.h>

#include <orvkernel/device/RenderDevice.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

void SceneNodeRenderer::DrawPrimitive(PrimitiveShape* primitive, const SceneNode& node)
{
    if (!primitive || !m_Device)
        return;
    if (!m_KeepCurrentMaterial) {
        MaterialInstance* material = primitive->GetMaterial() ? primitive->GetMaterial().get() : m_DefaultMaterial.get();
        m_Device->_ActiveMaterial(material);
    }
    m_Device->Draw(primitive, node.GetWorldTransform());
}

void SceneNodeRenderer::Visit(GeneralSceneNode*) {}

void SceneNodeRenderer::Visit(GroupSceneNode* node)
{
    if (node->GetVisible())
        node->Apply(*this);
}

void SceneNodeRenderer::Visit(ShapeSceneNode* node)
{
    if (!node->GetVisible())
        return;
    for (const auto& primitive : node->GetPrimitives())
        DrawPrimitive(primitive.get(), *node);
}

void SceneNodeRenderer::Visit(PrimitiveSceneNode* node)
{
    if (node->GetVisible())
        DrawPrimitive(node->GetPrimitive().get(), *node);
}

} // namespace orvcore
