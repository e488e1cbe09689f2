// The geometry box that streamed nodes recompute every batch: packed and
// interleaved positions, with and without non-finite values, against a
// plain loop over the finite points.
#include <orvkernel/geometry/BufferGeometry.h>

#include <cmath>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "LogCapture.h"

using namespace orvcore;

TEST(GeometryBox, EveryLayoutBoxesTheFinitePointsAndWarnsOfTheOthers)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    struct Case {
        const char* name;
        uint32_t floatsPerItem; // 3 packed, 4 interleaved with a spare float
        std::size_t bad;        // index of a point made non-finite, or none
        float badValue;
    };
    const std::size_t none = std::size_t(-1);
    for (const Case c : {Case{"packed", 3, none, 0.0f}, Case{"packed, NaN first", 3, 0, nan},
                         Case{"packed, infinity", 3, 77, -inf}, Case{"interleaved", 4, none, 0.0f},
                         Case{"interleaved, NaN", 4, 500, nan}}) {
        SCOPED_TRACE(c.name);
        std::vector<float> values;
        glm::vec3 lo(INFINITY), hi(-INFINITY);
        uint32_t seed = 3;
        for (std::size_t i = 0; i < 1000; ++i) {
            glm::vec3 p;
            for (int k = 0; k < 3; ++k) {
                seed = seed * 1664525u + 1013904223u;
                p[k] = float(seed >> 8) / float(1u << 20) - 8.0f + float(k) * 100.0f;
            }
            if (i == c.bad) {
                p.y = c.badValue;
            } else {
                lo = glm::min(lo, p);
                hi = glm::max(hi, p);
            }
            values.insert(values.end(), {p.x, p.y, p.z});
            if (c.floatsPerItem == 4)
                values.push_back(1e30f); // not a coordinate: must not count
        }
        auto store = std::make_shared<BufferAttribute::ByteStore>(values.size() * sizeof(float));
        std::memcpy(store->data(), values.data(), store->size());
        BufferGeometry geometry(PRIMITIVE_POINTS);
        geometry.SetAttribute(ATTRIBUTE_POSITION,
                              std::make_shared<BufferAttribute>(store, DATA_TYPE_FLOAT, 3, c.floatsPerItem * 4, 0,
                                                                values.size() / c.floatsPerItem));
        orvtest::LogCapture log;
        geometry.ComputeBoundingBox();
        ASSERT_TRUE(geometry.GetBoundingBox().isFinite());
        EXPECT_EQ(geometry.GetBoundingBox().getMinimum(), lo);
        EXPECT_EQ(geometry.GetBoundingBox().getMaximum(), hi);
        EXPECT_EQ(log.warnings.size(), c.bad == none ? 0u : 1u);
    }
}
