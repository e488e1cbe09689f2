#pragma once

#include <memory>

#include <orvcore/render/RenderContext.h>

namespace orvcore {

class RenderQuene;

/// Collects the model into a render queue: points, lines, and triangles split
/// by the transparency of their effective material (the item's override,
/// else the primitive's own).
class ModelRenderContext : public RenderContext {
public:
    ModelRenderContext(const std::shared_ptr<Camera>& camera, RenderQuene* queue)
        : RenderContext(camera), m_Queue(queue)
    {
    }

    /// Routes by primitive type; an unsupported type logs "Not support shape
    /// type!" and drops the item.
    void AddItem(RenderItem& item) override;
    RenderQuene* GetQueue() const { return m_Queue; }

private:
    RenderQuene* m_Queue;
};

} // namespace orvcore
