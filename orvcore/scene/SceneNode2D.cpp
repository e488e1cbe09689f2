#include <orvcore/scene/SceneNode2D.h>

namespace orvcore {

SceneNode2D::SceneNode2D(const std::shared_ptr<SceneNode>& node) : m_Node(node) {}

SceneNode2D::~SceneNode2D() = default;

void SceneNode2D::UpdatePosition(const std::shared_ptr<Camera>&) {}

SceneNode2D* SceneNode2D::Cast(GfxObject* object) { return dynamic_cast<SceneNode2D*>(object); }
const SceneNode2D* SceneNode2D::Cast(const GfxObject* object) { return dynamic_cast<const SceneNode2D*>(object); }

} // namespace orvcore
