#include <orvcore/scene/SceneNode.h>

#include <orvcommon/Math.h>

namespace orvcore {

SceneNode::~SceneNode()
{
    m_OverrideFaceMaterial.reset();
    m_OverrideEdgeMaterial.reset();
}

std::shared_ptr<SceneNode> SceneNode::Clone() const { return {}; }

void SceneNode::UpdateTransform(const glm::mat4& parentWorld)
{
    Math::Multiply(parentWorld, m_Transform, m_WorldTransform);
    m_WorldBBox = m_BoundingBox;
    m_WorldBBox.transform(m_WorldTransform);
    m_UpdateVersion = 0;
}

AxisAlignedBox SceneNode::ComputeBoundingBox(const glm::mat4* matrix) const
{
    AxisAlignedBox box = m_BoundingBox;
    if (matrix)
        box.transform(*matrix * m_Transform);
    else
        box.transform(m_Transform);
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
    m_WorldTransform = other.m_WorldTransform;
    m_WorldBBox = other.m_WorldBBox;
    m_CastShadow = other.m_CastShadow;
    m_Visible = other.m_Visible;
}

SceneNode* SceneNode::Cast(GfxObject* object) { return dynamic_cast<SceneNode*>(object); }
const SceneNode* SceneNode::Cast(const GfxObject* object) { return dynamic_cast<const SceneNode*>(object); }

} // namespace orvcore
