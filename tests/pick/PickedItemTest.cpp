#include <orvcore/pick/PickListener.h>
#include <orvcore/pick/PickedItem.h>
#include <orvcore/pick/PickedResult.h>
#include <orvcore/scene/GroupSceneNode.h>

#include <cstring>

#include <gtest/gtest.h>

#include "TestNodes.h"

using namespace orvcore;

namespace {

IntersectPoint Hit(EnumShapeFilter kind, int index, uint32_t shapeIndex = 0, float distance = 1.0f,
                   const glm::vec3& p = glm::vec3(0.0f))
{
    IntersectPoint ip(kind, index, p, distance);
    ip.SetShapeIndex(shapeIndex);
    return ip;
}

// Independent restatement of the documented hash, byte by byte.
uint64_t Fnv(const void* data, std::size_t n)
{
    uint64_t h = 0xcbf29ce484222325ull;
    for (std::size_t i = 0; i < n; ++i) {
        h ^= static_cast<const unsigned char*>(data)[i];
        h *= 0x100000001b3ull;
    }
    return h;
}
uint64_t Combine(uint64_t seed, uint64_t h) { return seed ^ (h + 0x9e3779b9ull + (seed << 6) + (seed >> 2)); }

} // namespace

TEST(PickedItem, NullRules)
{
    orvtest::TestLeaf node;
    EXPECT_TRUE(PickedItem().IsNull());
    EXPECT_FALSE(PickedItem(&node, Hit(SHAPE_FILTER_FACE, 0)).IsNull());
    EXPECT_TRUE(PickedItem(&node, Hit(SHAPE_FILTER_FACE, -1)).IsNull());
    EXPECT_TRUE(PickedItem(ElementId(12), Hit(SHAPE_FILTER_FACE, 3)).IsNull()); // no node
    EXPECT_EQ(PickedItem().GetNodeId(), 0u);
    EXPECT_EQ(PickedItem(&node, Hit(SHAPE_FILTER_FACE, 0)).GetNodeId(), node.GetObjectId());
}

TEST(PickedItem, EqualityComparesVertexIndexOnlyForVertexHits)
{
    orvtest::TestLeaf n1, n2;
    // Two hits on the same edge at different places and distances are one item.
    PickedItem e1(&n1, Hit(SHAPE_FILTER_EDGE, 4, 2, 1.0f, glm::vec3(0, 0, 0)));
    PickedItem e2(&n1, Hit(SHAPE_FILTER_EDGE, 7, 2, 9.0f, glm::vec3(5, 5, 5)));
    EXPECT_EQ(e1, e2);
    // Vertex hits need the same vertex.
    EXPECT_NE(PickedItem(&n1, Hit(SHAPE_FILTER_VERTEX, 1)), PickedItem(&n1, Hit(SHAPE_FILTER_VERTEX, 2)));
    EXPECT_EQ(PickedItem(&n1, Hit(SHAPE_FILTER_VERTEX, 1)), PickedItem(&n1, Hit(SHAPE_FILTER_VERTEX, 1, 0, 3.0f)));
    // Node, shape kind and shape index always count.
    EXPECT_NE(e1, PickedItem(&n2, Hit(SHAPE_FILTER_EDGE, 4, 2)));
    EXPECT_NE(e1, PickedItem(&n1, Hit(SHAPE_FILTER_FACE, 4, 2)));
    EXPECT_NE(e1, PickedItem(&n1, Hit(SHAPE_FILTER_EDGE, 4, 3)));
    // The element id does not.
    PickedItem withId = e1;
    withId.SetElementId(ElementId(99));
    EXPECT_EQ(withId, e1);
    // Ordering is by distance alone.
    EXPECT_TRUE(e1 < e2);
    EXPECT_FALSE(e2 < e1);
}

TEST(PickedItem, HashIsTheDocumentedFnvCombination)
{
    orvtest::TestLeaf node;
    PickedItem item(&node, Hit(SHAPE_FILTER_FACE, 5, 3));
    item.SetElementId(ElementId(0x1234));

    const uint64_t id = 0x1234;
    const uint32_t shapeIndex = 3, shapeType = 4;
    SceneNode* ptr = &node;
    uint64_t pair = Combine(Combine(0, Fnv(&shapeIndex, 4)), Fnv(&shapeType, 4));
    uint64_t expected = Combine(Combine(Combine(0, Fnv(&id, 8)), pair), Fnv(&ptr, sizeof(ptr)));
    EXPECT_EQ(std::hash<PickedItem>()(item), static_cast<std::size_t>(expected));

    // Equal items that differ only in position hash alike.
    PickedItem moved(&node, Hit(SHAPE_FILTER_FACE, 9, 3, 5.0f, glm::vec3(1.0f)));
    moved.SetElementId(ElementId(0x1234));
    EXPECT_EQ(std::hash<PickedItem>()(moved), std::hash<PickedItem>()(item));
}

TEST(PickedItem, ResetByFilterPositionAndRoot)
{
    auto root = std::make_shared<GroupSceneNode>();
    auto mid = std::make_shared<GroupSceneNode>();
    auto leaf = std::make_shared<orvtest::TestLeaf>();
    root->AddNode(mid);
    mid->AddNode(leaf);

    PickedItem item(leaf.get(), Hit(SHAPE_FILTER_EDGE, 2));
    item.ResetByFilter(SHAPE_FILTER_ALL);
    EXPECT_EQ(item.GetShapeType(), SHAPE_FILTER_EDGE);
    item.ResetByFilter(SHAPE_FILTER_SHAPE);
    EXPECT_EQ(item.GetShapeType(), SHAPE_FILTER_NONE);
    PickedItem other(leaf.get(), Hit(SHAPE_FILTER_FACE, 2));
    other.ResetByFilter(SHAPE_FILTER_NODE);
    EXPECT_EQ(other.GetShapeType(), SHAPE_FILTER_NONE);

    item.SetPosition(glm::vec3(1, 2, 3));
    EXPECT_EQ(item.GetPosition(), glm::vec3(1, 2, 3));
    EXPECT_EQ(item.GetPoint().GetLocalPosition(), glm::vec3(1, 2, 3));

    EXPECT_EQ(item.GetRootNode(), root.get());
    EXPECT_EQ(PickedItem(root.get(), Hit(SHAPE_FILTER_FACE, 0)).GetRootNode(), root.get());
    EXPECT_EQ(PickedItem().GetRootNode(), nullptr);
}

TEST(PickedResult, CountAndDefaults)
{
    PickedResult none;
    EXPECT_TRUE(none.IsEmpty());
    EXPECT_EQ(none.GetSelectionSet(), nullptr);
    orvtest::TestLeaf node;
    PickedResult one(PickedItem(&node, Hit(SHAPE_FILTER_FACE, 0)), 1, true, nullptr);
    EXPECT_FALSE(one.IsEmpty());
    EXPECT_TRUE(one.GetMulitPick());
    EXPECT_EQ(one.GetItem().GetNode(), &node);

    PickListener listener; // defaults allow everything
    EXPECT_TRUE(listener.BeforeSelect(one));
    EXPECT_TRUE(listener.BeforeHilight(one));
}
