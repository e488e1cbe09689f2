#pragma once

#include <glm/common.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>
#include <glm/vector_relational.hpp>
#include <gtest/gtest.h>

namespace orvtest {

/// Whether two vectors agree within `eps` on every component (NaN never does).
inline ::testing::AssertionResult VecNear(const glm::vec3& actual, const glm::vec3& expected, float eps = 1e-5f)
{
    if (glm::all(glm::lessThanEqual(glm::abs(actual - expected), glm::vec3(eps))))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << actual.x << ", " << actual.y << ", " << actual.z << ") is not ("
                                         << expected.x << ", " << expected.y << ", " << expected.z << ") within "
                                         << eps;
}

inline glm::mat4 Translate(float x, float y, float z) { return glm::translate(glm::mat4(1.0f), glm::vec3(x, y, z)); }

} // namespace orvtest

/// EXPECT_VEC(actual, expected[, eps]): vectors equal within eps (1e-5 by default).
#define EXPECT_VEC(...) EXPECT_TRUE(::orvtest::VecNear(__VA_ARGS__))
