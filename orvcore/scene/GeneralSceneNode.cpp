#include <orvcore/scene/GeneralSceneNode.h>

#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

void GeneralSceneNode::Accept(SceneVisitor& visitor) { visitor.Visit(this); }
void GeneralSceneNode::CollectRenderables(RenderContext&) const {}
bool GeneralSceneNode::HitTest(FrustumCaster&) { return false; }
bool GeneralSceneNode::HitTest(Raycaster&) { return false; }
bool GeneralSceneNode::IsDocumentNode() const { return false; }
void GeneralSceneNode::CollectSelection(RenderContext&, const PickedItem&) const {}

GeneralSceneNode* GeneralSceneNode::Cast(SceneNode* node) { return dynamic_cast<GeneralSceneNode*>(node); }
const GeneralSceneNode* GeneralSceneNode::Cast(const SceneNode* node)
{
    return dynamic_cast<const GeneralSceneNode*>(node);
}

} // namespace orvcore
