#pragma once

#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

class RenderContext;

/// Walks a subtree into a render context for collision: every general,
/// shape and primitive node hands in its items (`CollectRenderables`),
/// groups pass the visitor to their children. No visibility or culling
/// test: hidden nodes collide too.
class CollisionVisitor : public SceneVisitor {
public:
    explicit CollisionVisitor(RenderContext& context) : m_Context(context) {}
    ~CollisionVisitor() override;

    void Visit(GeneralSceneNode* node) override;
    void Visit(GroupSceneNode* node) override;
    void Visit(ShapeSceneNode* node) override;
    void Visit(PrimitiveSceneNode* node) override;

    RenderContext& GetContext() const { return m_Context; }

private:
    RenderContext& m_Context;
};

} // namespace orvcore
