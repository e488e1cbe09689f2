#include <orvcore/scene/Scene.h>

#include <orvcommon/Logger.h>
#include <orvcore/scene/CollectPrefetch.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

Scene::Scene() : m_Nodes(8) { m_Nodes.max_load_factor(1.0f); }
Scene::~Scene() = default;

uint64_t Scene::AddNode(const std::shared_ptr<SceneNode>& node)
{
    if (!node) {
        Logger::Instance().Waring("Node is null!");
        return 0;
    }
    if (node->GetParent()) {
        Logger::Instance().Waring("Parent should be null!");
        return 0;
    }
    const uint64_t key = node->GetId();
    if (m_Nodes.find(key) != m_Nodes.end())
        return key;
    if (node->GetUpdateVersion() != 0)
        node->UpdateTransform(m_WorldTransform);
    m_Nodes.emplace(key, node);
    m_WalkStale = true;
    m_WorldBBox.merge(node->GetWorldBBox());
    return key;
}

bool Scene::RemoveNode(uint64_t id)
{
    if (m_Nodes.erase(id) == 0)
        return false;
    m_WalkStale = true;
    return true;
}

std::shared_ptr<SceneNode> Scene::FindNode(uint64_t id) const
{
    auto it = m_Nodes.find(id);
    return it == m_Nodes.end() ? std::shared_ptr<SceneNode>() : it->second;
}

void Scene::Clear()
{
    m_Nodes.clear();
    m_WalkStale = true;
    m_WorldBBox.setNull();
}

std::shared_ptr<SceneNodeIterator> Scene::CreateIterator() const
{
    return std::make_shared<SceneNodeIterator>(m_Nodes.cbegin(), m_Nodes.cend());
}

const std::vector<SceneNode*>& Scene::Walk() const
{
    if (m_WalkStale) {
        m_Walk.clear();
        m_Walk.reserve(m_Nodes.size());
        for (const auto& entry : m_Nodes)
            m_Walk.push_back(entry.second.get());
        m_WalkStale = false;
    }
    return m_Walk;
}

void Scene::Accept(SceneVisitor& visitor) const
{
    // In the table's order. The table must not change while it is walked
    // (as when its iterators were walked): the array is made again only at
    // the next walk.
    const std::vector<SceneNode*>& walk = Walk();
    SceneNode* const* nodes = walk.data();
    const std::size_t count = walk.size();
    for (std::size_t i = 0; i < count; ++i) {
        PrefetchCollect(nodes, i, count);
        nodes[i]->Accept(visitor);
    }
}

void Scene::UpdateWorld() { UpdateWorldTransform(m_WorldTransform); }

void Scene::UpdateWorldTransform(const glm::mat4& transform)
{
    m_WorldBBox.setNull();
    m_WorldTransform = transform;
    const std::vector<SceneNode*>& walk = Walk();
    for (std::size_t i = 0; i < walk.size(); ++i) {
        if (i + 8 < walk.size())
            __builtin_prefetch(walk[i + 8]);
        SceneNode& node = *walk[i];
        if (node.GetUpdateVersion() != 0)
            node.UpdateTransform(m_WorldTransform);
        m_WorldBBox.merge(node.GetWorldBBox());
    }
}

Scene* Scene::Cast(GfxObject* object) { return dynamic_cast<Scene*>(object); }
const Scene* Scene::Cast(const GfxObject* object) { return dynamic_cast<const Scene*>(object); }

} // namespace orvcore
