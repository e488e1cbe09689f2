#include <orvcommon/AxisAlignedBox.h>

#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"

using orvcore::AxisAlignedBox;

TEST(AxisAlignedBox, ExtentStatesAndQueries)
{
    AxisAlignedBox null;
    EXPECT_TRUE(null.isNull());
    EXPECT_FALSE(null.containsPoint(glm::vec3(0.0f)));
    EXPECT_VEC(null.getSize(), glm::vec3(0.0f));
    AxisAlignedBox inf(AxisAlignedBox::EXTENT_INFINITE);
    EXPECT_TRUE(inf.containsPoint(glm::vec3(1e30f)));
    EXPECT_TRUE(std::isinf(inf.getSize().x));

    // Corners in any order span the same box.
    AxisAlignedBox box(glm::vec3(2, 4, 6), glm::vec3(-2, 0, 1));
    EXPECT_VEC(box.getMinimum(), glm::vec3(-2, 0, 1));
    EXPECT_VEC(box.getMaximum(), glm::vec3(2, 4, 6));
    EXPECT_VEC(box.getCenter(), glm::vec3(0, 2, 3.5f));
    EXPECT_VEC(box.getSize(), glm::vec3(4, 4, 5));
    EXPECT_TRUE(box.containsPoint(glm::vec3(2, 4, 6))); // inclusive
    EXPECT_FALSE(box.containsPoint(glm::vec3(2.001f, 4, 6)));

    orvtest::LogCapture log;
    EXPECT_TRUE(AxisAlignedBox(glm::vec3(NAN, 0, 0), glm::vec3(1.0f)).isNull());
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Box corner is not a number!"});
}

TEST(AxisAlignedBox, MergeAndIntersects)
{
    const AxisAlignedBox a(glm::vec3(0.0f), glm::vec3(1.0f));
    AxisAlignedBox m = a;
    m.merge(AxisAlignedBox(glm::vec3(-1, 2, 0.5f), glm::vec3(0.5f, 3, 0.7f)));
    EXPECT_EQ(m, AxisAlignedBox(glm::vec3(-1, 0, 0), glm::vec3(1, 3, 1)));

    AxisAlignedBox n; // null is the identity on both sides
    n.merge(a);
    EXPECT_EQ(n, a);
    n.merge(AxisAlignedBox());
    EXPECT_EQ(n, a);
    n.merge(AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE));
    EXPECT_TRUE(n.isInfinite());
    n.merge(a); // infinite absorbs
    EXPECT_TRUE(n.isInfinite());

    AxisAlignedBox p;
    p.merge(glm::vec3(1, 2, 3));
    EXPECT_TRUE(p.isFinite());
    EXPECT_VEC(p.getSize(), glm::vec3(0.0f));
    p.merge(glm::vec3(-1, 5, 3));
    EXPECT_EQ(p, AxisAlignedBox(glm::vec3(-1, 2, 3), glm::vec3(1, 5, 3)));

    EXPECT_TRUE(a.intersects(AxisAlignedBox(glm::vec3(1.0f), glm::vec3(2.0f)))); // touching corner
    EXPECT_FALSE(a.intersects(AxisAlignedBox(glm::vec3(1.01f, 0, 0), glm::vec3(2.0f))));
    EXPECT_FALSE(a.intersects(AxisAlignedBox()));
    EXPECT_FALSE(AxisAlignedBox().intersects(AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE)));
    EXPECT_TRUE(a.intersects(AxisAlignedBox(AxisAlignedBox::EXTENT_INFINITE)));
}

TEST(AxisAlignedBox, TransformIsTheBoxOfTheCorners)
{
    // Affine: the box of the eight transformed corners.
    const AxisAlignedBox box(glm::vec3(-1, -2, -3), glm::vec3(4, 5, 6));
    glm::mat4 m = glm::rotate(orvtest::Translate(10, -5, 2), 0.7f, glm::normalize(glm::vec3(1, 2, 3)));
    m = glm::scale(m, glm::vec3(2, -0.5f, 3));
    AxisAlignedBox corners;
    for (int i = 0; i < 8; ++i)
        corners.merge(glm::vec3(m * glm::vec4(glm::mix(box.getMinimum(), box.getMaximum(),
                                                       glm::vec3(i & 1, (i >> 1) & 1, (i >> 2) & 1)), 1.0f)));
    AxisAlignedBox t = box;
    t.transform(m);
    EXPECT_VEC(t.getMinimum(), corners.getMinimum(), 1e-4f);
    EXPECT_VEC(t.getMaximum(), corners.getMaximum(), 1e-4f);

    AxisAlignedBox null;
    null.transform(orvtest::Translate(5, 5, 5));
    EXPECT_TRUE(null.isNull());
    AxisAlignedBox inf(AxisAlignedBox::EXTENT_INFINITE);
    inf.transform(glm::scale(glm::mat4(1.0f), glm::vec3(0.5f)));
    EXPECT_TRUE(inf.isInfinite());

    // A projective matrix goes through the corners with the w divide.
    AxisAlignedBox seen(glm::vec3(-1, -1, -2), glm::vec3(1, 1, -2));
    seen.transform(glm::perspective(glm::radians(90.0f), 1.0f, 1.0f, 10.0f));
    EXPECT_VEC(seen.getMinimum(), glm::vec3(-0.5f, -0.5f, seen.getMinimum().z));
    EXPECT_VEC(seen.getMaximum(), glm::vec3(0.5f, 0.5f, seen.getMaximum().z));
}
