#include <orvcore/pick/SelectionManager.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/PlanarGridWidget.h>

#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::MakeLeaf;
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
    auto group = std::make_shared<GroupSceneNode>();
    auto child = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    group->AddNode(child);
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

TEST(SceneManager, DefaultsAndBoxesThatFollowScenesAndTheVisibleGrid)
{
    SceneManager manager(640, 480);
    ASSERT_EQ(manager.GetScenes().size(), 2u);
    EXPECT_NE(manager.GetScene(), manager.GetTempScene());
    EXPECT_EQ(manager.GetCamera()->GetProjectionType(), uint32_t(Camera::PROJECTION_ORTHOGRAPHIC));
    EXPECT_EQ(manager.GetLightManager()->GetLights().size(), 1u);

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
