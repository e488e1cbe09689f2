#include <orvcore/scene/GroupSceneNode.h>

#include <set>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "LogCapture.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::MakeLeaf;
using orvtest::TestLeaf;

TEST(GroupSceneNode, AddSetsParentAndRefusesSecondParent)
{
    orvtest::LogCapture log;
    auto group = std::make_shared<GroupSceneNode>();
    auto other = std::make_shared<GroupSceneNode>();
    auto leaf = std::make_shared<TestLeaf>();

    group->AddNode(leaf);
    EXPECT_EQ(leaf->GetParent(), group.get());
    EXPECT_EQ(group->GetCount(), 1u);
    EXPECT_TRUE(log.warnings.empty());

    group->AddNode(leaf); // same node again: it has a parent now
    EXPECT_EQ(group->GetCount(), 1u);
    other->AddNode(leaf);
    EXPECT_EQ(other->GetCount(), 0u);
    EXPECT_EQ(leaf->GetParent(), group.get());

    group->AddNode(nullptr);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"The node already has parent!",
                                                      "The node already has parent!", "SceneNode is null!"}));
    // AddNode leaves both dirty counters alone.
    group->UpdateTransform(glm::mat4(1.0f));
    auto late = std::make_shared<TestLeaf>();
    group->AddNode(late);
    EXPECT_EQ(group->GetUpdateVersion(), 0u);
    EXPECT_EQ(late->GetUpdateVersion(), 1u);
}

TEST(GroupSceneNode, RemoveKeepsParentLinkUntilCleared)
{
    orvtest::LogCapture log;
    auto a = std::make_shared<GroupSceneNode>();
    auto b = std::make_shared<GroupSceneNode>();
    auto leaf = std::make_shared<TestLeaf>();
    a->AddNode(leaf);

    EXPECT_TRUE(a->RemoveNode(leaf->GetId()));
    EXPECT_FALSE(a->RemoveNode(leaf->GetId()));
    EXPECT_EQ(leaf->GetParent(), a.get()); // deliberately not reset

    b->AddNode(leaf);
    EXPECT_EQ(b->GetCount(), 0u);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"The node already has parent!"});

    leaf->SetParent(nullptr);
    b->AddNode(leaf);
    EXPECT_EQ(b->GetCount(), 1u);
    EXPECT_EQ(leaf->GetParent(), b.get());
}

TEST(GroupSceneNode, RefusesCycles)
{
    orvtest::LogCapture log;
    auto a = std::make_shared<GroupSceneNode>();
    auto b = std::make_shared<GroupSceneNode>();
    a->AddNode(b);
    b->AddNode(a); // a is b's parent
    a->AddNode(a);
    EXPECT_EQ(b->GetCount(), 0u);
    EXPECT_EQ(a->GetCount(), 1u);
    EXPECT_EQ(a->GetParent(), nullptr);
    EXPECT_EQ(log.warnings.size(), 2u);
}

TEST(GroupSceneNode, FindersLookAtDirectChildrenOnly)
{
    auto root = std::make_shared<GroupSceneNode>();
    auto sub = std::make_shared<GroupSceneNode>();
    auto leaf = std::make_shared<TestLeaf>();
    auto deep = std::make_shared<TestLeaf>();
    leaf->SetUserId(5);
    deep->SetUserId(9);
    root->AddNode(sub);
    root->AddNode(leaf);
    sub->AddNode(deep);

    EXPECT_EQ(root->FindNode(leaf->GetId()), leaf);
    EXPECT_FALSE(root->FindNode(deep->GetId()));
    EXPECT_EQ(root->FindNodeByUserId(5), leaf);
    EXPECT_FALSE(root->FindNodeByUserId(9));
    EXPECT_EQ(sub->FindNodeByUserId(9), deep);
    EXPECT_EQ(root->GetChildren().size(), 2u);
}

