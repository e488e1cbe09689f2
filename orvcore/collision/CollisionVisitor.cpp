#include <orvcore/collision/CollisionVisitor.h>

#include <orvcore/render/RenderContext.h>
#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

CollisionVisitor::~CollisionVisitor() = default;

void CollisionVisitor::Visit(GeneralSceneNode* node) { node->CollectRenderables(m_Context); }
void CollisionVisitor::Visit(GroupSceneNode* node) { node->Apply(*this); }
void CollisionVisitor::Visit(ShapeSceneNode* node) { node->CollectRenderables(m_Context); }
void CollisionVisitor::Visit(PrimitiveSceneNode* node) { node->CollectRenderables(m_Context); }

} // namespace orvcore
