#pragma once

#include <memory>

#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

class FrustumCaster;
class Raycaster;

/// A leaf that draws one kernel primitive (a geometry with its material).
/// Its local box is the primitive's box, copied when the primitive is set
/// and by `UpdateBoundingBox`.
class PrimitiveSceneNode : public SceneNode {
public:
    PrimitiveSceneNode(const std::shared_ptr<BufferGeometry>& geometry,
                       const std::shared_ptr<MaterialInstance>& material);
    explicit PrimitiveSceneNode(const std::shared_ptr<PrimitiveShape>& primitive);

    std::shared_ptr<SceneNode> Clone() const override;
    void Accept(SceneVisitor& visitor) override;
    /// One item when the display filter has the primitive kind's bit (1
    /// points, 2 lines, 4 triangles), with the edge override material for
    /// points and lines and the face override for triangles.
    void CollectRenderables(RenderContext& context) const override;
    /// Local box = the primitive's box, then `RequstUpdate`. Call after
    /// changing the primitive's geometry.
    virtual void UpdateBoundingBox();

    const std::shared_ptr<PrimitiveShape>& GetPrimitive() const { return m_Primitive; }
    /// Replaces the primitive and copies its box (an empty pointer is
    /// ignored). Does not request an update.
    void SetPrimitive(const std::shared_ptr<PrimitiveShape>& primitive);
    const std::shared_ptr<MaterialInstance>& GetMaterial() const;
    void SetMaterial(const std::shared_ptr<MaterialInstance>& material);

    /// Nearest hit on the primitive (points and lines within the caster's
    /// screen threshold); appends at most one item and says whether it did.
    bool HitTest(Raycaster& caster);
    /// The node as a whole, once the caller found its box in the frustum.
    bool HitTest(FrustumCaster& caster);

    static PrimitiveSceneNode* Cast(SceneNode* node);
    static const PrimitiveSceneNode* Cast(const SceneNode* node);

protected:
    /// For derived kinds that install their primitive after construction.
    PrimitiveSceneNode() { SetCollectKind(COLLECT_PRIMITIVE); }

private:
    std::shared_ptr<PrimitiveShape> m_Primitive;
};

} // namespace orvcore
