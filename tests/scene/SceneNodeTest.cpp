#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "TestNodes.h"

using namespace orvcore;
using orvtest::MakeLeaf;
using orvtest::TestLeaf;

namespace {
glm::mat4 Translate(float x, float y, float z) { return glm::translate(glm::mat4(1.0f), glm::vec3(x, y, z)); }
} // namespace

TEST(SceneNode, NewNodeState)
{
    TestLeaf node;
    EXPECT_EQ(node.GetTransform(), glm::mat4(1.0f));
    EXPECT_EQ(node.GetWorldTransform(), glm::mat4(1.0f));
    EXPECT_TRUE(node.GetBoundingBox().isNull());
    EXPECT_TRUE(node.GetCastShadow());
    EXPECT_TRUE(node.GetPickable());
    EXPECT_TRUE(node.GetCulling());
    EXPECT_TRUE(node.GetVisible());
    EXPECT_EQ(node.GetUpdateVersion(), 1u);
    EXPECT_EQ(node.GetParent(), nullptr);
    EXPECT_EQ(node.GetUserId(), 0u);
    EXPECT_EQ(node.GetId(), uint64_t(node.GetObjectId()));
}

TEST(SceneNode, SetTransformNeedsRequstUpdateToReachTheWorld)
{
    auto root = std::make_shared<GroupSceneNode>();
    auto leaf = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    root->AddNode(leaf);
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(leaf->GetUpdateVersion(), 0u);
    EXPECT_EQ(root->GetUpdateVersion(), 0u);

    // SetTransform only stores: the node stays clean until RequstUpdate.
    leaf->SetTransform(Translate(5, 0, 0));
    EXPECT_EQ(leaf->GetUpdateVersion(), 0u);
    EXPECT_EQ(root->GetUpdateVersion(), 0u);
    EXPECT_EQ(leaf->GetWorldTransform(), glm::mat4(1.0f));

    leaf->RequstUpdate();
    EXPECT_EQ(leaf->GetUpdateVersion(), 1u);
    EXPECT_EQ(root->GetUpdateVersion(), 1u);
    root->UpdateTransform(Translate(0, 0, 2));
    EXPECT_EQ(leaf->GetWorldTransform(), Translate(5, 0, 2));
    EXPECT_EQ(leaf->GetWorldBBox(), AxisAlignedBox(glm::vec3(5, 0, 2), glm::vec3(6, 1, 3)));
    EXPECT_EQ(leaf->GetUpdateVersion(), 0u);
}

TEST(SceneNode, RequstUpdateRaisesEveryAncestorByOne)
{
    auto a = std::make_shared<GroupSceneNode>();
    auto b = std::make_shared<GroupSceneNode>();
    auto c = std::make_shared<TestLeaf>();
    a->AddNode(b);
    b->AddNode(c);
    a->UpdateTransform(glm::mat4(1.0f));
    c->RequstUpdate();
    c->RequstUpdate();
    EXPECT_EQ(c->GetUpdateVersion(), 2u);
    EXPECT_EQ(b->GetUpdateVersion(), 2u);
    EXPECT_EQ(a->GetUpdateVersion(), 2u);
    b->RequstUpdate(); // only upwards
    EXPECT_EQ(c->GetUpdateVersion(), 2u);
    EXPECT_EQ(b->GetUpdateVersion(), 3u);
    EXPECT_EQ(a->GetUpdateVersion(), 3u);
    c->SetUpdateVersion(0);
    EXPECT_EQ(c->GetUpdateVersion(), 0u);
}

TEST(SceneNode, VisiblePathFollowsEveryAncestor)
{
    auto a = std::make_shared<GroupSceneNode>();
    auto b = std::make_shared<GroupSceneNode>();
    auto c = std::make_shared<TestLeaf>();
    a->AddNode(b);
    b->AddNode(c);
    EXPECT_TRUE(c->IsVisiblePath());
    a->SetVisible(false);
    EXPECT_TRUE(c->GetVisible());
    EXPECT_FALSE(c->IsVisiblePath());
    a->SetVisible(true);
    c->SetVisible(false);
    EXPECT_FALSE(c->IsVisiblePath());
    EXPECT_TRUE(b->IsVisiblePath());
}

TEST(SceneNode, ComputeBoundingBoxUsesTransformAndOptionalMatrix)
{
    TestLeaf leaf(AxisAlignedBox(glm::vec3(-1.0f), glm::vec3(1.0f)));
    leaf.SetTransform(glm::scale(Translate(10, 0, 0), glm::vec3(2.0f)));
    EXPECT_EQ(leaf.ComputeBoundingBox(nullptr), AxisAlignedBox(glm::vec3(8, -2, -2), glm::vec3(12, 2, 2)));
    const glm::mat4 parent = Translate(0, 100, 0);
    EXPECT_EQ(leaf.ComputeBoundingBox(&parent), AxisAlignedBox(glm::vec3(8, 98, -2), glm::vec3(12, 102, 2)));
    // The local box itself is untouched, and setting it does not move the world box.
    EXPECT_EQ(leaf.GetBoundingBox(), AxisAlignedBox(glm::vec3(-1.0f), glm::vec3(1.0f)));
    leaf.SetBoundingBox(AxisAlignedBox(glm::vec3(0.0f), glm::vec3(3.0f)));
    EXPECT_TRUE(leaf.GetWorldBBox().isNull());
}

