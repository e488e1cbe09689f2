#pragma once

#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

class RenderContext;
class SceneNode;

/// Walks a scene into a render context: hidden nodes and nodes whose world
/// box lies outside the context's frustum (when their culling flag is set)
/// are skipped with their subtrees; the rest hand in their items. Below a
/// group whose world box lies wholly inside the frustum nothing is tested
/// again: the group's box holds its children's.
class PrepareSceneVisitor : public SceneVisitor {
public:
    explicit PrepareSceneVisitor(RenderContext& context) : m_Context(context) {}

    void Visit(GeneralSceneNode* node) override;
    void Visit(GroupSceneNode* node) override;
    void Visit(PrimitiveSceneNode* node) override;
    void Visit(ShapeSceneNode* node) override;

    RenderContext& GetContext() const { return m_Context; }

private:
    bool Admit(const SceneNode& node) const;
    void Collect(SceneNode* node);

    RenderContext& m_Context;
    bool m_Inside = false; ///< inside a group the frustum contains
};

} // namespace orvcore
