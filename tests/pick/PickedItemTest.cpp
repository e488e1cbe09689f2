// Picked items (identity, hash) and the sets the selection keeps them in.
#include <orvcore/pick/PickListener.h>
#include <orvcore/pick/PickedItemSet.h>
#include <orvcore/pick/PickedResult.h>
#include <orvcore/scene/GroupSceneNode.h>

#include <gtest/gtest.h>

#include "TestNodes.h"

using namespace orvcore;

namespace {

// An item whose position and distance follow its element index.
PickedItem Item(SceneNode* node, EnumShapeFilter kind, int index, uint32_t shapeIndex = 0)
{
    IntersectPoint ip(kind, index, glm::vec3(float(index)), float(index));
    ip.SetShapeIndex(shapeIndex);
    return PickedItem(node, ip);
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

class PickedItemSetTest : public ::testing::Test {
protected:
    orvtest::TestLeaf a, b;
    PickedItemSet set;
};

} // namespace

TEST(PickedItem, NullRulesAndRootNode)
{
    auto root = std::make_shared<GroupSceneNode>();
    auto mid = std::make_shared<GroupSceneNode>();
    auto leaf = std::make_shared<orvtest::TestLeaf>();
    root->AddNode(mid);
    mid->AddNode(leaf);
    EXPECT_TRUE(PickedItem().IsNull());
    EXPECT_FALSE(Item(leaf.get(), SHAPE_FILTER_FACE, 0).IsNull());
    EXPECT_TRUE(Item(leaf.get(), SHAPE_FILTER_FACE, -1).IsNull());
    EXPECT_TRUE(PickedItem(ElementId(12), IntersectPoint(SHAPE_FILTER_FACE, 3, {}, 1.0f)).IsNull()); // no node
    EXPECT_EQ(PickedItem().GetNodeId(), 0u);
    EXPECT_EQ(Item(leaf.get(), SHAPE_FILTER_FACE, 0).GetNodeId(), leaf->GetObjectId());
    EXPECT_EQ(Item(leaf.get(), SHAPE_FILTER_EDGE, 2).GetRootNode(), root.get());
    EXPECT_EQ(Item(root.get(), SHAPE_FILTER_FACE, 0).GetRootNode(), root.get());
    EXPECT_EQ(PickedItem().GetRootNode(), nullptr);

    // Filters asking for whole shapes or nodes reduce an item to its node.
    PickedItem item = Item(leaf.get(), SHAPE_FILTER_EDGE, 2);
    item.ResetByFilter(SHAPE_FILTER_ALL);
    EXPECT_EQ(item.GetShapeType(), SHAPE_FILTER_EDGE);
    item.ResetByFilter(SHAPE_FILTER_SHAPE);
    EXPECT_EQ(item.GetShapeType(), SHAPE_FILTER_NONE);
    PickedItem other = Item(leaf.get(), SHAPE_FILTER_FACE, 2);
    other.ResetByFilter(SHAPE_FILTER_NODE);
    EXPECT_EQ(other.GetShapeType(), SHAPE_FILTER_NONE);
    const PickedResult result(item, 1, true, nullptr); // the listener's defaults allow everything
    EXPECT_TRUE(PickListener().BeforeSelect(result) && PickListener().BeforeHilight(result));
}

TEST(PickedItem, EqualityComparesVertexIndexOnlyForVertexHits)
{
    orvtest::TestLeaf n1, n2;
    // Two hits on the same edge at different places and distances are one item.
    const PickedItem e1 = Item(&n1, SHAPE_FILTER_EDGE, 4, 2), e2 = Item(&n1, SHAPE_FILTER_EDGE, 7, 2);
    EXPECT_EQ(e1, e2);
    // Vertex hits need the same vertex.
    EXPECT_NE(Item(&n1, SHAPE_FILTER_VERTEX, 1), Item(&n1, SHAPE_FILTER_VERTEX, 2));
    EXPECT_EQ(Item(&n1, SHAPE_FILTER_VERTEX, 1),
              PickedItem(&n1, IntersectPoint(SHAPE_FILTER_VERTEX, 1, glm::vec3(5.0f), 3.0f)));
    // Node, shape kind and shape index always count; the element id does not.
    EXPECT_NE(e1, Item(&n2, SHAPE_FILTER_EDGE, 4, 2));
    EXPECT_NE(e1, Item(&n1, SHAPE_FILTER_FACE, 4, 2));
    EXPECT_NE(e1, Item(&n1, SHAPE_FILTER_EDGE, 4, 3));
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
    PickedItem item = Item(&node, SHAPE_FILTER_FACE, 5, 3);
    item.SetElementId(ElementId(0x1234));
    const uint64_t id = 0x1234;
    const uint32_t shapeIndex = 3, shapeType = 4;
    SceneNode* ptr = &node;
    const uint64_t pair = Combine(Combine(0, Fnv(&shapeIndex, 4)), Fnv(&shapeType, 4));
    const uint64_t expected = Combine(Combine(Combine(0, Fnv(&id, 8)), pair), Fnv(&ptr, sizeof(ptr)));
    EXPECT_EQ(std::hash<PickedItem>()(item), static_cast<std::size_t>(expected));
    // Equal items that differ only in position hash alike.
    PickedItem moved = Item(&node, SHAPE_FILTER_FACE, 9, 3);
    moved.SetElementId(ElementId(0x1234));
    EXPECT_EQ(std::hash<PickedItem>()(moved), std::hash<PickedItem>()(item));
}

TEST_F(PickedItemSetTest, AddKeepsOneItemPerIdentityOrToggles)
{
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_VERTEX, 1), false));
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_VERTEX, 1), false)); // same vertex
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_VERTEX, 2), false));  // another vertex
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_FACE, 3, 1), false));
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_FACE, 8, 1), false)); // same face group, elsewhere
    EXPECT_EQ(set.GetCount(), 3u);
    // The stored item is kept, not replaced.
    EXPECT_TRUE(set.IsExsiting(Item(&a, SHAPE_FILTER_FACE, 8, 1)));
    for (const auto& item : set.GetPickedItems())
        EXPECT_NE(item.GetPrimitiveIndex(), 8);
    // Items that differ only in the element id are equal but hashed apart: both stay.
    PickedItem withId = Item(&a, SHAPE_FILTER_FACE, 3, 1);
    withId.SetElementId(ElementId(1));
    EXPECT_TRUE(set.Add(withId, false));

    set.Clear();
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_FACE, -1), false));
    EXPECT_FALSE(set.Add(Item(nullptr, SHAPE_FILTER_FACE, 0), true));
    EXPECT_TRUE(set.IsEmpty());
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_EDGE, 0), true));  // absent: inserted
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_EDGE, 5), true)); // present: removed
    EXPECT_TRUE(set.IsEmpty());
    EXPECT_FALSE(set.GetTopItem().has_value());
}

