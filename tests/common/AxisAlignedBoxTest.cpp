#include <orvcommon/AxisAlignedBox.h>

#include <cmath>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "LogCapture.h"

using orvcore::AxisAlignedBox;

namespace {

void ExpectVec(const glm::vec3& actual, const glm::vec3& expected, float eps = 1e-5f)
{
    EXPECT_NEAR(actual.x, expected.x, eps);
    EXPECT_NEAR(actual.y, expected.y, eps);
    EXPECT_NEAR(actual.z, expected.z, eps);
}

// Reference: the box of the eight transformed corners.
AxisAlignedBox CornerTransform(const AxisAlignedBox& box, const glm::mat4& m)
{
    AxisAlignedBox out;
    for (int i = 0; i < 8; ++i) {
        const glm::vec3 c((i & 1) ? box.getMaximum().x : box.getMinimum().x,
                          (i & 2) ? box.getMaximum().y : box.getMinimum().y,
                          (i & 4) ? box.getMaximum().z : box.getMinimum().z);
        out.merge(glm::vec3(m * glm::vec4(c, 1.0f)));
    }
    return out;
}

} // namespace

TEST(AxisAlignedBox, ExtentStatesAndQueries)
{
    AxisAlignedBox null;
    EXPECT_TRUE(null.isNull());
    EXPECT_FALSE(null.containsPoint(glm::vec3(0.0f)));
    ExpectVec(null.getSize(), glm::vec3(0.0f));

    AxisAlignedBox inf(AxisAlignedBox::EXTENT_INFINITE);
    EXPECT_TRUE(inf.containsPoint(glm::vec3(1e30f)));
    EXPECT_TRUE(std::isinf(inf.getSize().x));

    // Corners in any order span the same box.
    AxisAlignedBox box(glm::vec3(2, 4, 6), glm::vec3(-2, 0, 1));
    ExpectVec(box.getMinimum(), glm::vec3(-2, 0, 1));
    ExpectVec(box.getMaximum(), glm::vec3(2, 4, 6));
    ExpectVec(box.getCenter(), glm::vec3(0, 2, 3.5f));
    ExpectVec(box.getSize(), glm::vec3(4, 4, 5));
    EXPECT_TRUE(box.containsPoint(glm::vec3(2, 4, 6))); // inclusive
    EXPECT_FALSE(box.containsPoint(glm::vec3(2.001f, 4, 6)));
}

TEST(AxisAlignedBox, NanCornerLeavesNullWithWarning)
{
    orvtest::LogCapture log;
    AxisAlignedBox box(glm::vec3(NAN, 0, 0), glm::vec3(1.0f));
    EXPECT_TRUE(box.isNull());
    ASSERT_EQ(log.warnings.size(), 1u);
    EXPECT_EQ(log.warnings[0], "Box corner is not a number!");
}

TEST(AxisAlignedBox, MergeRules)
{
    AxisAlignedBox a(glm::vec3(0.0f), glm::vec3(1.0f));
    AxisAlignedBox b(glm::vec3(-1, 2, 0.5f), glm::vec3(0.5f, 3, 0.7f));

    AxisAlignedBox m = a;
    m.merge(b);
    ExpectVec(m.getMinimum(), glm::vec3(-1, 0, 0));
    ExpectVec(m.getMaximum(), glm::vec3(1, 3, 1));

    AxisAlignedBox n; // null is the identity on both sides
    n.merge(a);
    EXPECT_EQ(n, a);
    m = a;
    m.merge(AxisAlignedBox());
    EXPECT_EQ(m, a);

    m.merge(AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE));
    EXPECT_TRUE(m.isInfinite());
    m.merge(b); // infinite absorbs
    EXPECT_TRUE(m.isInfinite());

    AxisAlignedBox p;
    p.merge(glm::vec3(1, 2, 3));
    EXPECT_TRUE(p.isFinite());
    ExpectVec(p.getSize(), glm::vec3(0.0f));
    p.merge(glm::vec3(-1, 5, 3));
    ExpectVec(p.getMinimum(), glm::vec3(-1, 2, 3));
    ExpectVec(p.getMaximum(), glm::vec3(1, 5, 3));
}

TEST(AxisAlignedBox, TransformMatchesEightCornersForAffineMatrices)
{
    const AxisAlignedBox box(glm::vec3(-1, -2, -3), glm::vec3(4, 5, 6));
    glm::mat4 m = glm::translate(glm::mat4(1.0f), glm::vec3(10, -5, 2));
    m = glm::rotate(m, 0.7f, glm::normalize(glm::vec3(1, 2, 3)));
    m = glm::scale(m, glm::vec3(2, -0.5f, 3));

    AxisAlignedBox t = box;
    t.transform(m);
    const AxisAlignedBox ref = CornerTransform(box, m);
    ExpectVec(t.getMinimum(), ref.getMinimum(), 1e-4f);
    ExpectVec(t.getMaximum(), ref.getMaximum(), 1e-4f);

    // Hand-computed: a 90 degree turn about Z maps x extent onto y.
    AxisAlignedBox r(glm::vec3(0, 0, 0), glm::vec3(2, 1, 1));
    r.transform(glm::rotate(glm::mat4(1.0f), glm::radians(90.0f), glm::vec3(0, 0, 1)));
    ExpectVec(r.getMinimum(), glm::vec3(-1, 0, 0));
    ExpectVec(r.getMaximum(), glm::vec3(0, 2, 1));
}

TEST(AxisAlignedBox, TransformKeepsNullAndInfiniteAndHandlesProjection)
{
    AxisAlignedBox null;
    null.transform(glm::translate(glm::mat4(1.0f), glm::vec3(5.0f)));
    EXPECT_TRUE(null.isNull());
    AxisAlignedBox inf(AxisAlignedBox::EXTENT_INFINITE);
    inf.transform(glm::scale(glm::mat4(1.0f), glm::vec3(0.5f)));
    EXPECT_TRUE(inf.isInfinite());

    // A projective matrix goes through the corners with the w divide.
    const glm::mat4 proj = glm::perspective(glm::radians(90.0f), 1.0f, 1.0f, 10.0f);
    AxisAlignedBox box(glm::vec3(-1, -1, -2), glm::vec3(1, 1, -2));
    box.transform(proj);
    ExpectVec(box.getMinimum(), glm::vec3(-0.5f, -0.5f, box.getMinimum().z));
    ExpectVec(box.getMaximum(), glm::vec3(0.5f, 0.5f, box.getMaximum().z));
}

TEST(AxisAlignedBox, Intersects)
{
    const AxisAlignedBox a(glm::vec3(0.0f), glm::vec3(1.0f));
    EXPECT_TRUE(a.intersects(AxisAlignedBox(glm::vec3(1.0f), glm::vec3(2.0f)))); // touching corner
    EXPECT_FALSE(a.intersects(AxisAlignedBox(glm::vec3(1.01f, 0, 0), glm::vec3(2.0f))));
    EXPECT_FALSE(a.intersects(AxisAlignedBox()));
    EXPECT_FALSE(AxisAlignedBox().intersects(AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE)));
    EXPECT_TRUE(a.intersects(AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE)));
}
