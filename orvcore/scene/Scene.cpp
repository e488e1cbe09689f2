#include <orvcore/scene/Scene.h>

#include <orvcommon/Logger.h>
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
    m_WorldBBox.merge(node->GetWorldBBox());
    return key;
}

bool Scene::RemoveNode(uint64_t id) { return m_Nodes.erase(id) != 0; }

std::shared_ptr<SceneNode> Scene::FindNode(uint64_t id) const
{
    auto it = m_Nodes.find(id);
    return it == m_Nodes.end() ? std::shared_ptr<SceneNode>() : it->second;
}

void Scene::Clear()
{
    m_Nodes.clear();
    m_WorldBBox.setNull();
}

std::shared_ptr<SceneNodeIterator> Scene::CreateIterator() const
{
    return std::make_shared<SceneNodeIterator>(m_Nodes.cbegin(), m_Nodes.cend());
}

void Scene::Accept(SceneVisitor& visitor) const
{
    for (const auto& entry : m_Nodes)
        entry.second->Accept(visitor);
}

void Scene::UpdateWorld() { UpdateWorldTransform(m_WorldTransform); }

void Scene::UpdateWorldTransform(const glm::mat4& transform)
{
    m_WorldBBox.setNull();
    m_WorldTransform = transform;
    for (const auto& entry : m_Nodes) {
        SceneNode& node = *entry.second;
        if (node.GetUpdateVersion() != 0)
            node.UpdateTransform(m_WorldTransform);
        m_WorldBBox.merge(node.GetWorldBBox());
    }
}

Scene* Scene::Cast(GfxObject* object) { return dynamic_cast<Scene*>(object); }
const Scene* Scene::Cast(const GfxObject* object) { return dynamic_cast<const Scene*>(object); }

} // namespace orvcore