TEST_F(PickedItemSetTest, SetReplacesUnlessPresent)
{
    const PickedItem first = Item(&a, SHAPE_FILTER_FACE, 0);
    EXPECT_TRUE(set.Set(first));
    EXPECT_FALSE(set.Set(first));
    EXPECT_EQ(*set.GetTopItem(), first);
    EXPECT_TRUE(set.Add(Item(&b, SHAPE_FILTER_FACE, 0), false));
    EXPECT_FALSE(set.Set(first)); // present among others: nothing changes
    EXPECT_EQ(set.GetCount(), 2u);
    const PickedItem other = Item(&b, SHAPE_FILTER_EDGE, 0);
    EXPECT_TRUE(set.Set(other));
    EXPECT_EQ(set.GetCount(), 1u);
    EXPECT_TRUE(set.IsExsiting(other));
    EXPECT_TRUE(set.Set(PickedItem())); // null clears a non-empty set
    EXPECT_TRUE(set.IsEmpty());
    EXPECT_FALSE(set.Set(PickedItem())); // and reports false on an empty one

    // The vector form skips duplicates and does not filter nulls.
    set.Set(std::vector<PickedItem>{first, first, PickedItem(), other});
    EXPECT_EQ(set.GetCount(), 3u);
    int n = 0;
    for (auto it = set.CreateIterator(); it->More(); it->Next(), ++n)
        EXPECT_TRUE(set.IsExsiting(it->Current()));
    EXPECT_EQ(n, 3);
}

TEST_F(PickedItemSetTest, RemovalByItemElementAndNode)
{
    PickedItem withId = Item(&b, SHAPE_FILTER_FACE, 0);
    withId.SetElementId(ElementId(7));
    for (const PickedItem& item : {Item(&a, SHAPE_FILTER_VERTEX, 1), Item(&a, SHAPE_FILTER_VERTEX, 2),
                                   Item(&a, SHAPE_FILTER_EDGE, 0), withId, Item(&b, SHAPE_FILTER_EDGE, 0)})
        set.Add(item, false);
    set.RemoveById(ElementId(7));
    EXPECT_EQ(set.GetCount(), 4u);
    set.RemoveById(a.GetObjectId());
    EXPECT_EQ(set.GetCount(), 1u); // every sub-shape of a goes, b stays
    EXPECT_TRUE(set.IsExsiting(Item(&b, SHAPE_FILTER_EDGE, 0)));
    set.Remove(Item(&b, SHAPE_FILTER_EDGE, 3));
    EXPECT_TRUE(set.IsEmpty());
    for (int v = 1; v <= 3; ++v)
        set.Add(Item(&a, SHAPE_FILTER_VERTEX, v), false);
    EXPECT_EQ(set.Clear(), 3u);
    EXPECT_EQ(set.Clear(), 0u);
}

TEST_F(PickedItemSetTest, EmplaceMergeMoveAndSelf)
{
    PickedItemSet other;
    const PickedItem shared = Item(&a, SHAPE_FILTER_FACE, 1);
    set.Add(shared, false);
    set.Add(Item(&a, SHAPE_FILTER_EDGE, 0), false);
    other.Add(Item(&a, SHAPE_FILTER_FACE, 9), false); // equal to `shared`
    other.Add(Item(&b, SHAPE_FILTER_EDGE, 0), false);

    PickedItemSet merged = set;
    PickedItemSet source = other;
    merged.Emplace(source, false);
    EXPECT_EQ(merged.GetCount(), 3u);
    EXPECT_TRUE(source.IsEmpty());
    for (const auto& item : merged.GetPickedItems())
        EXPECT_NE(item.GetPrimitiveIndex(), 9); // the existing item wins

    PickedItemSet moved = set;
    source = other;
    moved.Emplace(source, true);
    EXPECT_EQ(moved.GetCount(), 2u);
    EXPECT_TRUE(moved.IsExsiting(Item(&b, SHAPE_FILTER_EDGE, 0)));
    EXPECT_FALSE(moved.IsExsiting(Item(&a, SHAPE_FILTER_EDGE, 0)));
    EXPECT_TRUE(source.IsEmpty());

    for (bool replace : {false, true}) {
        PickedItemSet self = set;
        self.Emplace(self, replace);
        EXPECT_TRUE(self.IsEmpty()) << replace;
    }
    EXPECT_EQ(set.GetCount(), 2u); // copies are deep
}
