#include <orvcore/scene/GroupSceneNode.h>

#include <cstring>
#include <type_traits>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>
#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

GroupSceneNode::GroupSceneNode() : m_Children(8) { m_Children.max_load_factor(1.0f); }

std::shared_ptr<SceneNode> GroupSceneNode::Clone() const
{
    auto group = std::make_shared<GroupSceneNode>();
    group->CopyPropertiesFrom(*this);
    return group;
}

void GroupSceneNode::CopyPropertiesFrom(const GroupSceneNode& other)
{
    for (const auto& entry : other.m_Children) {
        std::shared_ptr<SceneNode> clone = entry.second->Clone();
        if (!clone) {
            Logger::Instance().Waring("SceneNode can not be cloned!");
            continue;
        }
        clone->SetParent(this);
        m_Children[clone->GetId()] = std::move(clone);
    }
    InvalidateOrder();
    CopyBaseProperties(other);
}

namespace {

// Pulls the part of a node that the world update reads and writes (vtable
// pointer, transforms, boxes, counter) towards the cache.
inline void PrefetchNode(const SceneNode* node)
{
    const char* p = reinterpret_cast<const char*>(node);
    for (std::size_t offset = 0; offset < sizeof(SceneNode); offset += 64)
        __builtin_prefetch(p + offset, 1, 3);
}

// A child that an update may skip needs only its first line (the fields an
// update reads first are placed there); a second one covers the start of
// larger objects' own fields.
inline void PrefetchNodeHead(const SceneNode* node)
{
    const char* p = reinterpret_cast<const char*>(node);
    __builtin_prefetch(p, 1, 3);
    __builtin_prefetch(p + 64, 1, 3);
}

constexpr std::size_t kPrefetchDistance = 4;

} // namespace

void GroupSceneNode::UpdateTransform(const glm::mat4& parentWorld)
{
    glm::mat4 world;
    Math::Multiply(parentWorld, m_Transform, world);
    const bool unchanged = std::memcmp(&world, &m_WorldTransform, sizeof(world)) == 0;
    m_WorldTransform = world;
    m_BoundingBox.setNull();
    m_ParentBoxValid = false;

    if (!m_OrderValid) {
        m_Order.clear();
        m_Order.reserve(m_Children.size());
        for (const auto& entry : m_Children)
            m_Order.push_back(entry.second.get());
        m_OrderValid = true;
    }
    const std::size_t count = m_Order.size();
    SceneNode* const* order = m_Order.data();
    // Start the first children's loads together; in deep trees groups are
    // small and these would otherwise be waited for one after another.
    // Under an unchanged world most children are skipped and only their
    // heads are read.
    // One loop per prefetch kind, chosen once, so neither pays for the other.
    auto updateChildren = [this, order, count](auto headOnly) {
        auto prefetch = [](const SceneNode* node) {
            if constexpr (decltype(headOnly)::value)
                PrefetchNodeHead(node);
            else
                PrefetchNode(node);
        };
        for (std::size_t i = 0; i < count && i < kPrefetchDistance; ++i)
            prefetch(order[i]);
        for (std::size_t i = 0; i < count; ++i) {
            if (i + kPrefetchDistance < count)
                prefetch(order[i + kPrefetchDistance]);
            SceneNode& child = *order[i];
            child.UpdateTransform(m_WorldTransform);
            m_BoundingBox.merge(child.ComputeBoundingBox(nullptr));
        }
    };
    // The flag lives only for this loop: a direct call of a child's update
    // from elsewhere always recomputes.
    m_ParentWorldUnchanged = unchanged;
    if (unchanged)
        updateChildren(std::true_type{});
    else
        updateChildren(std::false_type{});
    m_ParentWorldUnchanged = false;
    m_WorldBBox = m_BoundingBox;
    m_WorldBBox.transform(m_WorldTransform);
    m_UpdateVersion = 0;
}

void GroupSceneNode::Accept(SceneVisitor& visitor) { visitor.Visit(this); }

void GroupSceneNode::CollectRenderables(RenderContext& context) const
{
    for (const auto& entry : m_Children) {
        if (entry.second->GetVisible())
            entry.second->CollectRenderables(context);
    }
}

void GroupSceneNode::AddNode(const std::shared_ptr<SceneNode>& node)
{
    if (!node) {
        Logger::Instance().Waring("SceneNode is null!");
        return;
    }
    if (node->GetParent()) {
        Logger::Instance().Waring("The node already has parent!");
        return;
    }
    // A node that is this group or one of its ancestors would close a cycle
    // of owners and parent links.
    for (const SceneNode* up = this; up; up = up->GetParent()) {
        if (up == node.get()) {
            Logger::Instance().Waring("The node is the group itself or one of its ancestors!");
            return;
        }
    }
    const uint64_t key = node->GetId();
    if (m_Children.find(key) != m_Children.end())
        return;
    node->SetParent(this);
    m_Children.emplace(key, node);
    InvalidateOrder();
}

bool GroupSceneNode::RemoveNode(uint64_t id)
{
    if (m_Children.erase(id) == 0)
        return false;
    InvalidateOrder();
    return true;
}

std::shared_ptr<SceneNode> GroupSceneNode::FindNode(uint64_t id) const
{
    auto it = m_Children.find(id);
    return it == m_Children.end() ? std::shared_ptr<SceneNode>() : it->second;
}

std::shared_ptr<SceneNode> GroupSceneNode::FindNodeByUserId(uint64_t userId) const
{
    for (const auto& entry : m_Children) {
        if (entry.second->GetUserId() == userId)
            return entry.second;
    }
    return {};
}

std::shared_ptr<SceneNodeIterator> GroupSceneNode::CreateIterator() const
{
    return std::make_shared<SceneNodeIterator>(m_Children.cbegin(), m_Children.cend());
}

void GroupSceneNode::Apply(SceneVisitor& visitor) const
{
    if (!m_OrderValid) {
        for (const auto& entry : m_Children)
            entry.second->Accept(visitor);
        return;
    }
    // The dense copy holds the same children in the same (map) order; it is
    // valid until the next change of the children.
    const std::size_t count = m_Order.size();
    for (std::size_t i = 0; i < count && i < kPrefetchDistance; ++i)
        PrefetchNode(m_Order[i]);
    for (std::size_t i = 0; i < count; ++i) {
        if (i + kPrefetchDistance < count)
            PrefetchNode(m_Order[i + kPrefetchDistance]);
        m_Order[i]->Accept(visitor);
    }
}

GroupSceneNode* GroupSceneNode::Cast(SceneNode* node) { return dynamic_cast<GroupSceneNode*>(node); }
const GroupSceneNode* GroupSceneNode::Cast(const SceneNode* node) { return dynamic_cast<const GroupSceneNode*>(node); }

} // namespace orvcore
