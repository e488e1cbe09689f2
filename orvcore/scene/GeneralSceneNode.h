#pragma once

#include <orvcore/scene/SceneNode.h>

namespace orvcore {

class FrustumCaster;
class PickedItem;
class Raycaster;

/// Base of self-drawing special nodes (widgets, document nodes). Such a node
/// draws and picks itself through the virtual operations below instead of
/// through shapes the library knows.
class GeneralSceneNode : public SceneNode {
public:
    GeneralSceneNode() = default;

    void Accept(SceneVisitor& visitor) override;
    /// Draws nothing by default.
    void CollectRenderables(RenderContext& context) const override;

    /// Rectangle pick; appends hits to the caster. Default: no hit.
    virtual bool HitTest(FrustumCaster& caster);
    /// Ray pick; appends hits to the caster. Default: no hit.
    virtual bool HitTest(Raycaster& caster);
    /// True for a node that stands for a document whose elements are
    /// selected by `ElementId`.
    virtual bool IsDocumentNode() const;
    /// Adds the drawables that show one selected or highlighted item.
    virtual void CollectSelection(RenderContext& context, const PickedItem& item) const;

    static GeneralSceneNode* Cast(SceneNode* node);
    static const GeneralSceneNode* Cast(const SceneNode* node);
};

} // namespace orvcore
