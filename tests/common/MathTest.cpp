#include <orvcommon/Math.h>
#include <orvcommon/VEC3.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

using orvcore::Math;

namespace {
void ExpectMat(const glm::mat4& a, const glm::mat4& b, float eps = 1e-5f)
{
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            EXPECT_NEAR(a[c][r], b[c][r], eps) << "column " << c << " row " << r;
}
void ExpectVec(const glm::vec3& a, const glm::vec3& b, float eps = 1e-5f)
{
    EXPECT_NEAR(a.x, b.x, eps);
    EXPECT_NEAR(a.y, b.y, eps);
    EXPECT_NEAR(a.z, b.z, eps);
}
} // namespace

TEST(Math, ComputeDHHandWorkedFrame)
{
    // alpha = 90 deg, a = 2, d = 3, theta = 90 deg: the new x axis is the old
    // y, the new y is the old z, the new z is the old x; the origin sits at
    // a along the turned x plus d along z.
    const glm::mat4 f = Math::ComputeDH(Math::PI / 2, 2.0, 3.0, Math::PI / 2);
    glm::mat4 expected(1.0f);
    expected[0] = glm::vec4(0, 1, 0, 0);
    expected[1] = glm::vec4(0, 0, 1, 0);
    expected[2] = glm::vec4(1, 0, 0, 0);
    expected[3] = glm::vec4(0, 2, 3, 1);
    ExpectMat(f, expected);
}

TEST(Math, ComputeDHIsRzTzTxRx)
{
    const double cases[][4] = {{0.3, 1.5, -0.7, 1.1}, {-1.2, 0.0, 2.0, -2.5}, {3.0, -4.0, 0.5, 0.0}};
    for (const auto& c : cases) {
        const float alpha = float(c[0]), a = float(c[1]), d = float(c[2]), theta = float(c[3]);
        glm::mat4 ref = glm::rotate(glm::mat4(1.0f), theta, glm::vec3(0, 0, 1));
        ref = glm::translate(ref, glm::vec3(0, 0, d));
        ref = glm::translate(ref, glm::vec3(a, 0, 0));
        ref = glm::rotate(ref, alpha, glm::vec3(1, 0, 0));
        ExpectMat(Math::ComputeDH(c[0], c[1], c[2], c[3]), ref);
    }
}

TEST(Math, TransformsAndConstants)
{
    const glm::mat4 m = glm::scale(glm::translate(glm::mat4(1.0f), glm::vec3(1, 2, 3)), glm::vec3(2.0f));
    ExpectVec(Math::transformVec3(m, glm::vec3(1, 1, 1)), glm::vec3(3, 4, 5));
    ExpectVec(Math::transformDirection(m, glm::vec3(0, 3, 0)), glm::vec3(0, 1, 0)); // no translation, unit
    ExpectVec(Math::transformDirection(glm::mat4(0.0f), glm::vec3(1, 0, 0)), glm::vec3(0.0f));
    ExpectVec(Math::transformVec3(m, orvcore::VEC3::ZERO), glm::vec3(1, 2, 3));

    // Perspective divide.
    glm::mat4 p(1.0f);
    p[3][3] = 2.0f;
    ExpectVec(Math::transformVec3(p, glm::vec3(2, 4, 6)), glm::vec3(1, 2, 3));

    EXPECT_NEAR(Math::DegreesToRadians(180.0), Math::PI, 1e-12);
    EXPECT_NEAR(Math::TWO_PI, 2.0 * Math::PI, 1e-12);
}

TEST(Math, MakeLineTransformXMapsUnitSegment)
{
    const glm::vec3 from(1, 2, 3), to(4, -2, 3);
    const glm::mat4 m = Math::makeLineTransformX(from, to);
    ExpectVec(Math::transformVec3(m, glm::vec3(0.0f)), from);
    ExpectVec(Math::transformVec3(m, glm::vec3(1, 0, 0)), to);
    // y and z stay unit and orthogonal to the segment.
    EXPECT_NEAR(glm::length(glm::vec3(m[1])), 1.0f, 1e-5f);
    EXPECT_NEAR(glm::length(glm::vec3(m[2])), 1.0f, 1e-5f);
    EXPECT_NEAR(glm::dot(glm::vec3(m[1]), to - from), 0.0f, 1e-5f);
    EXPECT_NEAR(glm::dot(glm::vec3(m[2]), glm::vec3(m[1])), 0.0f, 1e-5f);

    // Along Z (the helper axis switches) and degenerate.
    const glm::mat4 z = Math::makeLineTransformX(glm::vec3(0.0f), glm::vec3(0, 0, 5));
    ExpectVec(Math::transformVec3(z, glm::vec3(1, 0, 0)), glm::vec3(0, 0, 5));
    const glm::mat4 zero = Math::makeLineTransformX(from, from);
    ExpectVec(Math::transformVec3(zero, glm::vec3(1, 0, 0)), from);
}

TEST(Math, ColorFromHex)
{
    ExpectVec(Math::colorFromHex(0xff8000), glm::vec3(1.0f, 128.0f / 255.0f, 0.0f));
    ExpectVec(Math::colorFromHex(0x0000ff), glm::vec3(0, 0, 1));
    ExpectVec(Math::colorFromHex(0xff000000u), glm::vec3(0.0f)); // alpha byte ignored
}