TEST(SceneNode, CloneCopiesExactlyTheBaseProperties)
{
    auto src = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    src->SetUserId(77);
    src->SetTransform(Translate(1, 2, 3));
    src->UpdateTransform(Translate(0, 0, 10));
    src->SetCastShadow(false);
    src->SetVisible(false);
    src->SetPickable(false);
    src->SetCulling(false);
    src->SetOverrideFaceMaterial(MaterialInstance::Create("face"));
    src->SetOverrideEdgeMaterial(MaterialInstance::Create("edge"));
    auto group = std::make_shared<GroupSceneNode>();
    group->AddNode(src);

    auto clone = src->Clone();
    ASSERT_TRUE(clone);
    EXPECT_NE(clone->GetObjectId(), src->GetObjectId());
    EXPECT_EQ(clone->GetUserId(), 77u);
    EXPECT_EQ(clone->GetTransform(), src->GetTransform());
    EXPECT_EQ(clone->GetWorldTransform(), src->GetWorldTransform());
    EXPECT_EQ(clone->GetBoundingBox(), src->GetBoundingBox());
    EXPECT_EQ(clone->GetWorldBBox(), src->GetWorldBBox());
    EXPECT_FALSE(clone->GetCastShadow());
    EXPECT_FALSE(clone->GetVisible());
    // Not copied: a clone starts pickable, cullable, parentless, dirty, without overrides.
    EXPECT_TRUE(clone->GetPickable());
    EXPECT_TRUE(clone->GetCulling());
    EXPECT_EQ(clone->GetParent(), nullptr);
    EXPECT_EQ(clone->GetUpdateVersion(), 1u);
    EXPECT_FALSE(clone->GetOverrideFaceMaterial());
    EXPECT_FALSE(clone->GetOverrideEdgeMaterial());

    // The general node base itself cannot be cloned.
    EXPECT_FALSE(GeneralSceneNode().Clone());
}

TEST(SceneNode, CastsAreCheckedAndVisitorsDispatchOnce)
{
    GroupSceneNode group;
    TestLeaf leaf;
    GfxObject plain;
    EXPECT_EQ(SceneNode::Cast(static_cast<GfxObject*>(&group)), &group);
    EXPECT_EQ(SceneNode::Cast(&plain), nullptr);
    EXPECT_EQ(GroupSceneNode::Cast(static_cast<SceneNode*>(&leaf)), nullptr);
    EXPECT_EQ(GeneralSceneNode::Cast(static_cast<SceneNode*>(&leaf)), &leaf);
    const SceneNode* constGroup = &group;
    EXPECT_EQ(GroupSceneNode::Cast(constGroup), &group);
    EXPECT_EQ(GeneralSceneNode::Cast(constGroup), nullptr);

    orvtest::RecordingVisitor visitor;
    leaf.Accept(visitor);
    ASSERT_EQ(visitor.visits.size(), 1u);
    EXPECT_EQ(visitor.visits[0].first, "general");

    // General node defaults: no hits, not a document.
    EXPECT_FALSE(leaf.IsDocumentNode());
}

TEST(SceneNode, CachedBoxesFollowEveryChange)
{
    auto root = std::make_shared<GroupSceneNode>();
    auto leaf = MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    root->AddNode(leaf);
    root->UpdateTransform(glm::mat4(1.0f));
    root->UpdateTransform(glm::mat4(1.0f)); // same matrices again

    leaf->SetBoundingBox(AxisAlignedBox(glm::vec3(0.0f), glm::vec3(3.0f))); // same world matrix, new box
    root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(leaf->GetWorldBBox(), AxisAlignedBox(glm::vec3(0.0f), glm::vec3(3.0f)));
    EXPECT_EQ(root->GetBoundingBox(), AxisAlignedBox(glm::vec3(0.0f), glm::vec3(3.0f)));

    root->UpdateTransform(Translate(1, 0, 0)); // new parent matrix
    EXPECT_EQ(leaf->GetWorldBBox(), AxisAlignedBox(glm::vec3(1, 0, 0), glm::vec3(4, 3, 3)));
    leaf->SetTransform(Translate(0, 2, 0)); // new local matrix: the parent-space box follows
    EXPECT_EQ(leaf->ComputeBoundingBox(nullptr), AxisAlignedBox(glm::vec3(0, 2, 0), glm::vec3(3, 5, 3)));
    root->UpdateTransform(Translate(1, 0, 0));
    EXPECT_EQ(root->GetWorldBBox(), AxisAlignedBox(glm::vec3(1, 2, 0), glm::vec3(4, 5, 3)));
}
