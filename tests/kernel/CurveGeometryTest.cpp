#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/plot/CurveGeometryBuilder.h>

#include "LogCapture.h"

using namespace orvcore;

TEST(CurveGeometryTest, GridLinesKeepEveryStrideAndTheLast)
{
    // A plane of 6 x 4 cells: 7 columns and 5 rows of vertices.
    auto plane = GeometryBuilder::CreatePlane(6.0f, 4.0f, 6, 4);
    ASSERT_TRUE(plane);
    struct Case {
        uint32_t stride;
        std::size_t rows, columns; // lines kept
    } cases[] = {{1, 5, 7}, {2, 3, 4}, {3, 3, 3}, {4, 2, 3}, {100, 2, 2}};
    for (const Case& c : cases) {
        auto lines = CurveGeometryBuilder::CreateGridLines(*plane, 7, 5, c.stride);
        ASSERT_TRUE(lines) << c.stride;
        EXPECT_EQ(lines->GetPrimitiveType(), PRIMITIVE_LINES);
        EXPECT_EQ(lines->GetPositions(), plane->GetPositions());
        EXPECT_EQ(lines->GetPrimitiveCount(), c.rows * 6 + c.columns * 4) << c.stride;
        // Every segment joins neighbours of one row or one column.
        for (std::size_t s = 0; s < lines->GetPrimitiveCount(); ++s) {
            const uint32_t a = lines->GetElementVertex(2 * s), b = lines->GetElementVertex(2 * s + 1);
            EXPECT_TRUE((b == a + 1 && a / 7 == b / 7) || b == a + 7) << a << " " << b;
        }
        EXPECT_EQ(lines->GetBoundingBox(), plane->GetBoundingBox());
    }

    orvtest::LogCapture log;
    EXPECT_FALSE(CurveGeometryBuilder::CreateGridLines(*plane, 7, 4, 1)); // 28 of 35 vertices
    EXPECT_FALSE(CurveGeometryBuilder::CreateGridLines(*plane, 35, 1, 1));
    EXPECT_FALSE(CurveGeometryBuilder::CreateGridLines(*plane, 7, 5, 0));
    EXPECT_FALSE(CurveGeometryBuilder::CreateGridLines(BufferGeometry(), 7, 5, 1));
    EXPECT_EQ(log.warnings, std::vector<std::string>(4, "Grid size does not match the geometry!"));
}

TEST(CurveGeometryTest, PolylineDistancesSkipGaps)
{
    const float nan = std::nanf("");
    std::vector<float> points = {0, 0, 0, 3, 4, 0, nan, 0, 0, 3, 4, 1, 3, 4, 3, 9};
    auto strip = CurveGeometryBuilder::CreatePolyline(Float32Array(points.data(), points.size()));
    ASSERT_TRUE(strip);
    ASSERT_EQ(strip->GetVertexCount(), 5u); // the stray 16th float is dropped
    const auto& distance = strip->GetAttribute(ATTRIBUTE_LINE_DISTANCE);
    const float expected[] = {0.0f, 5.0f, 5.0f, 5.0f, 7.0f};
    for (uint32_t i = 0; i < 5; ++i)
        EXPECT_FLOAT_EQ(distance->GetX(i), expected[i]) << i;
    EXPECT_EQ(strip->GetBoundingBox(), AxisAlignedBox(glm::vec3(0.0f), glm::vec3(3.0f, 4.0f, 3.0f)));
    EXPECT_EQ(CurveGeometryBuilder::CreatePolyline(Float32Array(points.data(), 6), true)->GetPrimitiveType(),
              PRIMITIVE_LINE_LOOP);

    orvtest::LogCapture log;
    EXPECT_FALSE(CurveGeometryBuilder::CreatePolyline(Float32Array(points.data(), 5)));
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Curve needs at least two points!"});
}
