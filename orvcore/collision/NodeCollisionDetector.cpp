#include <orvcore/collision/NodeCollisionDetector.h>

#include <orvcommon/Logger.h>
#include <orvcore/collision/CollisionContext.h>
#include <orvcore/collision/CollisionVisitor.h>
#include <orvcore/render/RenderItemCollector.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

NodeCollisionDetector::NodeCollisionDetector(const std::shared_ptr<SceneNode>& node) : m_Node(node) {}

NodeCollisionDetector::~NodeCollisionDetector() = default;

void NodeCollisionDetector::Prepare()
{
    if (!m_Items.empty())
        return;
    if (!m_Node) {
        Logger::Instance().Waring("Node is null!");
        return;
    }
    RenderItemCollector collector(*this);
    CollisionVisitor visitor(collector);
    m_Node->Accept(visitor);
}

bool NodeCollisionDetector::Test(const std::shared_ptr<SceneNode>& other)
{
    if (!m_Node || !other) {
        Logger::Instance().Waring("Node is null!");
        return false;
    }
    if (!m_Node->GetWorldBBox().intersects(other->GetWorldBBox()))
        return false;
    if (m_Items.empty())
        Prepare();
    if (m_Items.empty())
        return false;
    CollisionContext context(*this);
    CollisionVisitor visitor(context);
    other->Accept(visitor);
    return context.GetHit();
}

bool NodeCollisionDetector::Test(const NodeCollisionDetector& other) const
{
    for (const auto& mine : m_Items) {
        for (const auto& theirs : other.m_Items) {
            if (mine->Intersects(*theirs))
                return true;
        }
    }
    return false;
}

bool NodeCollisionDetector::Test(const glm::mat4& pose, const NodeCollisionDetector& other,
                                 const glm::mat4& otherPose) const
{
    for (const auto& mine : m_Items) {
        for (const auto& theirs : other.m_Items) {
            if (mine->Intersects(pose, *theirs, otherPose))
                return true;
        }
    }
    return false;
}

bool NodeCollisionDetector::TestItem(const CollisionItem& item) const
{
    for (const auto& mine : m_Items) {
        if (item.Intersects(*mine))
            return true;
    }
    return false;
}

} // namespace orvcore
