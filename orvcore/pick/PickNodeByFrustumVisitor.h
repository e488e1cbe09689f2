#pragma once

#include <memory>

#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

class FrustumCaster;
class SceneManager;
class SceneNode;

/// Walks a scene for a `FrustumCaster`: a node is considered when it is
/// visible, pickable and its world box is seen by the frustum; groups recurse,
/// the other kinds report themselves.
class PickNodeByFrustumVisitor : public SceneVisitor {
public:
    explicit PickNodeByFrustumVisitor(FrustumCaster& caster) : m_Caster(caster) {}

    using SceneVisitor::Visit;
    /// Accepts the visitor into every scene of the manager in order.
    void Visit(const std::shared_ptr<SceneManager>& manager);
    void Visit(GeneralSceneNode* node) override;
    void Visit(GroupSceneNode* node) override;
    void Visit(ShapeSceneNode* node) override;
    void Visit(PrimitiveSceneNode* node) override;

private:
    bool Admit(const SceneNode& node) const;

    FrustumCaster& m_Caster;
};

} // namespace orvcore
