#pragma once

#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

class SceneNode;
class ShadowRenderContext;

/// Walks a scene for the shadow casters: a node counts only when it is
/// visible, casts shadows (`SceneNode::GetCastShadow`) and the context's
/// frustum sees its world box (whatever its culling flag). Groups pass the
/// walk on; primitive nodes hand in their primitive and shape nodes each of
/// theirs when it is an opaque triangle list (the shape's depth key for
/// all); general nodes hand in what their `CollectRenderables` gives, which
/// the context filters the same way.
class PrepareShadowVisitor : public SceneVisitor {
public:
    explicit PrepareShadowVisitor(ShadowRenderContext& context) : m_Context(context) {}

    void Visit(GeneralSceneNode* node) override;
    void Visit(GroupSceneNode* node) override;
    void Visit(PrimitiveSceneNode* node) override;
    void Visit(ShapeSceneNode* node) override;

private:
    bool Admit(const SceneNode& node) const;

    ShadowRenderContext& m_Context;
};

} // namespace orvcore
