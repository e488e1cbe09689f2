// Nodes and groups: parents, update requests, world transforms and boxes,
// clones, iteration.

#include <vector>

#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::MakeLeaf;
using orvtest::TestLeaf;
using orvtest::Translate;
using Box = AxisAlignedBox;
using Texts = std::vector<std::string>;

TEST(SceneNode, UpdateRequestsRaiseThePathAndUpdatesClearIt)
{
    auto c = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    EXPECT_EQ(c->GetUpdateVersion(), 1u); // born dirty
    auto b = orvtest::Group({c});
    auto a = orvtest::Group({b});
    a->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(c->GetUpdateVersion() + b->GetUpdateVersion() + a->GetUpdateVersion(), 0u);

    // SetTransform only stores: the node stays clean until RequstUpdate.
    c->SetTransform(Translate(5, 0, 0));
    EXPECT_EQ(c->GetUpdateVersion() + a->GetUpdateVersion(), 0u);
    EXPECT_EQ(c->GetWorldTransform(), glm::mat4(1.0f));
    const auto versions = [&] {
        return std::make_tuple(a->GetUpdateVersion(), b->GetUpdateVersion(), c->GetUpdateVersion());
    };
    c->RequstUpdate();
    c->RequstUpdate();
    EXPECT_EQ(versions(), std::make_tuple(2u, 2u, 2u));
    b->RequstUpdate(); // only upwards
    EXPECT_EQ(versions(), std::make_tuple(3u, 3u, 2u));

    a->UpdateTransform(Translate(0, 0, 2));
    EXPECT_EQ(c->GetWorldTransform(), Translate(5, 0, 2));
    EXPECT_EQ(c->GetWorldBBox(), Box(glm::vec3(5, 0, 2), glm::vec3(6, 1, 3)));
    EXPECT_EQ(versions(), std::make_tuple(0u, 0u, 0u));

    // Visibility of the path follows every ancestor.
    EXPECT_TRUE(c->IsVisiblePath());
    a->SetVisible(false);
    EXPECT_FALSE(c->IsVisiblePath());
    a->SetVisible(true);
    c->SetVisible(false);
    EXPECT_FALSE(c->IsVisiblePath());
    EXPECT_TRUE(b->IsVisiblePath());
}

TEST(SceneNode, BoxesInParentSpaceAndCachedWorldBoxesFollowEveryChange)
{
    TestLeaf leaf(Box(glm::vec3(-1.0f), glm::vec3(1.0f)));
    leaf.SetTransform(glm::scale(Translate(10, 0, 0), glm::vec3(2.0f)));
    EXPECT_EQ(leaf.ComputeBoundingBox(nullptr), Box(glm::vec3(8, -2, -2), glm::vec3(12, 2, 2)));
    const glm::mat4 parent = Translate(0, 100, 0);
    EXPECT_EQ(leaf.ComputeBoundingBox(&parent), Box(glm::vec3(8, 98, -2), glm::vec3(12, 102, 2)));
    EXPECT_EQ(leaf.GetBoundingBox(), Box(glm::vec3(-1.0f), glm::vec3(1.0f))); // untouched
    leaf.SetBoundingBox(Box(glm::vec3(0.0f), glm::vec3(3.0f)));
    EXPECT_TRUE(leaf.GetWorldBBox().isNull()); // not updated yet

    // (Clean children with new boxes or parents: CleanChildrenKeepCorrectWorldsAcrossUpdates.)
    auto child = MakeLeaf(glm::vec3(0.0f), glm::vec3(3.0f));
    auto root = orvtest::Root({child});
    root->UpdateTransform(Translate(1, 0, 0));
    child->SetTransform(Translate(0, 2, 0)); // new local matrix: the parent-space box follows
    EXPECT_EQ(child->ComputeBoundingBox(nullptr), Box(glm::vec3(0, 2, 0), glm::vec3(3, 5, 3)));
    root->UpdateTransform(Translate(1, 0, 0));
    EXPECT_EQ(root->GetWorldBBox(), Box(glm::vec3(1, 2, 0), glm::vec3(4, 5, 3)));
}

