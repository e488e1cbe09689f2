#include <orvcore/scene/SceneNode.h>

#include <orvcommon/Math.h>

#include <cstring>

namespace orvcore {

SceneNode::~SceneNode()
{
    m_OverrideFaceMaterial.reset();
    m_OverrideEdgeMaterial.reset();
}

std::shared_ptr<SceneNode> SceneNode::Clone() const { return {}; }

void SceneNode::UpdateTransform(const glm::mat4& parentWorld)
{
    // Inside a group update whose world did not change, a clean node whose
    // transform and box have not changed either already holds its result.
    if (m_WorldCurrent && m_UpdateVersion == 0 && m_Parent && m_Parent->m_ParentWorldUnchanged)
        return;
    glm::mat4 world;
    Math::Multiply(parentWorld, m_Transform, world);
    // Siblings of a moved node usually land on the same world matrix: their
    // box stays valid (a bitwise compare, so any change recomputes).
    if (!m_WorldBoxValid || std::memcmp(&world, &m_WorldTransform, sizeof(world)) != 0) {
        m_WorldTransform = world;
        m_WorldBBox = m_BoundingBox;
        m_WorldBBox.transform(m_WorldTransform);
        m_WorldBoxValid = true;
    }
    // Called from the parent's loop, the matrix is the parent's own.
    m_WorldCurrent = m_Parent && (&parentWorld == &m_Parent->m_WorldTransform ||
                                  std::memcmp(&parentWorld, &m_Parent->m_WorldTransform, sizeof(world)) == 0);
    m_UpdateVersion = 0;
}

AxisAlignedBox SceneNode::ComputeBoundingBox(const glm::mat4* matrix) const
{
    if (!matrix) {
        if (!m_ParentBoxValid) {
            m_ParentBox = m_BoundingBox;
            m_ParentBox.transform(m_Transform);
            m_ParentBoxValid = true;
        }
        return m_ParentBox;
    }
    AxisAlignedBox box = m_BoundingBox;
    box.transform(*matrix * m_Transform);
    return box;
}

void SceneNode::RequstUpdate()
{
    for (SceneNode* node = this; node; node = node->m_Parent)
        ++node->m_UpdateVersion;
}

bool SceneNode::IsVisiblePath() const
{
    for (const SceneNode* node = this; node; node = node->m_Parent) {
        if (!node->m_Visible)
            return false;
    }
    return true;
}

void SceneNode::CopyBaseProperties(const SceneNode& other)
{
    m_UserId = other.m_UserId;
    m_Transform = other.m_Transform;
    m_BoundingBox = other.m_BoundingBox;
    m_ParentBoxValid = false;
    m_WorldTransform = other.m_WorldTransform;
    m_WorldBBox = other.m_WorldBBox;
    m_WorldBoxValid = false;
    m_CastShadow = other.m_CastShadow;
    m_Visible = other.m_Visible;
}

SceneNode* SceneNode::Cast(GfxObject* object) { return dynamic_cast<SceneNode*>(object); }
const SceneNode* SceneNode::Cast(const GfxObject* object) { return dynamic_cast<const SceneNode*>(object); }

} // namespace orvcore