TEST(GroupSceneNode, UpdateMergesChildBoxesInGroupCoordinates)
{
    auto root = std::make_shared<GroupSceneNode>();
    auto sub = std::make_shared<GroupSceneNode>();
    auto a = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto b = MakeLeaf(glm::vec3(-1.0f), glm::vec3(0.0f));
    auto hidden = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    a->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(4, 0, 0)));
    hidden->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 0, -9)));
    hidden->SetVisible(false);
    sub->SetTransform(glm::scale(glm::mat4(1.0f), glm::vec3(2.0f)));
    sub->AddNode(a);
    sub->AddNode(b);
    sub->AddNode(hidden);
    root->AddNode(sub);
    root->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 10, 0)));

    // A value set by hand does not survive the update.
    sub->SetBoundingBox(AxisAlignedBox(glm::vec3(-100.0f), glm::vec3(100.0f)));
    root->UpdateTransform(glm::mat4(1.0f));

    // sub's own box: children in sub coordinates, the invisible one included.
    EXPECT_EQ(sub->GetBoundingBox(), AxisAlignedBox(glm::vec3(-1, -1, -9), glm::vec3(5, 1, 1)));
    // root's box: sub's box in root coordinates (scaled by 2).
    EXPECT_EQ(root->GetBoundingBox(), AxisAlignedBox(glm::vec3(-2, -2, -18), glm::vec3(10, 2, 2)));
    EXPECT_EQ(root->GetWorldBBox(), AxisAlignedBox(glm::vec3(-2, 8, -18), glm::vec3(10, 12, 2)));
    EXPECT_EQ(a->GetWorldBBox(), AxisAlignedBox(glm::vec3(8, 10, 0), glm::vec3(10, 12, 2)));

    // Children are updated whatever their own counters.
    a->SetTransform(glm::mat4(1.0f));
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(a->GetWorldBBox(), AxisAlignedBox(glm::vec3(0, 10, 0), glm::vec3(2, 12, 2)));

    auto empty = std::make_shared<GroupSceneNode>();
    empty->UpdateTransform(glm::mat4(1.0f));
    EXPECT_TRUE(empty->GetBoundingBox().isNull());
    EXPECT_TRUE(empty->GetWorldBBox().isNull());
}

TEST(GroupSceneNode, CleanChildrenKeepCorrectWorldsAcrossUpdates)
{
    // Clean children of a group whose world did not change skip their
    // recomputation; every way of changing their inputs must still show.
    auto root = std::make_shared<GroupSceneNode>();
    auto group = std::make_shared<GroupSceneNode>();
    auto a = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto b = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    group->AddNode(a);
    group->AddNode(b);
    root->AddNode(group);
    root->UpdateTransform(glm::mat4(1.0f));
    const AxisAlignedBox unit(glm::vec3(0.0f), glm::vec3(1.0f));
    EXPECT_EQ(a->GetWorldBBox(), unit);

    // A new local box without a request, the sibling dirty.
    a->SetBoundingBox(AxisAlignedBox(glm::vec3(0.0f), glm::vec3(3.0f)));
    b->RequstUpdate();
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(a->GetWorldBBox(), AxisAlignedBox(glm::vec3(0.0f), glm::vec3(3.0f)));

    // The group moves: clean children follow.
    group->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(5, 0, 0)));
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(b->GetWorldBBox(), AxisAlignedBox(glm::vec3(5, 0, 0), glm::vec3(6, 1, 1)));
    EXPECT_EQ(b->GetWorldTransform()[3], glm::vec4(5, 0, 0, 1));

    // A direct update with another matrix is never skipped...
    b->UpdateTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 7, 0)));
    EXPECT_EQ(b->GetWorldBBox(), AxisAlignedBox(glm::vec3(0, 7, 0), glm::vec3(1, 8, 1)));
    // ...and the next group update puts it back.
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(b->GetWorldBBox(), AxisAlignedBox(glm::vec3(5, 0, 0), glm::vec3(6, 1, 1)));

    // Moved to another group with the same world matrix as before.
    auto other = std::make_shared<GroupSceneNode>();
    other->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 0, 2)));
    root->AddNode(other);
    root->UpdateTransform(glm::mat4(1.0f));
    group->RemoveNode(b->GetId());
    b->SetParent(nullptr);
    other->AddNode(b);
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(b->GetWorldBBox(), AxisAlignedBox(glm::vec3(0, 0, 2), glm::vec3(1, 1, 3)));
}

