#pragma once

#include <orvcore/render/RenderContext.h>

namespace orvcore {

class NodeCollisionDetector;

/// The render context a collision test walks the other node into: every
/// triangle-list item it is handed is converted into a `CollisionItem` at
/// the item's matrix and tested against the detector's items, until one
/// touches (Hit). Once Hit is set, further items are ignored. Items of
/// points, segments and line strips are ignored silently; other kinds log
/// "Not support shape type!".
class CollisionContext : public RenderContext {
public:
    explicit CollisionContext(const NodeCollisionDetector& detector);

    void AddItem(RenderItem& item) override;

    bool GetHit() const { return m_Hit; }
    const NodeCollisionDetector& GetDetector() const { return m_Detector; }

    /// Whether collision takes the item: true for triangle lists; false,
    /// silently, for points, segments and line strips; false with "Not
    /// support shape type!" for anything else.
    static bool IsCollidable(const RenderItem& item);

private:
    const NodeCollisionDetector& m_Detector;
    bool m_Hit = false;
};

} // namespace orvcore
