#pragma once

#include <memory>

#include <orvcore/render/RenderContext.h>

namespace orvcore {

class RenderQuene;

/// Collects the selection or the highlight into a queue: points to `Point`,
/// line segments and strips to `Line`, triangles always to
/// `TransparentFace` (the pick styles draw faces see-through). Line loops
/// and other types log "Not support shape type!" and are dropped.
class SelectionRenderContext : public RenderContext {
public:
    SelectionRenderContext(const std::shared_ptr<Camera>& camera, RenderQuene* queue)
        : RenderContext(camera), m_Queue(queue)
    {
    }

    void AddItem(RenderItem& item) override;

    bool GetDrawCurrentGrip() const { return m_DrawCurrentGrip; }
    void SetDrawCurrentGrip(bool on) { m_DrawCurrentGrip = on; }
    RenderQuene* GetQueue() const { return m_Queue; }

private:
    bool m_DrawCurrentGrip = false;
    RenderQuene* m_Queue;
};

} // namespace orvcore