TEST(GroupSceneNode, CloneIsDeepWithFreshIdsAndParents)
{
    auto root = std::make_shared<GroupSceneNode>();
    auto sub = std::make_shared<GroupSceneNode>();
    auto leaf = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    leaf->SetUserId(3);
    sub->AddNode(leaf);
    root->AddNode(sub);
    root->SetUserId(1);

    auto copyHolder = root->Clone();
    auto copy = GroupSceneNode::Cast(copyHolder.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetUserId(), 1u);
    ASSERT_EQ(copy->GetCount(), 1u);
    auto subCopy = copy->GetChildren().begin()->second;
    EXPECT_NE(subCopy, sub);
    EXPECT_EQ(subCopy->GetParent(), copy);
    EXPECT_EQ(copy->GetChildren().begin()->first, subCopy->GetId()); // keyed by the new id
    auto leafCopy = GroupSceneNode::Cast(subCopy.get())->FindNodeByUserId(3);
    ASSERT_TRUE(leafCopy);
    EXPECT_NE(leafCopy, leaf);
    EXPECT_EQ(leafCopy->GetParent(), subCopy.get());
    EXPECT_EQ(leaf->GetParent(), sub.get()); // the source is untouched

    // A child that cannot be cloned is left out with a warning.
    orvtest::LogCapture log;
    root->AddNode(std::make_shared<GeneralSceneNode>());
    auto partialHolder = root->Clone();
    auto partial = GroupSceneNode::Cast(partialHolder.get());
    EXPECT_EQ(partial->GetCount(), 1u);
    EXPECT_EQ(log.warnings, std::vector<std::string>{"SceneNode can not be cloned!"});
}

TEST(GroupSceneNode, IteratorAndApplyCoverEveryChild)
{
    auto group = std::make_shared<GroupSceneNode>();
    EXPECT_FALSE(group->CreateIterator()->More());

    std::set<SceneNode*> added;
    for (int i = 0; i < 20; ++i) { // enough to force rehashing past 8 buckets
        auto leaf = std::make_shared<TestLeaf>();
        added.insert(leaf.get());
        group->AddNode(leaf);
    }
    auto sub = std::make_shared<GroupSceneNode>();
    auto inner = std::make_shared<TestLeaf>();
    inner->SetVisible(false);
    sub->AddNode(inner);
    group->AddNode(sub);
    added.insert(sub.get());

    std::set<SceneNode*> seen;
    for (auto it = group->CreateIterator(); it->More(); it->Next())
        seen.insert(it->Current().get());
    EXPECT_EQ(seen, added);
    EXPECT_LE(group->GetChildren().load_factor(), 1.0f);

    // Apply reaches every child, and recursion is the visitor's choice; flags are ignored.
    orvtest::RecordingVisitor visitor;
    group->Accept(visitor);
    EXPECT_EQ(visitor.visits.size(), 1u + 21u + 1u);
    EXPECT_EQ(visitor.visits.front().first, "group");
    EXPECT_EQ(visitor.visits.front().second, group.get());
    bool sawInner = false;
    for (auto& v : visitor.visits)
        sawInner = sawInner || v.second == inner.get();
    EXPECT_TRUE(sawInner);

    // Next at the end stays at the end.
    auto it = sub->CreateIterator();
    it->Next();
    it->Next();
    EXPECT_FALSE(it->More());
}