TEST(SceneNode, CloneCopiesExactlyTheBaseProperties)
{
    auto src = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto group = orvtest::Group({src});
    src->SetUserId(77);
    src->SetTransform(Translate(1, 2, 3));
    src->UpdateTransform(Translate(0, 0, 10));
    src->SetCastShadow(false);
    src->SetVisible(false);
    src->SetPickable(false);
    src->SetCulling(false);
    src->SetOverrideFaceMaterial(MaterialInstance::Create("face"));
    src->SetOverrideEdgeMaterial(MaterialInstance::Create("edge"));

    auto clone = src->Clone();
    ASSERT_TRUE(clone);
    EXPECT_NE(clone->GetObjectId(), src->GetObjectId());
    EXPECT_EQ(std::make_tuple(clone->GetUserId(), clone->GetTransform(), clone->GetWorldTransform()),
              std::make_tuple(uint64_t(77), src->GetTransform(), src->GetWorldTransform()));
    EXPECT_EQ(std::make_pair(clone->GetBoundingBox(), clone->GetWorldBBox()),
              std::make_pair(src->GetBoundingBox(), src->GetWorldBBox()));
    EXPECT_FALSE(clone->GetCastShadow() || clone->GetVisible());
    // Not copied: a clone starts pickable, cullable, parentless, dirty, without overrides.
    EXPECT_TRUE(clone->GetPickable() && clone->GetCulling() && !clone->GetParent());
    EXPECT_EQ(clone->GetUpdateVersion(), 1u);
    EXPECT_FALSE(clone->GetOverrideFaceMaterial() || clone->GetOverrideEdgeMaterial());
    EXPECT_FALSE(GeneralSceneNode().Clone()); // the general node base cannot be cloned
}

TEST(GroupSceneNode, ParentsAreSetOnceAndCyclesRefused)
{
    orvtest::LogCapture log;
    auto group = std::make_shared<GroupSceneNode>();
    auto other = std::make_shared<GroupSceneNode>();
    auto leaf = std::make_shared<TestLeaf>();
    group->AddNode(leaf);
    EXPECT_EQ(leaf->GetParent(), group.get());
    group->AddNode(leaf); // same node again: it has a parent now
    other->AddNode(leaf);
    group->AddNode(nullptr);
    EXPECT_EQ(group->GetCount(), 1u);
    EXPECT_EQ(other->GetCount(), 0u);
    EXPECT_EQ(log.warnings, (Texts{"The node already has parent!", "The node already has parent!",
                                   "SceneNode is null!"}));

    // Removal keeps the parent link (deliberately) until it is cleared.
    EXPECT_TRUE(group->RemoveNode(leaf->GetId()));
    EXPECT_FALSE(group->RemoveNode(leaf->GetId()));
    EXPECT_EQ(leaf->GetParent(), group.get());
    other->AddNode(leaf);
    EXPECT_EQ(other->GetCount(), 0u);
    leaf->SetParent(nullptr);
    other->AddNode(leaf);
    EXPECT_EQ(leaf->GetParent(), other.get());

    log.warnings.clear();
    group->AddNode(other);
    other->AddNode(group); // group is other's parent
    group->AddNode(group);
    EXPECT_EQ(group->GetCount(), 1u);
    EXPECT_EQ(group->GetParent(), nullptr);
    EXPECT_EQ(log.warnings.size(), 2u);

    // AddNode leaves both dirty counters alone.
    group->UpdateTransform(glm::mat4(1.0f));
    auto late = std::make_shared<TestLeaf>();
    group->AddNode(late);
    EXPECT_EQ(group->GetUpdateVersion(), 0u);
    EXPECT_EQ(late->GetUpdateVersion(), 1u);
}

