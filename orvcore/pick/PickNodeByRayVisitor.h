#pragma once

#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

class Raycaster;
class SceneNode;

/// Walks a scene for a `Raycaster`: hidden nodes and (when respected)
/// non-pickable nodes prune their subtrees, as do nodes whose bounding
/// sphere the ray misses; the rest test their own geometry.
class PickNodeByRayVisitor : public SceneVisitor {
public:
    PickNodeByRayVisitor(Raycaster& caster, bool respectPickable) : m_Caster(caster), m_RespectPickable(respectPickable)
    {
    }

    bool GetRespectPickable() const { return m_RespectPickable; }

    void Visit(GeneralSceneNode* node) override;
    void Visit(GroupSceneNode* node) override;
    void Visit(ShapeSceneNode* node) override;
    void Visit(PrimitiveSceneNode* node) override;

private:
    bool Admit(const SceneNode& node) const;

    Raycaster& m_Caster;
    bool m_RespectPickable;
};

} // namespace orvcore
