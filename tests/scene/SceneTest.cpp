#include <orvcore/pick/SelectionManager.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/SceneVisitor.h>
#include <orvcore/scene/ShapeSceneNode.h>
#include <orvcore/widget/PlanarGridWidget.h>

#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"
#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::MakeLeaf;
using orvtest::Primitive;
using orvtest::Square;
using orvtest::Translate;
using Box = AxisAlignedBox;

TEST(Scene, AddPlacesNodesOnceAndRefusesBadOnes)
{
    orvtest::LogCapture log;
    Scene scene;
    scene.SetWorldTransform(Translate(0, 0, 10));
    auto node = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    node->SetTransform(Translate(5, 0, 0));
    const uint64_t id = scene.AddNode(node);
    EXPECT_EQ(id, node->GetId());
    EXPECT_EQ(node->GetWorldTransform(), Translate(5, 0, 10)); // placed at once
    EXPECT_EQ(scene.AddNode(node), id);                        // twice: same id, stored once
    EXPECT_EQ(scene.GetNodes().size(), 1u);
    EXPECT_EQ(scene.GetWorldBBox(), Box(glm::vec3(5, 0, 10), glm::vec3(6, 1, 11)));
    EXPECT_EQ(scene.FindNode(id), node);
    EXPECT_FALSE(scene.FindNode(12345678));

    EXPECT_EQ(scene.AddNode(nullptr), 0u);
    auto child = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto group = orvtest::Group({child});
    EXPECT_EQ(scene.AddNode(child), 0u);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Node is null!", "Parent should be null!"}));
}

TEST(Scene, UpdateWorldTouchesOnlyDirtyNodes)
{
    Scene scene;
    auto a = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto b = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    scene.AddNode(a);
    scene.AddNode(b);
    b->SetTransform(Translate(10, 0, 0));
    // Removal keeps the box until the next update.
    EXPECT_TRUE(scene.RemoveNode(b->GetId()));
    EXPECT_FALSE(scene.RemoveNode(b->GetId()));
    EXPECT_EQ(scene.GetWorldBBox().getMaximum().x, 1.0f);
    scene.AddNode(b);
    scene.UpdateWorld();

    // Moving the scene reaches only nodes that were marked.
    scene.SetWorldTransform(Translate(0, 0, 5));
    a->RequstUpdate();
    scene.UpdateWorld();
    EXPECT_EQ(a->GetWorldTransform(), Translate(0, 0, 5));
    EXPECT_EQ(b->GetWorldTransform(), glm::mat4(1.0f)); // clean: not recomputed
    EXPECT_EQ(scene.GetWorldBBox(), Box(glm::vec3(0, 0, 0), glm::vec3(1, 1, 6)));
    scene.Clear();
    EXPECT_TRUE(scene.GetWorldBBox().isNull());
    EXPECT_FALSE(scene.CreateIterator()->More());
}

namespace {
// Every node a scene walk reaches, in order.
struct OrderVisitor : SceneVisitor {
    void Visit(GeneralSceneNode* n) override { nodes.push_back(n); }
    void Visit(GroupSceneNode* n) override { nodes.push_back(n); }
    void Visit(ShapeSceneNode* n) override { nodes.push_back(n); }
    void Visit(PrimitiveSceneNode* n) override { nodes.push_back(n); }
    std::vector<SceneNode*> nodes;
};

std::vector<SceneNode*> TableOrder(const Scene& scene)
{
    std::vector<SceneNode*> order;
    for (const auto& entry : scene.GetNodes())
        order.push_back(entry.second.get());
    return order;
}
} // namespace

