#include <orvcore/render/PrepareSceneVisitor.h>

#include <orvcore/render/RenderContext.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

// Below a group that the frustum wholly contains, every child's world box
// lies inside the group's, so only the null box (which the per-node test
// culls, and which adds nothing to the group's box) still needs a look.
bool PrepareSceneVisitor::Admit(const SceneNode& node) const
{
    if (!node.GetVisible())
        return false;
    if (!node.GetCulling())
        return true;
    return m_Inside ? !node.GetWorldBBox().isNull() : m_Context.IsVisible(node.GetWorldBBox());
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
    if (!node->GetVisible())
        return;
    if (m_Inside || !node->GetCulling()) {
        if (Admit(*node))
            node->Apply(*this);
        return;
    }
    switch (m_Context.Classify(node->GetWorldBBox())) {
    case Frustum::Containment::Outside:
        return;
    case Frustum::Containment::Intersects:
        node->Apply(*this);
        return;
    case Frustum::Containment::Inside:
        m_Inside = true;
        node->Apply(*this);
        m_Inside = false;
        return;
    }
}

} // namespace orvcore
