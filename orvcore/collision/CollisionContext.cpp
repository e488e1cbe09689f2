#include <orvcore/collision/CollisionContext.h>

#include <orvcommon/Logger.h>
#include <orvcore/collision/NodeCollisionDetector.h>

namespace orvcore {

CollisionContext::CollisionContext(const NodeCollisionDetector& detector) : RenderContext(nullptr), m_Detector(detector)
{
}

bool CollisionContext::IsCollidable(const RenderItem& item)
{
    switch (item.GetType()) {
    case PRIMITIVE_POINTS:
    case PRIMITIVE_LINES:
    case PRIMITIVE_LINE_STRIP: return false;
    case PRIMITIVE_TRIANGLES: return true;
    default: Logger::Instance().Waring("Not support shape type!"); return false;
    }
}

void CollisionContext::AddItem(RenderItem& item)
{
    if (m_Hit || !IsCollidable(item))
        return;
    m_Hit = m_Detector.TestItem(CollisionItem(*item.GetPrimitive(), item.GetTransform()));
}

} // namespace orvcore