TEST(Scene, WalksFollowTheTableThroughAddsRemovalsAndClear)
{
    // Enough nodes of mixed kinds (some without shape or primitive) for
    // the walk's look-ahead to reach every stage.
    Scene scene;
    std::vector<std::shared_ptr<SceneNode>> nodes;
    for (int i = 0; i < 40; ++i) {
        std::shared_ptr<SceneNode> node;
        if (i % 4 == 0)
            node = std::make_shared<ShapeSceneNode>(nullptr);
        else if (i % 4 == 1)
            node = std::make_shared<PrimitiveSceneNode>(std::shared_ptr<PrimitiveShape>());
        else if (i % 4 == 2)
            node = orvtest::Group({MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f))});
        else
            node = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
        node->SetTransform(Translate(float(i), 0, 0));
        node->RequstUpdate();
        scene.AddNode(node);
        nodes.push_back(node);
    }
    OrderVisitor all;
    scene.Accept(all);
    EXPECT_EQ(all.nodes, TableOrder(scene));
    EXPECT_EQ(all.nodes.size(), 40u);

    // Removed nodes (freed here) are not walked; the box forgets them at
    // the next update.
    for (int i = 30; i < 40; ++i) {
        EXPECT_TRUE(scene.RemoveNode(nodes[i]->GetId()));
        nodes[i].reset();
    }
    OrderVisitor fewer;
    scene.Accept(fewer);
    EXPECT_EQ(fewer.nodes, TableOrder(scene));
    EXPECT_EQ(fewer.nodes.size(), 30u);
    scene.UpdateWorld();
    EXPECT_EQ(scene.GetWorldBBox().getMaximum().x, 28.0f); // the last leaf left, at 27, is 1 wide
    auto late = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    late->SetTransform(Translate(100, 0, 0));
    late->RequstUpdate();
    scene.AddNode(late);
    OrderVisitor more;
    scene.Accept(more);
    EXPECT_EQ(more.nodes, TableOrder(scene));
    scene.UpdateWorld();
    EXPECT_EQ(scene.GetWorldBBox().getMaximum().x, 101.0f);
    scene.Clear();
    OrderVisitor none;
    scene.Accept(none);
    EXPECT_TRUE(none.nodes.empty());
}

TEST(SceneManager, DefaultsAndBoxesThatFollowScenesAndTheVisibleGrid)
{
    SceneManager manager(640, 480);
    ASSERT_EQ(manager.GetScenes().size(), 2u);
    EXPECT_EQ(manager.GetCamera()->GetProjectionType(), uint32_t(Camera::PROJECTION_ORTHOGRAPHIC));

    manager.GetScene()->AddNode(MakeLeaf(glm::vec3(0.0f), glm::vec3(10.0f)));
    manager.GetTempScene()->AddNode(MakeLeaf(glm::vec3(-5.0f), glm::vec3(0.0f)));
    manager.UpdateWorld(true);
    EXPECT_EQ(manager.GetSceneBBox(), Box(glm::vec3(-5.0f), glm::vec3(10.0f)));
    // The grid (10 x 10 cells of 50) widens the view box only.
    EXPECT_EQ(manager.GetWorldBBox().getMinimum().x, -250.0f);
    manager.GetCoodinateGrid()->SetVisible(false);
    manager.UpdateWorld(false);
    EXPECT_EQ(manager.GetWorldBBox(), manager.GetSceneBBox());
}

TEST(SceneManager, AddFindRemoveAndClearScenes)
{
    orvtest::LogCapture log;
    SceneManager manager(100, 100);
    auto keep = manager.GetTempScene()->AddNode(MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f)));
    manager.GetScene()->AddNode(MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f)));
    std::vector<std::shared_ptr<Scene>> extra;
    for (int i = 0; i < 3; ++i) {
        extra.push_back(std::make_shared<Scene>());
        EXPECT_EQ(manager.AddScene(extra.back()), extra.back()->GetObjectId());
    }
    EXPECT_EQ(manager.AddScene(nullptr), 0u);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"scene is null!"});
    EXPECT_EQ(manager.FindScene(extra[1]->GetObjectId()), extra[1]);
    EXPECT_TRUE(manager.RemoveScene(extra[1]->GetObjectId()));
    EXPECT_FALSE(manager.RemoveScene(extra[1]->GetObjectId()));
    EXPECT_EQ(manager.GetScenes()[3], extra[2]); // order kept

    manager.Clear();
    ASSERT_EQ(manager.GetScenes().size(), 2u);
    EXPECT_TRUE(manager.GetScene()->GetNodes().empty());
    EXPECT_TRUE(manager.GetTempScene()->FindNode(keep)); // the temporary scene keeps its nodes
    EXPECT_TRUE(manager.GetSceneBBox().isNull());
}

