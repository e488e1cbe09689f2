#include <orvcore/scene/Scene2D.h>

#include <orvcommon/Logger.h>

namespace orvcore {

Scene2D::Scene2D() : m_Nodes(8) { m_Nodes.max_load_factor(1.0f); }

Scene2D::~Scene2D() = default;

uint32_t Scene2D::AddNode(const std::shared_ptr<SceneNode2D>& node)
{
    if (!node) {
        Logger::Instance().Waring("Node is null!");
        return 0;
    }
    const uint32_t id = node->GetObjectId();
    m_Nodes[id] = node;
    if (node->GetNode())
        node->GetNode()->UpdateTransform(glm::mat4(1.0f));
    return id;
}

bool Scene2D::RemoveNode(uint32_t id) { return m_Nodes.erase(id) > 0; }

} // namespace orvcore
