#pragma once

#include <orvcore/render/RenderContext.h>

namespace orvcore {

class NodeCollisionDetector;

/// The render context that fills a collision detector: every triangle-list
/// item it is handed becomes a `CollisionItem` at the item's matrix,
/// appended to the detector's items in collection order. Points, segments
/// and line strips are ignored silently; other kinds log "Not support shape
/// type!".
class RenderItemCollector : public RenderContext {
public:
    explicit RenderItemCollector(NodeCollisionDetector& detector);

    void AddItem(RenderItem& item) override;

private:
    NodeCollisionDetector& m_Detector;
};

} // namespace orvcore
