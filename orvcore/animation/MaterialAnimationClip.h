#pragma once

#include <memory>

#include <orvcore/animation/RigidAnimationClip.h>

namespace orvcore {

class MaterialInstance;
class SceneNode;

/// Blinks a node: during the clip its override face and edge materials are
/// `FaceMaterial` and `EdgeMaterial` in every odd period of `Duration`
/// seconds counted from the start, and cleared in every even one; at the
/// end both are cleared. No update request is made (nothing moves).
class MaterialAnimationClip : public RigidAnimationClip {
public:
    /// A period that is not positive logs "Blink period is not positive!";
    /// the node then keeps no override.
    MaterialAnimationClip(const std::shared_ptr<SceneNode>& node, const std::shared_ptr<MaterialInstance>& face,
                          const std::shared_ptr<MaterialInstance>& edge, float period, float start, float end);

    bool Play(float time) override;

    const std::shared_ptr<SceneNode>& GetNode() const { return m_Node; }
    void SetNode(const std::shared_ptr<SceneNode>& node) { m_Node = node; }
    float GetDuration() const { return m_Duration; }
    void SetDuration(float period) { m_Duration = period; }
    const std::shared_ptr<MaterialInstance>& GetFaceMaterial() const { return m_FaceMaterial; }
    void SetFaceMaterial(const std::shared_ptr<MaterialInstance>& material) { m_FaceMaterial = material; }
    const std::shared_ptr<MaterialInstance>& GetEdgeMaterial() const { return m_EdgeMaterial; }
    void SetEdgeMaterial(const std::shared_ptr<MaterialInstance>& material) { m_EdgeMaterial = material; }

    static MaterialAnimationClip* Cast(RigidAnimationClip* clip);
    static const MaterialAnimationClip* Cast(const RigidAnimationClip* clip);

private:
    float m_Duration;
    std::shared_ptr<MaterialInstance> m_FaceMaterial;
    std::shared_ptr<MaterialInstance> m_EdgeMaterial;
    std::shared_ptr<SceneNode> m_Node;
};

} // namespace orvcore