TEST(SceneManager, DisplayFiltersAndSelectionForwarding)
{
    SceneManager manager(100, 100);
    manager.ClearDisplayFilter(SHAPE_FILTER_VERTEX);
    EXPECT_EQ(manager.GetDisplayFilter(), 6u);
    manager.AddDisplayFilter(SHAPE_FILTER_SHAPE);
    EXPECT_EQ(manager.GetDisplayFilter(), 22u);
    manager.ResetDisplayFilters();
    EXPECT_EQ(manager.GetDisplayFilter(), 7u);

    auto node = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    manager.GetScene()->AddNode(node);
    EXPECT_TRUE(manager.Select(node->GetObjectId()));
    EXPECT_TRUE(manager.SelectSubShape(node->GetObjectId(), SHAPE_FILTER_EDGE, 2));
    EXPECT_FALSE(manager.Select(ElementId(3)));
    EXPECT_EQ(manager.GetSelection()->GetSelection()->GetCount(), 2u);
}

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
    orvtest::RecordingContext context(camera);
    const auto collect = [&](uint32_t filter, const auto& from) {
        context.SetDisplayFilter(filter);
        context.items.clear();
        for (auto& n : from)
            n->CollectRenderables(context);
    };
    collect(4, nodes);
    ASSERT_EQ(context.items.size(), 1u); // only the triangles
    EXPECT_EQ(context.items[0].GetPrimitive(), faces.get());
    EXPECT_EQ(context.items[0].GetOverrideMaterial(), face.get());
    EXPECT_EQ(context.items[0].GetTransform(), nodes[2]->GetWorldTransform());
    EXPECT_FLOAT_EQ(context.items[0].GetDistance(), context.DistanceToEye(nodes[2]->GetWorldBBox()));
    collect(3, nodes);
    ASSERT_EQ(context.items.size(), 2u);
    EXPECT_EQ(context.items[0].GetOverrideMaterial(), edge.get()); // points and lines take the edge override
    EXPECT_EQ(context.items[1].GetOverrideMaterial(), edge.get());

    // The same three primitives in one shape node all come through a filter of 4.
    auto shape = std::make_shared<ShapeSceneNode>(std::make_shared<CompoundShape>(
        std::vector<std::shared_ptr<PrimitiveShape>>{points, lines, faces}));
    shape->SetOverrideFaceMaterial(face);
    shape->UpdateTransform(glm::mat4(1.0f));
    collect(4, std::vector<std::shared_ptr<ShapeSceneNode>>{shape});
    ASSERT_EQ(context.items.size(), 3u);
    EXPECT_EQ(context.items[0].GetPrimitive(), points.get());
    EXPECT_EQ(context.items[0].GetOverrideMaterial(), nullptr); // no edge override set
    EXPECT_EQ(context.items[2].GetOverrideMaterial(), face.get());
    EXPECT_EQ(context.items[0].GetDistance(), context.items[2].GetDistance()); // one depth per node
}

TEST(RenderContext, DepthKeyGrowsAwayFromTheEye)
{
    auto camera = orvtest::TopCamera(false);
    orvtest::RecordingContext context(camera);
    EXPECT_LT(context.DistanceToEye(AxisAlignedBox(glm::vec3(-1, -1, 40), glm::vec3(1, 1, 42))),
              context.DistanceToEye(AxisAlignedBox(glm::vec3(-1, -1, -40), glm::vec3(1, 1, -38))));
    EXPECT_EQ(context.GetMVP(), camera->GetViewProjectionMatrix());
    orvtest::RecordingContext blind(nullptr); // no camera: identity MVP, sees everything
    EXPECT_EQ(blind.GetMVP(), glm::mat4(1.0f));
    EXPECT_TRUE(blind.IsVisible(AxisAlignedBox(glm::vec3(1e6f), glm::vec3(2e6f))));
}
