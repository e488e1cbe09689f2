#include <orvcore/pick/PickNodeByFrustumVisitor.h>

#include <orvcore/pick/FrustumCaster.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

bool PickNodeByFrustumVisitor::Admit(const SceneNode& node) const
{
    return node.GetVisible() && node.GetPickable() && m_Caster.Intersects(node.GetWorldBBox());
}

void PickNodeByFrustumVisitor::Visit(const std::shared_ptr<SceneManager>& manager)
{
    if (!manager)
        return;
    for (const auto& scene : *manager) {
        if (scene)
            scene->Accept(*this);
    }
}

void PickNodeByFrustumVisitor::Visit(GeneralSceneNode* node)
{
    if (Admit(*node))
        node->HitTest(m_Caster);
}

void PickNodeByFrustumVisitor::Visit(GroupSceneNode* node)
{
    if (Admit(*node))
        node->Apply(*this);
}

void PickNodeByFrustumVisitor::Visit(ShapeSceneNode* node)
{
    if (Admit(*node))
        node->HitTest(m_Caster);
}

void PickNodeByFrustumVisitor::Visit(PrimitiveSceneNode* node)
{
    if (Admit(*node))
        node->HitTest(m_Caster);
}

} // namespace orvcore
