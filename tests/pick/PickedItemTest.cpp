// Picked items (identity, hash) and the sets the selection keeps them in.
#include <orvcore/pick/PickListener.h>
#include <orvcore/pick/PickedItemSet.h>

#include <gtest/gtest.h>

#include "TestNodes.h"

using namespace orvcore;

namespace {

// An item whose position and distance follow its element index.
PickedItem Item(SceneNode* node, EnumShapeFilter kind, int index, uint32_t shapeIndex = 0, uint64_t element = 0)
{
    IntersectPoint ip(kind, index, glm::vec3(float(index)), float(index));
    ip.SetShapeIndex(shapeIndex);
    PickedItem item(node, ip);
    if (element)
        item.SetElementId(ElementId(element));
    return item;
}

class PickedItemSetTest : public ::testing::Test {
protected:
    orvtest::TestLeaf a, b;
    PickedItemSet set;
};

} // namespace

TEST(PickedItem, NullRulesRootAndReductionToTheNode)
{
    auto leaf = std::make_shared<orvtest::TestLeaf>();
    auto root = orvtest::Root({orvtest::Group({leaf})});
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
    for (const auto& [filter, kept] : {std::pair(SHAPE_FILTER_ALL, SHAPE_FILTER_EDGE),
                                       std::pair(SHAPE_FILTER_SHAPE, SHAPE_FILTER_NONE),
                                       std::pair(SHAPE_FILTER_NODE, SHAPE_FILTER_NONE)}) {
        PickedItem item = Item(leaf.get(), SHAPE_FILTER_EDGE, 2);
        item.ResetByFilter(filter);
        EXPECT_EQ(item.GetShapeType(), kept) << filter;
    }
    const PickedResult result(Item(leaf.get(), SHAPE_FILTER_EDGE, 2), 1, true, nullptr);
    EXPECT_TRUE(PickListener().BeforeSelect(result) && PickListener().BeforeHilight(result)); // defaults allow
}

TEST(PickedItem, EqualityHashAndOrder)
{
    orvtest::TestLeaf n1, n2;
    // Two hits on the same edge at different places and distances are one
    // item; vertex hits need the same vertex; node, shape kind and shape index
    // always count, the element id does not.
    const PickedItem e1 = Item(&n1, SHAPE_FILTER_EDGE, 4, 2), e2 = Item(&n1, SHAPE_FILTER_EDGE, 7, 2);
    EXPECT_EQ(e1, e2);
    EXPECT_NE(Item(&n1, SHAPE_FILTER_VERTEX, 1), Item(&n1, SHAPE_FILTER_VERTEX, 2));
    EXPECT_EQ(Item(&n1, SHAPE_FILTER_VERTEX, 1),
              PickedItem(&n1, IntersectPoint(SHAPE_FILTER_VERTEX, 1, glm::vec3(5.0f), 3.0f)));
    EXPECT_NE(e1, Item(&n2, SHAPE_FILTER_EDGE, 4, 2));
    EXPECT_NE(e1, Item(&n1, SHAPE_FILTER_FACE, 4, 2));
    EXPECT_NE(e1, Item(&n1, SHAPE_FILTER_EDGE, 4, 3));
    EXPECT_EQ(e1, Item(&n1, SHAPE_FILTER_EDGE, 4, 2, 99));
    EXPECT_TRUE(e1 < e2 && !(e2 < e1)); // by distance alone

    // Equal items that differ only in position hash alike; the element id
    // counts in the hash (the sets keep both, below).
    const std::hash<PickedItem> hash;
    EXPECT_EQ(hash(Item(&n1, SHAPE_FILTER_FACE, 9, 3, 0x1234)), hash(Item(&n1, SHAPE_FILTER_FACE, 5, 3, 0x1234)));
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
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_FACE, 3, 1, 1), false));

    set.Clear();
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_FACE, -1), false));
    EXPECT_FALSE(set.Add(Item(nullptr, SHAPE_FILTER_FACE, 0), true));
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_EDGE, 0), true));  // absent: inserted
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_EDGE, 5), true)); // present: removed
    EXPECT_TRUE(set.IsEmpty());
    EXPECT_FALSE(set.GetTopItem().has_value());
}

TEST_F(PickedItemSetTest, SetReplacesUnlessPresentAndRemovalByElementOrNode)
{
    const PickedItem first = Item(&a, SHAPE_FILTER_FACE, 0), other = Item(&b, SHAPE_FILTER_EDGE, 0);
    EXPECT_TRUE(set.Set(first));
    EXPECT_FALSE(set.Set(first));
    EXPECT_EQ(*set.GetTopItem(), first);
    EXPECT_TRUE(set.Add(Item(&b, SHAPE_FILTER_FACE, 0), false));
    EXPECT_FALSE(set.Set(first)); // present among others: nothing changes
    EXPECT_EQ(set.GetCount(), 2u);
    EXPECT_TRUE(set.Set(other));
    EXPECT_EQ(set.GetCount(), 1u);
    EXPECT_TRUE(set.Set(PickedItem())); // null clears a non-empty set
    EXPECT_FALSE(set.Set(PickedItem())); // and reports false on an empty one
    // The vector form skips duplicates and does not filter nulls.
    set.Set(std::vector<PickedItem>{first, first, PickedItem(), other});
    int n = 0;
    for (auto it = set.CreateIterator(); it->More(); it->Next(), ++n)
        EXPECT_TRUE(set.IsExsiting(it->Current()));
    EXPECT_EQ(n, 3);

    set.Clear();
    for (const PickedItem& item : {Item(&a, SHAPE_FILTER_VERTEX, 1), Item(&a, SHAPE_FILTER_VERTEX, 2),
                                   Item(&a, SHAPE_FILTER_EDGE, 0), Item(&b, SHAPE_FILTER_FACE, 0, 0, 7), other})
        set.Add(item, false);
    set.RemoveById(ElementId(7));
    EXPECT_EQ(set.GetCount(), 4u);
    set.RemoveById(a.GetObjectId());
    EXPECT_EQ(set.GetCount(), 1u); // every sub-shape of a goes, b stays
    set.Remove(Item(&b, SHAPE_FILTER_EDGE, 3));
    EXPECT_EQ(set.Clear(), 0u);
    set.Add(first, false);
    EXPECT_EQ(set.Clear(), 1u);
}

TEST_F(PickedItemSetTest, EmplaceMergeMoveAndSelf)
{
    PickedItemSet other;
    set.Add(Item(&a, SHAPE_FILTER_FACE, 1), false);
    set.Add(Item(&a, SHAPE_FILTER_EDGE, 0), false);
    other.Add(Item(&a, SHAPE_FILTER_FACE, 9), false); // equal to the first of `set`
    other.Add(Item(&b, SHAPE_FILTER_EDGE, 0), false);

    PickedItemSet merged = set, source = other;
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
