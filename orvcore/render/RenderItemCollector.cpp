#include <orvcore/render/RenderItemCollector.h>

#include <orvcore/collision/CollisionContext.h>
#include <orvcore/collision/NodeCollisionDetector.h>

#include <memory>

namespace orvcore {

RenderItemCollector::RenderItemCollector(NodeCollisionDetector& detector) : RenderContext(nullptr), m_Detector(detector)
{
}

void RenderItemCollector::AddItem(RenderItem& item)
{
    if (CollisionContext::IsCollidable(item))
        m_Detector.AddItem(std::make_shared<CollisionItem>(*item.GetPrimitive(), item.GetTransform()));
}

} // namespace orvcore