TEST(GroupSceneNode, FindersIteratorAndApplyCoverDirectChildren)
{
    auto group = std::make_shared<GroupSceneNode>();
    EXPECT_FALSE(group->CreateIterator()->More());
    std::set<SceneNode*> added;
    for (int i = 0; i < 20; ++i) { // enough to force rehashing past 8 buckets
        auto leaf = std::make_shared<TestLeaf>();
        leaf->SetUserId(uint64_t(100 + i));
        added.insert(leaf.get());
        group->AddNode(leaf);
    }
    auto inner = std::make_shared<TestLeaf>();
    inner->SetVisible(false);
    inner->SetUserId(9);
    auto sub = orvtest::Group({inner});
    group->AddNode(sub);
    added.insert(sub.get());

    EXPECT_EQ(group->FindNode(sub->GetId()), sub);
    EXPECT_EQ(group->FindNodeByUserId(105)->GetUserId(), 105u);
    EXPECT_FALSE(group->FindNode(inner->GetId()) || group->FindNodeByUserId(9));
    EXPECT_EQ(sub->FindNodeByUserId(9), inner);

    std::set<SceneNode*> seen;
    for (auto it = group->CreateIterator(); it->More(); it->Next())
        seen.insert(it->Current().get());
    EXPECT_EQ(seen, added);
    auto it = sub->CreateIterator();
    it->Next();
    it->Next(); // next at the end stays at the end
    EXPECT_FALSE(it->More());

    // Apply reaches every child, and recursion is the visitor's choice; flags are ignored.
    orvtest::RecordingVisitor visitor;
    group->Accept(visitor);
    ASSERT_EQ(visitor.visits.size(), 1u + 21u + 1u);
    EXPECT_EQ(visitor.visits.front(), std::make_pair(std::string("group"), static_cast<SceneNode*>(group.get())));
    EXPECT_EQ(std::count(visitor.visits.begin(), visitor.visits.end(),
                         std::make_pair(std::string("general"), static_cast<SceneNode*>(inner.get()))),
              1);
}

TEST(GroupSceneNode, UpdateMergesChildBoxesInGroupCoordinates)
{
    auto a = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto b = MakeLeaf(glm::vec3(-1.0f), glm::vec3(0.0f));
    auto hidden = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    a->SetTransform(Translate(4, 0, 0));
    hidden->SetTransform(Translate(0, 0, -9));
    hidden->SetVisible(false);
    auto sub = orvtest::Group({a, b, hidden});
    sub->SetTransform(glm::scale(glm::mat4(1.0f), glm::vec3(2.0f)));
    auto root = orvtest::Group({sub});
    root->SetTransform(Translate(0, 10, 0));
    // A value set by hand does not survive the update.
    sub->SetBoundingBox(Box(glm::vec3(-100.0f), glm::vec3(100.0f)));
    root->UpdateTransform(glm::mat4(1.0f));

    // sub's own box: children in sub coordinates, the invisible one included;
    // root's box: sub's box in root coordinates (scaled by 2).
    EXPECT_EQ(sub->GetBoundingBox(), Box(glm::vec3(-1, -1, -9), glm::vec3(5, 1, 1)));
    EXPECT_EQ(root->GetBoundingBox(), Box(glm::vec3(-2, -2, -18), glm::vec3(10, 2, 2)));
    EXPECT_EQ(root->GetWorldBBox(), Box(glm::vec3(-2, 8, -18), glm::vec3(10, 12, 2)));
    EXPECT_EQ(a->GetWorldBBox(), Box(glm::vec3(8, 10, 0), glm::vec3(10, 12, 2)));
    // Children are updated whatever their own counters.
    a->SetTransform(glm::mat4(1.0f));
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(a->GetWorldBBox(), Box(glm::vec3(0, 10, 0), glm::vec3(2, 12, 2)));

    auto empty = std::make_shared<GroupSceneNode>();
    empty->UpdateTransform(glm::mat4(1.0f));
    EXPECT_TRUE(empty->GetBoundingBox().isNull() && empty->GetWorldBBox().isNull());
}

TEST(GroupSceneNode, CleanChildrenKeepCorrectWorldsAcrossUpdates)
{
    // Clean children of a group whose world did not change skip their
    // recomputation; every way of changing their inputs must still show.
    auto a = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto b = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto group = orvtest::Group({a, b});
    auto root = orvtest::Root({group});
    EXPECT_EQ(a->GetWorldBBox(), Box(glm::vec3(0.0f), glm::vec3(1.0f)));

    // A new local box without a request, the sibling dirty.
    a->SetBoundingBox(Box(glm::vec3(0.0f), glm::vec3(3.0f)));
    b->RequstUpdate();
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(a->GetWorldBBox(), Box(glm::vec3(0.0f), glm::vec3(3.0f)));
    // The group moves: clean children follow.
    group->SetTransform(Translate(5, 0, 0));
    root->UpdateTransform(glm::mat4(1.0f));
    const Box moved(glm::vec3(5, 0, 0), glm::vec3(6, 1, 1));
    EXPECT_EQ(b->GetWorldBBox(), moved);
    EXPECT_EQ(b->GetWorldTransform()[3], glm::vec4(5, 0, 0, 1));
    // A direct update with another matrix is never skipped, and the next
    // group update puts it back.
    b->UpdateTransform(Translate(0, 7, 0));
    EXPECT_EQ(b->GetWorldBBox(), Box(glm::vec3(0, 7, 0), glm::vec3(1, 8, 1)));
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(b->GetWorldBBox(), moved);

    // Moved to another group with the same world matrix as before.
    auto other = std::make_shared<GroupSceneNode>();
    other->SetTransform(Translate(0, 0, 2));
    root->AddNode(other);
    root->UpdateTransform(glm::mat4(1.0f));
    group->RemoveNode(b->GetId());
    b->SetParent(nullptr);
    other->AddNode(b);
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(b->GetWorldBBox(), Box(glm::vec3(0, 0, 2), glm::vec3(1, 1, 3)));
}

