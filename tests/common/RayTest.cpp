// Geometric values: rays, planes, spheres, boxes and the math helpers.
#include <orvcommon/AxisAlignedBox.h>
#include <orvcommon/Math.h>
#include <orvcommon/Plane.h>
#include <orvcommon/Ray.h>
#include <orvcommon/Sphere.h>
#include <orvcommon/VEC3.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "Expect.h"
#include "LogCapture.h"

using orvcore::AxisAlignedBox;
using orvcore::Math;
using orvcore::Plane;
using orvcore::Ray;
using orvcore::Sphere;

namespace {
void ExpectMat(const glm::mat4& a, const glm::mat4& b, float eps = 1e-5f)
{
    for (int c = 0; c < 4; ++c)
        EXPECT_VEC(glm::vec3(a[c]), glm::vec3(b[c]), eps) << "column " << c;
    EXPECT_VEC(glm::vec3(a[0][3], a[1][3], a[2][3]), glm::vec3(b[0][3], b[1][3], b[2][3]), eps);
    EXPECT_NEAR(a[3][3], b[3][3], eps);
}
} // namespace

TEST(Ray, NormalisesMovesAndFindsNearestPoints)
{
    Ray ray(glm::vec3(1, 0, 0), glm::vec3(5, 0, 0));
    EXPECT_VEC(ray.getDirection(), glm::vec3(1, 0, 0));
    EXPECT_VEC(ray.getPoint(2.0f), glm::vec3(3, 0, 0));
    // Behind the origin the origin itself is nearest.
    EXPECT_VEC(ray.closestPointToPoint(glm::vec3(5, 3, 0)), glm::vec3(5, 0, 0));
    EXPECT_FLOAT_EQ(ray.distanceSqToPoint(glm::vec3(5, 3, 4)), 25.0f);
    EXPECT_VEC(ray.closestPointToPoint(glm::vec3(-5, 1, 0)), glm::vec3(1, 0, 0));
    EXPECT_FLOAT_EQ(ray.distanceSqToPoint(glm::vec3(-2, 4, 0)), 25.0f);

    glm::mat4 m = glm::rotate(orvtest::Translate(0, 5, 0), glm::radians(90.0f), glm::vec3(0, 0, 1));
    ray.applyMatrix(glm::scale(m, glm::vec3(3.0f)));
    EXPECT_VEC(ray.getOrigin(), glm::vec3(0, 8, 0));
    EXPECT_VEC(ray.getDirection(), glm::vec3(0, 1, 0)); // re-normalised after scaling

    orvtest::LogCapture log;
    EXPECT_VEC(Ray(glm::vec3(0.0f), glm::vec3(0.0f)).getDirection(), glm::vec3(0, 0, -1));
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Ray direction is invalid!"});
}

TEST(Ray, PlaneAndSphereHits)
{
    // Default plane z = 0; behind the origin the parameter is still reported.
    EXPECT_EQ(Ray(glm::vec3(1, 1, 10), glm::vec3(0, 0, -1)).intersects(Plane()), std::make_pair(true, 10.0f));
    EXPECT_EQ(Ray(glm::vec3(0, 0, 10), glm::vec3(0, 0, 1)).intersects(Plane()), std::make_pair(false, -10.0f));
    // Parallel: no hit unless the ray lies in the plane.
    EXPECT_FALSE(Ray(glm::vec3(0, 0, 1), glm::vec3(1, 0, 0)).intersects(Plane()).first);
    EXPECT_TRUE(Ray(glm::vec3(0, 0, 0), glm::vec3(1, 0, 0)).intersects(Plane()).first);
    // Oblique plane x + y = 2 (normal not unit on input).
    const Plane oblique(glm::vec3(1, 1, 0), -2.0f * std::sqrt(2.0f));
    const auto d = Ray(glm::vec3(0.0f), glm::vec3(1, 1, 0)).intersects(oblique);
    EXPECT_TRUE(d.first);
    EXPECT_NEAR(d.second, 2.0f, 1e-5f);

    const Sphere s(glm::vec3(0, 0, -10), 2.0f);
    EXPECT_EQ(Ray(glm::vec3(0.0f), glm::vec3(0, 0, -1)).intersects(s), std::make_pair(true, 8.0f));
    EXPECT_FALSE(Ray(glm::vec3(0.0f), glm::vec3(0, 0, 1)).intersects(s).first);        // behind
    EXPECT_FALSE(Ray(glm::vec3(2.01f, 0, 0), glm::vec3(0, 0, -1)).intersects(s).first); // beside
    EXPECT_TRUE(Ray(glm::vec3(2.0f, 0, 0), glm::vec3(0, 0, -1)).intersects(s).first);   // grazing
    EXPECT_EQ(Ray(glm::vec3(0, 0, -10), glm::vec3(1, 0, 0)).intersects(s), std::make_pair(true, 0.0f)); // from inside
}

