// The scene walk skips the frustum test below a group that the frustum
// wholly contains. That shortcut must collect exactly what testing every
// node on its own would: random trees of visible and hidden, culled and
// unculled nodes, some with null boxes, some far outside the view.
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <glm/gtc/matrix_transform.hpp>

#include <orvcore/render/ModelRenderContext.h>
#include <orvcore/render/PrepareSceneVisitor.h>
#include <orvcore/render/RenderQuene.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

#include "ShapeFactory.h"

namespace orvcore {
namespace {

// What the walk collects when every node is tested on its own.
void CollectPerNode(SceneNode& node, const RenderContext& context, std::vector<const PrimitiveShape*>& out)
{
    if (!node.GetVisible() || (node.GetCulling() && !context.IsVisible(node.GetWorldBBox())))
        return;
    if (auto group = GroupSceneNode::Cast(&node)) {
        for (const auto& entry : group->GetChildren())
            CollectPerNode(*entry.second, context, out);
    } else if (auto primitive = PrimitiveSceneNode::Cast(&node)) {
        out.push_back(primitive->GetPrimitive().get());
    }
}

std::shared_ptr<SceneNode> RandomTree(std::mt19937& random, int depth)
{
    std::uniform_int_distribution<int> pick(0, 9);
    std::uniform_real_distribution<float> place(-40.0f, 40.0f);
    const int kind = pick(random);
    std::shared_ptr<SceneNode> node;
    if (depth > 0 && kind < 4) {
        auto group = std::make_shared<GroupSceneNode>();
        const int children = std::uniform_int_distribution<int>(0, 3)(random);
        for (int i = 0; i < children; ++i)
            group->AddNode(RandomTree(random, depth - 1));
        node = group;
    } else {
        // Mostly in view; one in ten far outside it.
        const float far = kind == 9 ? 5000.0f : 0.0f;
        auto leaf = std::make_shared<PrimitiveSceneNode>(orvtest::Square(place(random) + far, place(random), 0, 1));
        if (kind == 8)
            leaf->SetBoundingBox(AxisAlignedBox()); // a node with nothing to bound
        node = leaf;
    }
    node->SetVisible(pick(random) != 0);
    node->SetCulling(pick(random) != 0);
    return node;
}

TEST(PrepareSceneVisitor, ContainedGroupsCollectWhatPerNodeTestsWould)
{
    auto camera = std::make_shared<Camera>(400, 400, glm::vec3(0, 0, 300), glm::vec3(0.0f), glm::vec3(0, 1, 0));
    std::mt19937 random(11);
    for (int trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        auto root = std::make_shared<GroupSceneNode>();
        for (int i = 0; i < 4; ++i)
            root->AddNode(RandomTree(random, 4));
        root->UpdateTransform(glm::mat4(1.0f));

        RenderQuene queue;
        ModelRenderContext context(camera, &queue);
        std::vector<const PrimitiveShape*> expected;
        CollectPerNode(*root, context, expected);
        PrepareSceneVisitor visitor(context);
        root->Accept(visitor);
        const RenderList& faces = queue.GetRenderList(EnumRenderListIndex::Face);
        std::vector<const PrimitiveShape*> got;
        for (std::size_t i = 0; i < faces.GetItemCount(); ++i)
            got.push_back(faces.GetAt(i).GetPrimitive());
        EXPECT_EQ(got, expected);
    }
}

} // namespace
} // namespace orvcore
