#include <orvcore/render/RenderContext.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::Primitive;
using orvtest::Square;

namespace {

// Keeps every item handed in.
class RecordingContext : public RenderContext {
public:
    explicit RecordingContext(const std::shared_ptr<Camera>& camera) : RenderContext(camera) {}
    void AddItem(RenderItem& item) override { items.push_back(item); }
    std::vector<RenderItem> items;
};

} // namespace

TEST(PrimitiveSceneNode, BoxFollowsThePrimitiveOnlyWhenAsked)
{
    auto node = std::make_shared<PrimitiveSceneNode>(Square(0, 0, 0, 1));
    EXPECT_EQ(node->GetBoundingBox(), AxisAlignedBox(glm::vec3(-1, -1, 0), glm::vec3(1, 1, 0)));
    auto group = orvtest::Root({node});

    // SetPrimitive copies the new box but requests nothing: the world box waits.
    node->SetPrimitive(Square(5, 0, 0, 1));
    EXPECT_EQ(node->GetBoundingBox().getCenter(), glm::vec3(5, 0, 0));
    EXPECT_EQ(node->GetUpdateVersion(), 0u);
    EXPECT_EQ(node->GetWorldBBox().getCenter(), glm::vec3(0.0f));
    node->RequstUpdate();
    group->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(node->GetWorldBBox().getCenter(), glm::vec3(5, 0, 0));
    // An empty primitive is ignored.
    auto kept = node->GetPrimitive();
    node->SetPrimitive(nullptr);
    EXPECT_EQ(node->GetPrimitive(), kept);

    // After editing the geometry, UpdateBoundingBox copies the box and marks the path dirty.
    kept->GetGeometry()->GetPositions()->SetVec3(0, glm::vec3(5, 0, 9));
    kept->GetGeometry()->ComputeBoundingBox();
    node->UpdateBoundingBox();
    EXPECT_EQ(node->GetBoundingBox().getMaximum().z, 9.0f);
    EXPECT_EQ(group->GetUpdateVersion(), 1u);

    // Clones are deep but share the material.
    auto material = MaterialInstance::Create("m");
    auto points = std::make_shared<PrimitiveSceneNode>(orvtest::Geometry(PRIMITIVE_POINTS, {{1, 2, 3}}), material);
    points->SetUserId(4);
    auto copyHolder = points->Clone();
    auto* copy = PrimitiveSceneNode::Cast(copyHolder.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetUserId(), 4u);
    EXPECT_NE(copy->GetPrimitive()->GetGeometry(), points->GetPrimitive()->GetGeometry());
    EXPECT_EQ(copy->GetMaterial(), material);
    EXPECT_EQ(ShapeSceneNode::Cast(copyHolder.get()), nullptr);
}

TEST(PrimitiveSceneNode, CollectionHonoursDisplayFilterShapeNodeDoesNot)
{
    auto camera = orvtest::TopCamera(false);
    auto points = Primitive(PRIMITIVE_POINTS, {{0, 0, 0}});
    auto lines = Primitive(PRIMITIVE_LINE_STRIP, {{0, 0, 0}, {1, 0, 0}});
    auto faces = Square(0, 0, 0, 1);
    auto face = MaterialInstance::Create("face"), edge = MaterialInstance::Create("edge");
    std::vector<std::shared_ptr<PrimitiveSceneNode>> nodes;
    for (auto& p : {points, lines, faces}) {
        nodes.push_back(std::make_shared<PrimitiveSceneNode>(p));
        nodes.back()->SetOverrideFaceMaterial(face);
        nodes.back()->SetOverrideEdgeMaterial(edge);
        nodes.back()->UpdateTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 0, -10)));
    }
    RecordingContext context(camera);
    context.SetDisplayFilter(4);
    for (auto& n : nodes)
        n->CollectRenderables(context);
    ASSERT_EQ(context.items.size(), 1u); // only the triangles
    EXPECT_EQ(context.items[0].GetPrimitive(), faces.get());
    EXPECT_EQ(context.items[0].GetOverrideMaterial(), face.get());
    EXPECT_EQ(context.items[0].GetTransform(), nodes[2]->GetWorldTransform());
    EXPECT_FLOAT_EQ(context.items[0].GetDistance(), context.DistanceToEye(nodes[2]->GetWorldBBox()));
    context.SetDisplayFilter(3);
    context.items.clear();
    for (auto& n : nodes)
        n->CollectRenderables(context);
    ASSERT_EQ(context.items.size(), 2u);
    EXPECT_EQ(context.items[0].GetOverrideMaterial(), edge.get()); // points and lines take the edge override
    EXPECT_EQ(context.items[1].GetOverrideMaterial(), edge.get());

    // The same three primitives in one shape node all come through a filter of 4.
    auto shape = std::make_shared<ShapeSceneNode>(std::make_shared<CompoundShape>(
        std::vector<std::shared_ptr<PrimitiveShape>>{points, lines, faces}));
    shape->SetOverrideFaceMaterial(face);
    shape->UpdateTransform(glm::mat4(1.0f));
    context.SetDisplayFilter(4);
    context.items.clear();
    shape->CollectRenderables(context);
    ASSERT_EQ(context.items.size(), 3u);
    EXPECT_EQ(context.items[0].GetPrimitive(), points.get());
    EXPECT_EQ(context.items[0].GetOverrideMaterial(), nullptr); // no edge override set
    EXPECT_EQ(context.items[2].GetOverrideMaterial(), face.get());
    EXPECT_EQ(context.items[0].GetDistance(), context.items[2].GetDistance()); // one depth per node
}

TEST(RenderContext, DepthKeyGrowsAwayFromTheEye)
{
    auto camera = orvtest::TopCamera(false);
    RecordingContext context(camera);
    EXPECT_LT(context.DistanceToEye(AxisAlignedBox(glm::vec3(-1, -1, 40), glm::vec3(1, 1, 42))),
              context.DistanceToEye(AxisAlignedBox(glm::vec3(-1, -1, -40), glm::vec3(1, 1, -38))));
    EXPECT_EQ(context.GetDisplayFilter(), 7u);
    EXPECT_EQ(context.GetMVP(), camera->GetViewProjectionMatrix());
    RecordingContext blind(nullptr); // no camera: identity MVP, sees everything
    EXPECT_EQ(blind.GetMVP(), glm::mat4(1.0f));
    EXPECT_TRUE(blind.IsVisible(AxisAlignedBox(glm::vec3(1e6f), glm::vec3(2e6f))));
}
