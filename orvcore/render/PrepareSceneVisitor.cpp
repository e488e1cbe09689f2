#include <orvcore/render/PrepareSceneVisitor.h>

#include <orvcore/render/RenderContext.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

bool PrepareSceneVisitor::Admit(const SceneNode& node) const
{
    if (!node.GetVisible())
        return false;
    return !node.GetCulling() || m_Context.IsVisible(node.GetWorldBBox());
}

void PrepareSceneVisitor::Collect(SceneNode* node)
{
    if (Admit(*node))
        node->CollectRenderables(m_Context);
}

void PrepareSceneVisitor::Visit(GeneralSceneNode* node) { Collect(node); }
void PrepareSceneVisitor::Visit(PrimitiveSceneNode* node) { Collect(node); }
void PrepareSceneVisitor::Visit(ShapeSceneNode* node) { Collect(node); }

void PrepareSceneVisitor::Visit(GroupSceneNode* node)
{
    if (Admit(*node))
        node->Apply(*this);
}

} // namespace orvcore
