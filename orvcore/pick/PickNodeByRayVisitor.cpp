#include <orvcore/pick/PickNodeByRayVisitor.h>

#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

bool PickNodeByRayVisitor::Admit(const SceneNode& node) const
{
    if (!node.GetVisible())
        return false;
    if (m_RespectPickable && !node.GetPickable())
        return false;
    return m_Caster.Intersects(node.GetWorldBBox());
}

void PickNodeByRayVisitor::Visit(GeneralSceneNode* node)
{
    if (Admit(*node))
        node->HitTest(m_Caster);
}

void PickNodeByRayVisitor::Visit(GroupSceneNode* node)
{
    if (Admit(*node))
        node->Apply(*this);
}

void PickNodeByRayVisitor::Visit(ShapeSceneNode* node)
{
    if (Admit(*node))
        node->HitTest(m_Caster);
}

void PickNodeByRayVisitor::Visit(PrimitiveSceneNode* node)
{
    if (Admit(*node))
        node->HitTest(m_Caster);
}

} // namespace orvcore
