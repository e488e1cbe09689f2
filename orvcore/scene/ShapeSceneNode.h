#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <orvkernel/shape/CompoundShape.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

class FrustumCaster;
class Raycaster;

/// A leaf that draws a compound shape: an ordered list of primitives that
/// together form one model, addressed by their index.
///
/// Unlike the primitive node it hands in every member whatever the display
/// filter, and its ray test reports the nearest pickable member.
class ShapeSceneNode : public SceneNode {
public:
    explicit ShapeSceneNode(const std::shared_ptr<CompoundShape>& shape);

    std::shared_ptr<SceneNode> Clone() const override;
    void Accept(SceneVisitor& visitor) override;
    void CollectRenderables(RenderContext& context) const override;

    const std::shared_ptr<CompoundShape>& GetShape() const { return m_Shape; }
    /// Stores the shape only (box and dirty counter are left alone).
    void SetShape(const std::shared_ptr<CompoundShape>& shape) { m_Shape = shape; }
    const std::vector<std::shared_ptr<PrimitiveShape>>& GetPrimitives() const;
    std::shared_ptr<PrimitiveShape> GetPrimitive(uint32_t index) const;

    /// Nearest pickable member under the ray; the item's shape index is the
    /// member's position. Appends at most one item.
    bool HitTest(Raycaster& caster);
    /// One item per pickable member; always returns false.
    bool HitTest(FrustumCaster& caster);

    static ShapeSceneNode* Cast(SceneNode* node);
    static const ShapeSceneNode* Cast(const SceneNode* node);

private:
    std::shared_ptr<CompoundShape> m_Shape;
};

} // namespace orvcore
