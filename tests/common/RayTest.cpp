#include <orvcommon/Plane.h>
#include <orvcommon/Ray.h>
#include <orvcommon/Sphere.h>

#include <random>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "LogCapture.h"

using orvcore::Plane;
using orvcore::Ray;
using orvcore::Sphere;

namespace {
void ExpectVec(const glm::vec3& a, const glm::vec3& b, float eps = 1e-5f)
{
    EXPECT_NEAR(a.x, b.x, eps);
    EXPECT_NEAR(a.y, b.y, eps);
    EXPECT_NEAR(a.z, b.z, eps);
}
} // namespace

TEST(Ray, NormalisesDirectionAndRejectsZero)
{
    Ray ray(glm::vec3(1, 2, 3), glm::vec3(0, 0, 5));
    ExpectVec(ray.getDirection(), glm::vec3(0, 0, 1));
    ExpectVec(ray.getPoint(2.0f), glm::vec3(1, 2, 5));

    orvtest::LogCapture log;
    Ray bad(glm::vec3(0.0f), glm::vec3(0.0f));
    ExpectVec(bad.getDirection(), glm::vec3(0, 0, -1));
    ASSERT_EQ(log.warnings.size(), 1u);
    EXPECT_EQ(log.warnings[0], "Ray direction is invalid!");
}

TEST(Ray, PlaneHitsMissesAndParallel)
{
    // Default plane: z = 0, normal +Z.
    Ray down(glm::vec3(1, 1, 10), glm::vec3(0, 0, -1));
    auto [hit, t] = down.intersects(Plane());
    EXPECT_TRUE(hit);
    EXPECT_FLOAT_EQ(t, 10.0f);
    ExpectVec(down.getPoint(t), glm::vec3(1, 1, 0));

    // Plane behind the origin: no hit, but the parameter is still reported.
    Ray up(glm::vec3(0, 0, 10), glm::vec3(0, 0, 1));
    auto behind = up.intersects(Plane());
    EXPECT_FALSE(behind.first);
    EXPECT_FLOAT_EQ(behind.second, -10.0f);

    // Parallel: no hit unless the ray lies in the plane.
    Ray side(glm::vec3(0, 0, 1), glm::vec3(1, 0, 0));
    EXPECT_FALSE(side.intersects(Plane()).first);
    Ray inPlane(glm::vec3(0, 0, 0), glm::vec3(1, 0, 0));
    EXPECT_TRUE(inPlane.intersects(Plane()).first);

    // Oblique plane x + y = 2 (normal not unit on input).
    Plane oblique(glm::vec3(1, 1, 0), -2.0f * std::sqrt(2.0f));
    Ray diag(glm::vec3(0.0f), glm::vec3(1, 1, 0));
    auto d = diag.intersects(oblique);
    EXPECT_TRUE(d.first);
    EXPECT_NEAR(d.second, 2.0f, 1e-5f);
}

TEST(Ray, SphereHitsMissesAndInside)
{
    const Sphere s(glm::vec3(0, 0, -10), 2.0f);
    auto hit = Ray(glm::vec3(0.0f), glm::vec3(0, 0, -1)).intersects(s);
    EXPECT_TRUE(hit.first);
    EXPECT_FLOAT_EQ(hit.second, 8.0f);

    EXPECT_FALSE(Ray(glm::vec3(0.0f), glm::vec3(0, 0, 1)).intersects(s).first);        // behind
    EXPECT_FALSE(Ray(glm::vec3(2.01f, 0, 0), glm::vec3(0, 0, -1)).intersects(s).first); // beside
    EXPECT_TRUE(Ray(glm::vec3(2.0f, 0, 0), glm::vec3(0, 0, -1)).intersects(s).first);   // grazing

    auto inside = Ray(glm::vec3(0, 0, -10), glm::vec3(1, 0, 0)).intersects(s);
    EXPECT_TRUE(inside.first);
    EXPECT_FLOAT_EQ(inside.second, 0.0f);
}

TEST(Ray, ApplyMatrixMovesOriginAndDirection)
{
    Ray ray(glm::vec3(1, 0, 0), glm::vec3(1, 0, 0));
    glm::mat4 m = glm::translate(glm::mat4(1.0f), glm::vec3(0, 5, 0));
    m = glm::rotate(m, glm::radians(90.0f), glm::vec3(0, 0, 1));
    m = glm::scale(m, glm::vec3(3.0f));
    ray.applyMatrix(m);
    ExpectVec(ray.getOrigin(), glm::vec3(0, 8, 0));
    ExpectVec(ray.getDirection(), glm::vec3(0, 1, 0)); // re-normalised after scaling
}

