#include <orvcore/pick/PickedItemSet.h>

#include <gtest/gtest.h>

#include "TestNodes.h"

using namespace orvcore;

namespace {
PickedItem Item(SceneNode* node, EnumShapeFilter kind, int index, uint32_t shapeIndex = 0)
{
    IntersectPoint ip(kind, index, glm::vec3(float(index)), float(index));
    ip.SetShapeIndex(shapeIndex);
    return PickedItem(node, ip);
}
} // namespace

class PickedItemSetTest : public ::testing::Test {
protected:
    orvtest::TestLeaf a, b;
    PickedItemSet set;
};

TEST_F(PickedItemSetTest, AddKeepsOneItemPerIdentity)
{
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_VERTEX, 1), false));
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_VERTEX, 1), false)); // same vertex
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_VERTEX, 2), false));  // another vertex
    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_FACE, 3, 1), false));
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_FACE, 8, 1), false)); // same face group, elsewhere
    EXPECT_EQ(set.GetCount(), 3u);

    // The stored item is kept, not replaced.
    EXPECT_TRUE(set.IsExsiting(Item(&a, SHAPE_FILTER_FACE, 8, 1)));
    for (const auto& item : set.GetPickedItems()) {
        if (item.GetShapeType() == SHAPE_FILTER_FACE) {
            EXPECT_EQ(item.GetPrimitiveIndex(), 3);
        }
    }
}

TEST_F(PickedItemSetTest, AddRefusesNullAndToggles)
{
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_FACE, -1), false));
    EXPECT_FALSE(set.Add(Item(nullptr, SHAPE_FILTER_FACE, 0), true));
    EXPECT_TRUE(set.IsEmpty());

    EXPECT_TRUE(set.Add(Item(&a, SHAPE_FILTER_EDGE, 0), true)); // absent: inserted
    EXPECT_FALSE(set.Add(Item(&a, SHAPE_FILTER_EDGE, 5), true)); // present: removed
    EXPECT_TRUE(set.IsEmpty());
}

TEST_F(PickedItemSetTest, SetReplacesUnlessPresent)
{
    const PickedItem first = Item(&a, SHAPE_FILTER_FACE, 0);
    EXPECT_TRUE(set.Set(first));
    EXPECT_FALSE(set.Set(first));
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
}

TEST_F(PickedItemSetTest, RemovalByItemElementAndNode)
{
    PickedItem withId = Item(&b, SHAPE_FILTER_FACE, 0);
    withId.SetElementId(ElementId(7));
    set.Add(Item(&a, SHAPE_FILTER_VERTEX, 1), false);
    set.Add(Item(&a, SHAPE_FILTER_VERTEX, 2), false);
    set.Add(Item(&a, SHAPE_FILTER_EDGE, 0), false);
    set.Add(withId, false);
    set.Add(Item(&b, SHAPE_FILTER_EDGE, 0), false);

    set.RemoveById(ElementId(7));
    EXPECT_EQ(set.GetCount(), 4u);
    set.RemoveById(a.GetObjectId());
    EXPECT_EQ(set.GetCount(), 1u); // every sub-shape of a goes, b stays
    EXPECT_TRUE(set.IsExsiting(Item(&b, SHAPE_FILTER_EDGE, 0)));
    set.Remove(Item(&b, SHAPE_FILTER_EDGE, 3));
    EXPECT_TRUE(set.IsEmpty());

    set.Add(Item(&a, SHAPE_FILTER_VERTEX, 1), false);
    set.Add(Item(&a, SHAPE_FILTER_VERTEX, 2), false);
    set.Add(Item(&a, SHAPE_FILTER_VERTEX, 3), false);
    EXPECT_EQ(set.Clear(), 3u);
    EXPECT_EQ(set.Clear(), 0u);
}

TEST_F(PickedItemSetTest, ItemsDifferingOnlyInElementIdMayCoexist)
{
    PickedItem x = Item(&a, SHAPE_FILTER_FACE, 0);
    PickedItem y = x;
    y.SetElementId(ElementId(1));
    EXPECT_TRUE(set.Add(x, false));
    EXPECT_TRUE(set.Add(y, false)); // equal, but hashed elsewhere
    EXPECT_EQ(set.GetCount(), 2u);
}

TEST_F(PickedItemSetTest, EmplaceMergeMoveAndSelf)
{
    PickedItemSet other;
    const PickedItem shared = Item(&a, SHAPE_FILTER_FACE, 1);
    set.Add(shared, false);
    set.Add(Item(&a, SHAPE_FILTER_EDGE, 0), false);
    PickedItem sharedElsewhere = Item(&a, SHAPE_FILTER_FACE, 9); // equal to `shared`
    other.Add(sharedElsewhere, false);
    other.Add(Item(&b, SHAPE_FILTER_EDGE, 0), false);

    PickedItemSet merged = set;
    PickedItemSet source = other;
    merged.Emplace(source, false);
    EXPECT_EQ(merged.GetCount(), 3u);
    EXPECT_TRUE(source.IsEmpty());
    for (const auto& item : merged.GetPickedItems()) {
        if (item == shared) {
            EXPECT_EQ(item.GetPrimitiveIndex(), 1); // existing item wins
        }
    }

    PickedItemSet moved = set;
    source = other;
    moved.Emplace(source, true);
    EXPECT_EQ(moved.GetCount(), 2u);
    EXPECT_TRUE(moved.IsExsiting(Item(&b, SHAPE_FILTER_EDGE, 0)));
    EXPECT_FALSE(moved.IsExsiting(Item(&a, SHAPE_FILTER_EDGE, 0)));
    EXPECT_TRUE(source.IsEmpty());

    PickedItemSet self = set;
    self.Emplace(self, false);
    EXPECT_TRUE(self.IsEmpty());
    self = set;
    self.Emplace(self, true);
    EXPECT_TRUE(self.IsEmpty());

    // Copies are deep.
    PickedItemSet copy = set;
    copy.Clear();
    EXPECT_EQ(set.GetCount(), 2u);
}

TEST_F(PickedItemSetTest, TopItemAndIterator)
{
    EXPECT_FALSE(set.GetTopItem().has_value());
    EXPECT_FALSE(set.CreateIterator()->More());
    const PickedItem only = Item(&a, SHAPE_FILTER_EDGE, 0);
    set.Add(only, false);
    ASSERT_TRUE(set.GetTopItem().has_value());
    EXPECT_EQ(*set.GetTopItem(), only);

    set.Add(Item(&b, SHAPE_FILTER_EDGE, 0), false);
    int n = 0;
    for (auto it = set.CreateIterator(); it->More(); it->Next()) {
        EXPECT_TRUE(set.IsExsiting(it->Current()));
        ++n;
    }
    EXPECT_EQ(n, 2);
}
