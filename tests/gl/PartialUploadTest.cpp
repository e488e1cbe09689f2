// Partial buffer uploads: after a few items of a large attribute change, the
// device sends those items alone (bytes counted), and what it draws is the
// new data wherever the changed items lie, across a ring's wrap-around too.
#include "GlFixture.h"

#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/PointsMaterial.h>

using namespace orvcore;
using namespace orvtest;

namespace {

using PartialUploadTest = GlTest;

constexpr std::size_t kPoints = 64 * 64; // one per pixel of the 64 x 64 framebuffer

// Point i sits on the centre of pixel (i % 64, i / 64).
glm::vec3 OnPixel(std::size_t i)
{
    return glm::vec3((float(i % 64) + 0.5f) / 32.0f - 1.0f, (float(i / 64) + 0.5f) / 32.0f - 1.0f, 0.0f);
}

} // namespace

TEST_F(PartialUploadTest, ChangedItemsAloneAreSentAndDrawn)
{
    std::vector<float> xyz(kPoints * 3, 5.0f); // outside the clip volume
    std::vector<float> rgb(kPoints * 3, 1.0f);
    auto geometry = GeometryBuilder::CreatePoints(Float32Array(xyz.data(), xyz.size()), Float32Array(rgb.data(), rgb.size()));
    auto material = PointsMaterial::Create("stream.points");
    material->SetPointSize(1.0f);
    material->SetVertexColors(true);
    ASSERT_TRUE(Paint(material, geometry));
    EXPECT_EQ(LitInRow(10), 0);
    const std::size_t whole = 2 * kPoints * 12;
    EXPECT_EQ(device->GetUploadedBytes(), whole);

    struct Case {
        const char* name;
        std::size_t first, count; // ring indices, taken modulo the point count
    };
    std::size_t lit = 0;
    for (const Case c : {Case{"one point", 64 * 10 + 7, 1}, Case{"a row", 64 * 20, 64},
                         Case{"across the wrap-around", kPoints - 40, 104}}) {
        SCOPED_TRACE(c.name);
        const uint64_t before = device->GetUploadedBytes();
        for (std::size_t i = c.first; i < c.first + c.count; ++i)
            geometry->GetPositions()->SetVec3(i % kPoints, OnPixel(i % kPoints));
        ASSERT_TRUE(Paint(material, geometry));
        EXPECT_EQ(device->GetUploadedBytes() - before, c.count * 12);
        lit += c.count;
        std::size_t seen = 0;
        for (unsigned int y = 0; y < kSize; ++y)
            seen += std::size_t(LitInRow(y));
        EXPECT_EQ(seen, lit); // every written point, no stray one
        const std::size_t last = (c.first + c.count - 1) % kPoints;
        EXPECT_TRUE(Near(At(unsigned(last % 64), unsigned(last / 64)), Rgba{255, 255, 255, 255}, 0));
    }
}
