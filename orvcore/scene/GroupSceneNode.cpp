#include <orvcore/scene/GroupSceneNode.h>

#include <atomic>
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
// pointer, transforms, boxes, counter) towards the cache, and the line after
// it: the start of the kind's own fields (a group's inline children).
inline void PrefetchNode(const SceneNode* node)
{
    const char* p = reinterpret_cast<const char*>(node);
    for (std::size_t offset = 0; offset < sizeof(SceneNode) + 64; offset += 64)
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

// Changes of children over all groups: a group's walk is current while this
// count is the one it was built at.
std::atomic<uint64_t> g_ChildChanges{0};

// The walk of the update in progress on this thread: the nodes in visiting
// order and the number of the next one.
struct WalkCursor {
    const SceneNode* const* nodes = nullptr;
    std::size_t count = 0;
    std::size_t at = 0;
};
thread_local WalkCursor t_Walk;

// Nodes ahead of the one being updated that the walk prefetches.
constexpr std::size_t kWalkAhead = 12;

} // namespace

void GroupSceneNode::InvalidateOrder()
{
    m_OrderValid = false;
    g_ChildChanges.fetch_add(1, std::memory_order_relaxed);
}

void GroupSceneNode::CollectWalk(std::vector<const SceneNode*>& walk)
{
    SceneNode* const* order = Order();
    for (std::size_t i = 0, count = m_OrderCount; i < count; ++i) {
        walk.push_back(order[i]);
        if (auto* group = dynamic_cast<GroupSceneNode*>(order[i]))
            group->CollectWalk(walk);
    }
}

void GroupSceneNode::UpdateTransform(const glm::mat4& parentWorld)
{
    // The group where an update starts lays out the walk for the groups
    // below; it ends with this call, however it ends.
    WalkCursor& walk = t_Walk; // one look-up of the thread's cursor
    struct WalkScope {
        WalkCursor& walk;
        bool outermost = walk.nodes == nullptr;
        ~WalkScope()
        {
            if (outermost)
                walk = WalkCursor();
        }
    } scope{walk};
    if (scope.outermost) {
        const uint64_t changes = g_ChildChanges.load(std::memory_order_relaxed);
        if (changes != m_WalkChanges) {
            m_Walk.clear();
            CollectWalk(m_Walk);
            m_WalkChanges = changes;
        }
        walk = WalkCursor{m_Walk.data(), m_Walk.size(), 0};
        for (std::size_t i = 0; i < walk.count && i < kWalkAhead; ++i)
            PrefetchNode(walk.nodes[i]);
    }
    glm::mat4 world;
    Math::Multiply(parentWorld, m_Transform, world);
    const bool unchanged = std::memcmp(&world, &m_WorldTransform, sizeof(world)) == 0;
    m_WorldTransform = world;
    m_BoundingBox.setNull();
    m_ParentBoxValid = false;

    SceneNode* const* order = Order();
    const std::size_t count = m_OrderCount;
    // Start the first children's loads together; in deep trees groups are
    // small and these would otherwise be waited for one after another.
    // Under an unchanged world most children are skipped and only their
    // heads are read.
    // One loop per prefetch kind, chosen once, so neither pays for the other.
    // The walk runs ahead over the whole tree; without one (the walk is
    // stale, or a kind of its own updates groups) each group prefetches its
    // own children.
    const bool walking = walk.at < walk.count && walk.nodes[walk.at] == (count > 0 ? order[0] : nullptr);
    auto updateChildren = [this, order, count, &walk, walking](auto headOnly) {
        auto prefetch = [](const SceneNode* node) {
            if constexpr (decltype(headOnly)::value)
                PrefetchNodeHead(node);
            else
                PrefetchNode(node);
        };
        for (std::size_t i = 0; !walking && i < count && i < kPrefetchDistance; ++i)
            prefetch(order[i]);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t ahead = walking ? walk.at + kWalkAhead : i + kPrefetchDistance;
            if (walking ? ahead < walk.count : ahead < count)
                prefetch(walking ? walk.nodes[ahead] : order[ahead]);
            ++walk.at;
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

SceneNode* const* GroupSceneNode::Order()
{
    if (!m_OrderValid) {
        m_Order.clear();
        if (m_Children.size() > kInlineChildren)
            m_Order.reserve(m_Children.size());
        std::size_t i = 0;
        for (const auto& entry : m_Children) {
            if (m_Children.size() > kInlineChildren)
                m_Order.push_back(entry.second.get());
            else
                m_Inline[i++] = entry.second.get();
        }
        m_OrderCount = static_cast<uint32_t>(m_Children.size());
        m_OrderValid = true;
    }
    return m_OrderCount > kInlineChildren ? m_Order.data() : m_Inline;
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
    const std::size_t count = m_OrderCount;
    SceneNode* const* order = count > kInlineChildren ? m_Order.data() : m_Inline;
    for (std::size_t i = 0; i < count && i < kPrefetchDistance; ++i)
        PrefetchNode(order[i]);
    for (std::size_t i = 0; i < count; ++i) {
        if (i + kPrefetchDistance < count)
            PrefetchNode(order[i + kPrefetchDistance]);
        order[i]->Accept(visitor);
    }
}

GroupSceneNode* GroupSceneNode::Cast(SceneNode* node) { return dynamic_cast<GroupSceneNode*>(node); }
const GroupSceneNode* GroupSceneNode::Cast(const SceneNode* node) { return dynamic_cast<const GroupSceneNode*>(node); }

} // namespace orvcore