TEST(Ray, ClosestPointToPoint)
{
    Ray ray(glm::vec3(0.0f), glm::vec3(1, 0, 0));
    ExpectVec(ray.closestPointToPoint(glm::vec3(5, 3, 0)), glm::vec3(5, 0, 0));
    EXPECT_FLOAT_EQ(ray.distanceSqToPoint(glm::vec3(5, 3, 4)), 25.0f);
    // Behind the origin the origin itself is nearest.
    ExpectVec(ray.closestPointToPoint(glm::vec3(-5, 1, 0)), glm::vec3(0.0f));
    EXPECT_FLOAT_EQ(ray.distanceSqToPoint(glm::vec3(-3, 4, 0)), 25.0f);
}

TEST(Ray, DistanceToSegmentCases)
{
    Ray ray(glm::vec3(0.0f), glm::vec3(0, 0, -1));
    glm::vec3 onRay, onSeg;
    float t = -1.0f;

    // Crossing segment, one unit beside the ray at depth 5.
    EXPECT_NEAR(ray.distanceSqToSegment(glm::vec3(-1, 1, -5), glm::vec3(1, 1, -5), &onRay, &onSeg, &t), 1.0f, 1e-5f);
    ExpectVec(onRay, glm::vec3(0, 0, -5));
    ExpectVec(onSeg, glm::vec3(0, 1, -5));
    EXPECT_NEAR(t, 5.0f, 1e-5f);

    // Segment whose nearest point is an end point.
    EXPECT_NEAR(ray.distanceSqToSegment(glm::vec3(2, 0, -3), glm::vec3(5, 0, -3), nullptr, &onSeg), 4.0f, 1e-5f);
    ExpectVec(onSeg, glm::vec3(2, 0, -3));

    // Segment behind the origin: distance from the origin.
    EXPECT_NEAR(ray.distanceSqToSegment(glm::vec3(-1, 0, 3), glm::vec3(1, 0, 3)), 9.0f, 1e-5f);

    // Parallel segment at distance 2.
    EXPECT_NEAR(ray.distanceSqToSegment(glm::vec3(2, 0, -1), glm::vec3(2, 0, -4)), 4.0f, 1e-5f);

    // Degenerate segment is a point.
    EXPECT_NEAR(ray.distanceSqToSegment(glm::vec3(0, 3, -2), glm::vec3(0, 3, -2)), 9.0f, 1e-5f);
}

TEST(Ray, DistanceToSegmentMatchesDenseSampling)
{
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-5.0f, 5.0f);
    for (int iter = 0; iter < 200; ++iter) {
        const Ray ray(glm::vec3(u(rng), u(rng), u(rng)), glm::vec3(u(rng), u(rng), u(rng)));
        const glm::vec3 a(u(rng), u(rng), u(rng)), b(u(rng), u(rng), u(rng));
        const float d = ray.distanceSqToSegment(a, b);
        float best = 1e30f;
        for (int i = 0; i <= 400; ++i) {
            const glm::vec3 p = a + (b - a) * (float(i) / 400.0f);
            best = std::min(best, ray.distanceSqToPoint(p));
        }
        EXPECT_LE(d, best + 1e-3f) << "iteration " << iter;
        EXPECT_GE(d, best - 0.05f * (1.0f + best)) << "iteration " << iter;
    }
}

TEST(Plane, DefaultAndApplyMatrix)
{
    Plane p;
    ExpectVec(p.getNormal(), glm::vec3(0, 0, 1));
    EXPECT_FLOAT_EQ(p.getD(), 0.0f);
    EXPECT_FLOAT_EQ(p.getDistance(glm::vec3(3, 4, 5)), 5.0f);

    // Lift by 2 along Z and turn about X by 90 degrees: the plane becomes y = -2... check by points.
    glm::mat4 m = glm::rotate(glm::mat4(1.0f), glm::radians(90.0f), glm::vec3(1, 0, 0));
    m = glm::translate(m, glm::vec3(0, 0, 2));
    p.applyMatrix(m);
    const glm::vec3 moved = glm::vec3(m * glm::vec4(7, -3, 0, 1)); // a point of the old plane
    EXPECT_NEAR(p.getDistance(moved), 0.0f, 1e-5f);
    ExpectVec(p.getNormal(), glm::vec3(0, -1, 0));

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
