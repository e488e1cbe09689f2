// Instanced runs on the OpenGL device: bad runs warn and draw nothing; a
// good run is one call whose instances land where their matrices put them.

#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/shape/PrimitiveShape.h>

#include "GlFixture.h"

using namespace orvcore;
using orvtest::Rgba;

namespace {

class InstancingTest : public orvtest::GlTest {};

} // namespace

TEST_F(InstancingTest, BadRunsWarnAndGoodRunsAreOneCall)
{
    auto material = BasicMaterial::Create("run.white");
    material->SetColor(glm::vec3(1.0f));
    ClearBlack();
    ASSERT_NE(device->ActiveMaterial(material), nullptr);
    // Two quads of a quarter of the view, in the lower left and upper right.
    auto primitive = std::make_shared<PrimitiveShape>(GeometryBuilder::CreatePlane(0.5f, 0.5f, 1, 1), material);
    const glm::mat4 transforms[2] = {glm::translate(glm::mat4(1.0f), glm::vec3(-0.5f, -0.5f, 0.0f)),
                                     glm::translate(glm::mat4(1.0f), glm::vec3(0.5f, 0.5f, 0.0f))};
    const uint64_t before = device->GetDrawCount();
    device->DrawInstanced(nullptr, transforms, 2);
    device->DrawInstanced(primitive.get(), nullptr, 2);
    device->DrawInstanced(primitive.get(), transforms, 0);
    auto empty = std::make_shared<PrimitiveShape>(nullptr, material);
    device->DrawInstanced(empty.get(), transforms, 2);
    EXPECT_EQ(device->GetDrawCount(), before);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Primitive is null!", "Instance transforms are null!",
                                                      "Primitive has no geometry!"}));

    device->DrawInstanced(primitive.get(), transforms, 2);
    EXPECT_EQ(device->GetDrawCount(), before + 1);
    // The uniform path after the run still takes the model uniform.
    device->Draw(primitive.get(), glm::translate(glm::mat4(1.0f), glm::vec3(0.5f, -0.5f, 0.0f)));
    Read();
    const Rgba white{255, 255, 255, 255}, black{0, 0, 0, 255};
    EXPECT_TRUE(orvtest::Near(At(16, 16), white)) << At(16, 16);
    EXPECT_TRUE(orvtest::Near(At(48, 48), white)) << At(48, 48);
    EXPECT_TRUE(orvtest::Near(At(48, 16), white)) << At(48, 16);
    EXPECT_TRUE(orvtest::Near(At(16, 48), black)) << At(16, 48);
}

TEST_F(InstancingTest, DrawsCutIntoPiecesCoverWhatWholeDrawsCover)
{
    // A device that always cuts: at 64 x 64 pixels a piece is the least,
    // 16,384 elements. A run of 4,096 one-pixel quads (6 indices each)
    // becomes two calls, the second reading its own instances; a plane of
    // 8,192 triangles becomes two index ranges. Either goes wrong as a
    // black band where a piece drew the wrong instances or indices.
    GlRenderDeviceOptions options;
    options.FlushInPieces = 1;
    device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize, options);
    auto material = BasicMaterial::Create("pieces.white");
    material->SetColor(glm::vec3(1.0f));
    const float pixel = 2.0f / float(kSize);
    auto quad = std::make_shared<PrimitiveShape>(GeometryBuilder::CreatePlane(pixel, pixel, 1, 1), material);
    std::vector<glm::mat4> transforms;
    for (unsigned int y = 0; y < kSize; ++y)
        for (unsigned int x = 0; x < kSize; ++x)
            transforms.push_back(glm::translate(
                glm::mat4(1.0f), glm::vec3(-1.0f + (float(x) + 0.5f) * pixel, -1.0f + (float(y) + 0.5f) * pixel, 0.0f)));
    auto plane = std::make_shared<PrimitiveShape>(GeometryBuilder::CreatePlane(2.0f, 2.0f, 64, 64), material);
    const auto allWhite = [&] {
        Read();
        for (unsigned int y = 0; y < kSize; ++y)
            for (unsigned int x = 0; x < kSize; ++x)
                if (!orvtest::Near(At(x, y), Rgba{255, 255, 255, 255}, 0))
                    return testing::AssertionFailure() << "pixel " << x << "," << y << " is " << At(x, y);
        return testing::AssertionSuccess();
    };

    ClearBlack();
    ASSERT_NE(device->ActiveMaterial(material), nullptr);
    const uint64_t before = device->GetDrawCount();
    device->DrawInstanced(quad.get(), transforms.data(), uint32_t(transforms.size()));
    EXPECT_EQ(device->GetDrawCount(), before + 1);
    EXPECT_TRUE(allWhite());

    ClearBlack();
    ASSERT_NE(device->ActiveMaterial(material), nullptr);
    device->Draw(plane.get(), glm::mat4(1.0f));
    EXPECT_TRUE(allWhite());
}
