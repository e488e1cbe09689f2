#pragma once

#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

class PickedItem;
class RenderContext;

/// Turns picked items into render items for the selection and highlight
/// queues: the picked node (or only the picked member of a shape) is handed
/// in whenever its box is in the frustum, hidden or not, with no override
/// material so that the queue's style draws it.
class PrepareSelectionVisitor : public SceneVisitor {
public:
    explicit PrepareSelectionVisitor(RenderContext& context) : m_Context(context) {}
    PrepareSelectionVisitor(const PrepareSelectionVisitor&) = default;

    /// Visits the item's node with this item in mind.
    void Apply(const PickedItem& item);

    void Visit(GeneralSceneNode* node) override;
    void Visit(GroupSceneNode* node) override;
    void Visit(PrimitiveSceneNode* node) override;
    void Visit(ShapeSceneNode* node) override;

private:
    RenderContext& m_Context;
    const PickedItem* m_Item = nullptr;
};

} // namespace orvcore
