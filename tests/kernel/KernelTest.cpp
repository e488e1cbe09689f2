#include <orvkernel/device/GfxObject.h>
#include <orvkernel/geometry/EnumPrimitiveType.h>
#include <orvkernel/search/IntersectPoint.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

using namespace orvcore;

TEST(GfxObject, IdsAreUniqueNonZeroAndNewForCopies)
{
    std::set<uint32_t> ids;
    std::vector<std::unique_ptr<GfxObject>> live;
    for (int i = 0; i < 1000; ++i) {
        live.push_back(std::make_unique<GfxObject>());
        EXPECT_NE(live.back()->GetObjectId(), 0u);
        ids.insert(live.back()->GetObjectId());
    }
    EXPECT_EQ(ids.size(), 1000u);

    GfxObject a;
    GfxObject b(a);
    EXPECT_NE(a.GetObjectId(), b.GetObjectId());
    const uint32_t before = b.GetObjectId();
    b = a;
    EXPECT_EQ(b.GetObjectId(), before); // assignment keeps identity
    // Ids only grow: a later object never reuses an earlier one's id.
    live.clear();
    EXPECT_GT(GfxObject().GetObjectId(), *ids.rbegin());
}

TEST(IntersectPoint, DefaultIsMissAndTransformMovesWorldPosition)
{
    IntersectPoint miss;
    EXPECT_FALSE(miss.IsHit());
    EXPECT_EQ(miss.GetShapeFilter(), SHAPE_FILTER_NONE);

    IntersectPoint hit(SHAPE_FILTER_EDGE, 3, glm::vec3(1, 2, 3), 0.5f);
    EXPECT_TRUE(hit.IsHit());
    EXPECT_EQ(hit.GetPosition(), glm::vec3(1, 2, 3));
    hit.Transform(glm::translate(glm::mat4(1.0f), glm::vec3(10, 0, 0)));
    EXPECT_EQ(hit.GetLocalPosition(), glm::vec3(1, 2, 3));
    EXPECT_EQ(hit.GetPosition(), glm::vec3(11, 2, 3));
    hit.Transform(glm::scale(glm::mat4(1.0f), glm::vec3(2.0f))); // always from the local point
    EXPECT_EQ(hit.GetPosition(), glm::vec3(2, 4, 6));
}

TEST(EnumPrimitiveType, KindsGroupAsThePickFilterDoes)
{
    for (uint32_t t = 0; t < 8; ++t) {
        EXPECT_EQ(IsPointPrimitive(t), t == PRIMITIVE_POINTS) << t;
        EXPECT_EQ(IsLinePrimitive(t), t >= 1 && t <= 3) << t;
        EXPECT_EQ(IsTrianglePrimitive(t), t >= 4 && t <= 6) << t;
    }
}