TEST(Ray, DistanceToSegment)
{
    const Ray ray(glm::vec3(0.0f), glm::vec3(0, 0, -1));
    glm::vec3 onRay, onSeg;
    float t = -1.0f;
    // Crossing one unit beside the ray at depth 5: both nearest points and the parameter.
    EXPECT_NEAR(ray.distanceSqToSegment(glm::vec3(-1, 1, -5), glm::vec3(1, 1, -5), &onRay, &onSeg, &t), 1.0f, 1e-5f);
    EXPECT_VEC(onRay, glm::vec3(0, 0, -5));
    EXPECT_VEC(onSeg, glm::vec3(0, 1, -5));
    EXPECT_NEAR(t, 5.0f, 1e-5f);
    // Nearest at an end point, behind the origin, parallel, degenerate.
    const struct {
        glm::vec3 a, b;
        float d2;
    } cases[] = {{{2, 0, -3}, {5, 0, -3}, 4}, {{-1, 0, 3}, {1, 0, 3}, 9}, {{2, 0, -1}, {2, 0, -4}, 4},
                 {{0, 3, -2}, {0, 3, -2}, 9}};
    for (const auto& c : cases)
        EXPECT_NEAR(ray.distanceSqToSegment(c.a, c.b), c.d2, 1e-5f) << c.a.x << "," << c.a.z;

    // Random rays and segments against dense sampling of the segment.
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-5.0f, 5.0f);
    for (int iter = 0; iter < 200; ++iter) {
        const Ray r(glm::vec3(u(rng), u(rng), u(rng)), glm::vec3(u(rng), u(rng), u(rng)));
        const glm::vec3 a(u(rng), u(rng), u(rng)), b(u(rng), u(rng), u(rng));
        float best = 1e30f;
        for (int i = 0; i <= 400; ++i)
            best = std::min(best, r.distanceSqToPoint(a + (b - a) * (float(i) / 400.0f)));
        const float d = r.distanceSqToSegment(a, b);
        EXPECT_LE(d, best + 1e-3f) << "iteration " << iter;
        EXPECT_GE(d, best - 0.05f * (1.0f + best)) << "iteration " << iter;
    }
}

TEST(Plane, DistanceAndApplyMatrix)
{
    Plane p;
    EXPECT_FLOAT_EQ(p.getDistance(glm::vec3(3, 4, 5)), 5.0f);
    // Lifted by 2 along Z, then turned about X by 90 degrees.
    const glm::mat4 m = glm::translate(glm::rotate(glm::mat4(1.0f), glm::radians(90.0f), glm::vec3(1, 0, 0)),
                                       glm::vec3(0, 0, 2));
    p.applyMatrix(m);
    EXPECT_NEAR(p.getDistance(glm::vec3(m * glm::vec4(7, -3, 0, 1))), 0.0f, 1e-5f); // a point of the old plane
    EXPECT_VEC(p.getNormal(), glm::vec3(0, -1, 0));

    // Non-uniform scale keeps the plane through the mapped points.
    Plane q(glm::normalize(glm::vec3(1, 1, 0)), glm::vec3(1, 0, 0));
    const glm::mat4 s = glm::scale(glm::mat4(1.0f), glm::vec3(4, 1, 1));
    q.applyMatrix(s);
    EXPECT_NEAR(q.getDistance(glm::vec3(s * glm::vec4(1, 0, 0, 1))), 0.0f, 1e-5f);
    EXPECT_NEAR(q.getDistance(glm::vec3(s * glm::vec4(0, 1, 0, 1))), 0.0f, 1e-5f);

    orvtest::LogCapture log;
    q.applyMatrix(glm::mat4(0.0f));
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Matrix is singular!"});
}

TEST(Math, ComputeDHIsRzTzTxRx)
{
    // alpha = 90 deg, a = 2, d = 3, theta = 90 deg, worked by hand: the new
    // x axis is the old y, y the old z, z the old x; the origin sits at a
    // along the turned x plus d along z.
    const glm::mat4 f = Math::ComputeDH(Math::PI / 2, 2.0, 3.0, Math::PI / 2);
    ExpectMat(f, glm::mat4(glm::vec4(0, 1, 0, 0), glm::vec4(0, 0, 1, 0), glm::vec4(1, 0, 0, 0), glm::vec4(0, 2, 3, 1)));

    const double cases[][4] = {{0.3, 1.5, -0.7, 1.1}, {-1.2, 0.0, 2.0, -2.5}, {3.0, -4.0, 0.5, 0.0}};
    for (const auto& c : cases) {
        glm::mat4 ref = glm::rotate(glm::mat4(1.0f), float(c[3]), glm::vec3(0, 0, 1));
        ref = glm::translate(ref, glm::vec3(float(c[1]), 0, float(c[2])));
        ExpectMat(Math::ComputeDH(c[0], c[1], c[2], c[3]), glm::rotate(ref, float(c[0]), glm::vec3(1, 0, 0)));
    }
}