TEST(GroupSceneNode, DeepChainsAndChangingChildCountsUpdateEveryNode)
{
    // A chain of 40 groups, each moved by +1 in x and holding a unit leaf:
    // the world walk runs across the groups, and small groups keep their
    // children in the object (up to four), larger ones in an array.
    auto root = std::make_shared<GroupSceneNode>();
    std::vector<std::shared_ptr<GroupSceneNode>> chain;
    std::vector<std::shared_ptr<TestLeaf>> leaves;
    GroupSceneNode* parent = root.get();
    for (int i = 0; i < 40; ++i) {
        auto group = std::make_shared<GroupSceneNode>();
        group->SetTransform(Translate(1, 0, 0));
        leaves.push_back(MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f)));
        group->AddNode(leaves.back());
        parent->AddNode(group);
        chain.push_back(group);
        parent = group.get();
    }
    const auto leafBox = [](float x) { return Box(glm::vec3(x, 0, 0), glm::vec3(x + 1, 1, 1)); };
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(leaves[39]->GetWorldBBox(), leafBox(40));
    EXPECT_EQ(root->GetWorldBBox(), Box(glm::vec3(1, 0, 0), glm::vec3(41, 1, 1)));

    // Deep changes after an update: a group of 20 goes from 2 children to
    // 6 (past the inline four) and back to 3; every count is walked.
    std::vector<std::shared_ptr<TestLeaf>> extra;
    for (int k = 1; k <= 4; ++k) {
        extra.push_back(MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f)));
        extra.back()->SetTransform(Translate(0, float(k), 0));
        chain[19]->AddNode(extra.back());
        root->UpdateTransform(glm::mat4(1.0f));
        EXPECT_EQ(extra.back()->GetWorldBBox(), Box(glm::vec3(20, k, 0), glm::vec3(21, k + 1, 1))) << k;
        EXPECT_EQ(chain[19]->GetBoundingBox(), Box(glm::vec3(0.0f), glm::vec3(21, k + 1, 1))) << k;
        EXPECT_EQ(leaves[39]->GetWorldBBox(), leafBox(40)) << k;
    }
    for (int k = 4; k >= 2; --k)
        EXPECT_TRUE(chain[19]->RemoveNode(extra[std::size_t(k - 1)]->GetId()));
    root->UpdateTransform(Translate(0, 0, 5));
    EXPECT_EQ(chain[19]->GetBoundingBox(), Box(glm::vec3(0.0f), glm::vec3(21, 2, 1)));
    EXPECT_EQ(leaves[39]->GetWorldBBox(), Box(glm::vec3(40, 0, 5), glm::vec3(41, 1, 6)));

    // An update that starts inside the tree, then one from the root again.
    chain[29]->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(leaves[39]->GetWorldBBox(), leafBox(11));
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(leaves[39]->GetWorldBBox(), leafBox(40));
    EXPECT_EQ(leaves[0]->GetWorldBBox(), leafBox(1));
}

TEST(GroupSceneNode, CloneIsDeepWithFreshIdsAndParents)
{
    auto leaf = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    leaf->SetUserId(3);
    auto sub = orvtest::Group({leaf});
    auto root = orvtest::Group({sub});
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
    EXPECT_EQ(GroupSceneNode::Cast(root->Clone().get())->GetCount(), 1u);
    EXPECT_EQ(log.warnings, Texts{"SceneNode can not be cloned!"});
}
