#include <orvcommon/Math.h>
#include <orvcommon/VEC3.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include "Expect.h"

using orvcore::Math;

namespace {
void ExpectMat(const glm::mat4& a, const glm::mat4& b, float eps = 1e-5f)
{
    for (int c = 0; c < 4; ++c)
        EXPECT_VEC(glm::vec3(a[c]), glm::vec3(b[c]), eps) << "column " << c;
    EXPECT_VEC(glm::vec3(a[0][3], a[1][3], a[2][3]), glm::vec3(b[0][3], b[1][3], b[2][3]), eps);
    EXPECT_NEAR(a[3][3], b[3][3], eps);
}
} // namespace

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
    EXPECT_NEAR(Math::TWO_PI, 2.0 * Math::PI, 1e-12);
    EXPECT_VEC(Math::colorFromHex(0xff8000), glm::vec3(1.0f, 128.0f / 255.0f, 0.0f));
    EXPECT_VEC(Math::colorFromHex(0xff0000ffu), glm::vec3(0, 0, 1)); // alpha byte ignored
}

TEST(Math, MakeLineTransformXMapsUnitSegment)
{
    const glm::vec3 from(1, 2, 3), to(4, -2, 3);
    const glm::mat4 m = Math::makeLineTransformX(from, to);
    EXPECT_VEC(Math::transformVec3(m, glm::vec3(0.0f)), from);
    EXPECT_VEC(Math::transformVec3(m, glm::vec3(1, 0, 0)), to);
    // y and z stay unit and orthogonal to the segment.
    EXPECT_NEAR(glm::length(glm::vec3(m[1])), 1.0f, 1e-5f);
    EXPECT_NEAR(glm::length(glm::vec3(m[2])), 1.0f, 1e-5f);
    EXPECT_NEAR(glm::dot(glm::vec3(m[1]), to - from), 0.0f, 1e-5f);
    EXPECT_NEAR(glm::dot(glm::vec3(m[2]), glm::vec3(m[1])), 0.0f, 1e-5f);
    // Along Z (the helper axis switches) and degenerate.
    EXPECT_VEC(Math::transformVec3(Math::makeLineTransformX(glm::vec3(0.0f), glm::vec3(0, 0, 5)), glm::vec3(1, 0, 0)),
               glm::vec3(0, 0, 5));
    EXPECT_VEC(Math::transformVec3(Math::makeLineTransformX(from, from), glm::vec3(1, 0, 0)), from);
}