TEST(Math, SinCosMatchesTheLibraryAndDhProductSkipsOnlyZeros)
{
    // Quadrant edges, tiny and large arguments, random ones: within two
    // units in the last place of the library's answers, so the same floats.
    std::vector<double> xs = {0.0, -0.0, 1e-300, Math::PI / 4, Math::PI / 2, Math::PI, 3 * Math::PI / 2,
                              -Math::PI / 2, 1e5, -1e5, 1e5 + 1, 7.0e4 * Math::PI};
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> angle(-50.0, 50.0);
    for (int i = 0; i < 20000; ++i)
        xs.push_back(angle(random));
    for (const double x : xs) {
        double s, c;
        Math::SinCos(x, s, c);
        const double ulp = std::numeric_limits<double>::epsilon();
        EXPECT_NEAR(s, std::sin(x), 2 * ulp) << x;
        EXPECT_NEAR(c, std::cos(x), 2 * ulp) << x;
    }
    double s, c;
    Math::SinCos(std::numeric_limits<double>::quiet_NaN(), s, c);
    EXPECT_TRUE(std::isnan(s) && std::isnan(c));
    Math::SinCos(std::numeric_limits<double>::infinity(), s, c);
    EXPECT_TRUE(std::isnan(s) && std::isnan(c));

    for (int i = 0; i < 200; ++i) {
        const glm::mat4 a = Math::ComputeDH(angle(random), angle(random), angle(random), angle(random)) *
                            glm::scale(glm::mat4(1.0f), glm::vec3(float(angle(random))));
        const glm::mat4 dh = Math::ComputeDH(angle(random), angle(random), angle(random), angle(random));
        glm::mat4 full, skipped;
        Math::Multiply(a, dh, full);
        Math::MultiplyDH(a, dh, skipped);
        for (int k = 0; k < 16; ++k) // equal, a zero's sign aside
            EXPECT_TRUE((&full[0][0])[k] == (&skipped[0][0])[k]) << i << " " << k;
    }
}

TEST(Math, TransformsColoursAndConstants)
{
    const glm::mat4 m = glm::scale(orvtest::Translate(1, 2, 3), glm::vec3(2.0f));
    EXPECT_VEC(Math::transformVec3(m, glm::vec3(1, 1, 1)), glm::vec3(3, 4, 5));
    EXPECT_VEC(Math::transformVec3(m, orvcore::VEC3::ZERO), glm::vec3(1, 2, 3));
    EXPECT_VEC(Math::transformDirection(m, glm::vec3(0, 3, 0)), glm::vec3(0, 1, 0)); // no translation, unit
    EXPECT_VEC(Math::transformDirection(glm::mat4(0.0f), glm::vec3(1, 0, 0)), glm::vec3(0.0f));
    glm::mat4 p(1.0f);
    p[3][3] = 2.0f; // perspective divide
    EXPECT_VEC(Math::transformVec3(p, glm::vec3(2, 4, 6)), glm::vec3(1, 2, 3));

    EXPECT_NEAR(Math::DegreesToRadians(180.0), Math::PI, 1e-12);
    EXPECT_VEC(Math::colorFromHex(0xff8000), glm::vec3(1.0f, 128.0f / 255.0f, 0.0f));
    EXPECT_VEC(Math::colorFromHex(0xff0000ffu), glm::vec3(0, 0, 1)); // alpha byte ignored
}

TEST(Math, MakeLineTransformXMapsUnitSegment)
{
    const glm::vec3 from(1, 2, 3), to(4, -2, 3);
    const glm::mat4 m = Math::makeLineTransformX(from, to);
    EXPECT_VEC(Math::transformVec3(m, glm::vec3(0.0f)), from);
    EXPECT_VEC(Math::transformVec3(m, glm::vec3(1, 0, 0)), to);
    // Along Z (the helper axis switches) and degenerate.
    EXPECT_VEC(Math::transformVec3(Math::makeLineTransformX(glm::vec3(0.0f), glm::vec3(0, 0, 5)), glm::vec3(1, 0, 0)),
               glm::vec3(0, 0, 5));
    EXPECT_VEC(Math::transformVec3(Math::makeLineTransformX(from, from), glm::vec3(1, 0, 0)), from);
}

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
