#include "GlFixture.h"

#include <cstdio>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/material/BasicMaterial.h>

using namespace orvcore;
using namespace orvtest;

namespace {

using GlContextTest = GlTest;

TEST_F(GlContextTest, OpensACoreContextOfAtLeast33)
{
    EXPECT_FALSE(context->GetRendererName().empty());
    int major = 0;
    int minor = 0;
    ASSERT_EQ(std::sscanf(context->GetVersionName().c_str(), "%d.%d", &major, &minor), 2)
        << context->GetVersionName();
    EXPECT_GE(major * 10 + minor, 33);
    EXPECT_NE(context->GetFramebuffer(), 0u);
#ifndef NDEBUG
    EXPECT_TRUE(context->HasDebugOutput());
#endif
    // Images are written by the golden and program tests; bad arguments are refused.
    const uint8_t pixels[16 * 4] = {};
    EXPECT_FALSE(GlRenderDevice::SavePng(::testing::TempDir() + "x.png", 0, 4, pixels));
    EXPECT_FALSE(GlRenderDevice::SavePng(::testing::TempDir() + "x.png", 4, 4, nullptr));
    EXPECT_FALSE(GlRenderDevice::SavePng("/nonexistent-dir/x.png", 4, 4, pixels));
    EXPECT_EQ(log.warnings.size(), 3u);
}

TEST_F(GlContextTest, ClearColourIsReadBackTopRowFirstAndFollowsResize)
{
    device->SetClearColor(glm::vec4(0.2f, 0.4f, 0.6f, 1.0f));
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL);
    Read();
    ASSERT_EQ(std::make_pair(image->GetWidth(), image->GetHeight()), std::make_pair(kSize, kSize));
    EXPECT_TRUE(Near(At(0, 0), Rgba{51, 102, 153, 255}, 1)) << At(0, 0);
    EXPECT_TRUE(Near(At(kSize - 1, kSize - 1), Rgba{51, 102, 153, 255}, 1));

    // Rows come back from the top: a triangle in the upper half shows in
    // the first rows of the image.
    auto material = BasicMaterial::Create("upper");
    material->SetColor(glm::vec3(1.0f, 0.0f, 0.0f));
    auto upper = Geometry(PRIMITIVE_TRIANGLES, {Ndc(0, 48), Ndc(64, 48), Ndc(32, 64)});
    device->ActiveMaterial(material);
    device->Draw(upper.get(), 0, 0);
    Read();
    const uint8_t* firstRow = &image->GetPixels()[(2 * kSize + 32) * 4];
    EXPECT_EQ(firstRow[0], 255);
    EXPECT_EQ(firstRow[1], 0);

    // Resizing changes the drawing area.
    context->Resize(40, 24);
    device->Resize(40, 24);
    EXPECT_EQ(context->GetWidth(), 40u);
    device->ClearBuffers(CLEAR_COLOR);
    Read();
    EXPECT_EQ(std::make_pair(image->GetWidth(), image->GetHeight()), std::make_pair(40u, 24u));
    EXPECT_TRUE(Near(At(39, 23), Rgba{51, 102, 153, 255}, 1));
}

TEST_F(GlContextTest, TargetsGetTheirOwnBuffersAndBecomeTextures)
{
    auto target = std::make_shared<RenderTarget>(16, 8);
    device->AddTarget("offscreen", target);
    EXPECT_EQ(device->FindTarget("offscreen"), target);
    EXPECT_EQ(device->FindTarget("missing"), nullptr);

    device->SetTarget(target, nullptr);
    device->SetClearColor(glm::vec4(0.0f, 1.0f, 0.0f, 1.0f));
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
    Read();
    ASSERT_EQ(std::make_pair(image->GetWidth(), image->GetHeight()), std::make_pair(16u, 8u));
    EXPECT_TRUE(Near(At(15, 7), Rgba{0, 255, 0, 255}, 0));

    // Back on the default framebuffer: the target's colour is drawn over
    // the screen by the background template.
    device->SetTarget(nullptr, nullptr);
    EXPECT_EQ(device->GetPreviousTarget(), target);
    EXPECT_EQ(device->GetTarget(), nullptr);
    ClearBlack();
    auto background = MaterialInstance::Create("bg", "background");
    background->SetDepthTest(false);
    ASSERT_NE(device->ActiveMaterial(background), nullptr);
    device->ActiveTexture(0, target, 0x8CE0);
    device->DrawScreenQuad();
    Read();
    EXPECT_TRUE(Near(At(0, 0), Rgba{0, 255, 0, 255}, 0)) << At(0, 0);
    EXPECT_TRUE(Near(At(63, 63), Rgba{0, 255, 0, 255}, 0)) << At(63, 63);
    EXPECT_EQ(device->GetTargetObjectCount(), 1u);

    // A target nobody holds any more loses its framebuffer at Gc.
    device->ActiveTexture(0, std::shared_ptr<Texture>());
    device->AddTarget("offscreen", std::make_shared<RenderTarget>(4, 4));
    device->SetTarget(nullptr, nullptr);
    target.reset();
    device->Gc();
    EXPECT_EQ(device->GetTargetObjectCount(), 0u);
}

} // namespace
