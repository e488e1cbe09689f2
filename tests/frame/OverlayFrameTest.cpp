// The orientation overlays on real frames: the view axis and the view cube
// in the top-right corner of a 720 x 720 view for three camera orientations,
// each golden the three corners side by side.
#include <cstring>

#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/ViewCubeRenderer.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/ViewCube.h>

#include "GoldenImage.h"

namespace orvcore {
namespace {

constexpr unsigned int kSize = 720;
constexpr unsigned int kCorner = 200; // the overlay's centre is 100 pixels in

class OverlayFrameTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        context = EglContext::Create(kSize, kSize);
        ASSERT_TRUE(context) << "no headless OpenGL context";
        device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize);
        manager = std::make_shared<SceneManager>(kSize, kSize);
        manager->SetBackground(std::make_shared<ColorBackground>(glm::vec4(1.0f)));
        auto paint = MeshPhongMaterial::Create("overlay.part");
        paint->SetColor(glm::vec3(0.8f, 0.6f, 0.3f));
        manager->GetScene()->AddNode(
            std::make_shared<PrimitiveSceneNode>(GeometryBuilder::CreateBox(glm::vec3(400, 200, 100)), paint));
        manager->UpdateWorld();
        renderer = std::make_unique<Renderer>(device.get(), 1.0f);
        renderer->Initialize(manager);
        pipeline.Initialize(renderer.get());
        pipeline.Prepare(manager, renderer.get());
    }
    void TearDown() override
    {
        renderer.reset();
        device.reset();
        EXPECT_TRUE(!context || context->GetGlErrorCount() == 0u);
    }

    // The top-right corner of a frame seen from each view, side by side.
    ImageTexture2D Corners(const std::vector<EnumStandardView>& views, unsigned int hoverElement = 0)
    {
        ImageTexture2D strip(kCorner * unsigned(views.size()), kCorner);
        for (std::size_t v = 0; v < views.size(); ++v) {
            CameraOperator::SetStandardView(manager->GetCamera(), views[v], manager->GetSceneBBox(), 1.2f);
            auto* cube = static_cast<ViewCubeRenderer*>(renderer->GetViewCube());
            cube->GetViewCube()->SetHoverElement(v + 1 == views.size() ? hoverElement : 0);
            manager->UpdateWorld();
            pipeline.Render(manager, renderer.get(), 0.0f);
            const auto frame = device->ReadPixels();
            for (unsigned int y = 0; y < kCorner; ++y)
                std::memcpy(&strip.GetPixels()[(std::size_t(y) * strip.GetWidth() + v * kCorner) * 4],
                            &frame->GetPixels()[(std::size_t(y) * kSize + kSize - kCorner) * 4], kCorner * 4);
        }
        return strip;
    }

    std::unique_ptr<EglContext> context;
    std::unique_ptr<GlRenderDevice> device;
    std::shared_ptr<SceneManager> manager;
    std::unique_ptr<Renderer> renderer;
    BasicPipeline pipeline;
};

const std::vector<EnumStandardView> kViews = {STANDARD_VIEW_ISOMETRIC, STANDARD_VIEW_FRONT,
                                              STANDARD_VIEW_BACK_BOTTOM_LEFT};

void ExpectMatchesGolden(const std::string& name, const ImageTexture2D& image)
{
    orvtest::ExpectMatchesGolden(std::string(ORVCORE_GOLDEN_DIR) + "/" + name + ".png", name, image);
}

TEST_F(OverlayFrameTest, ViewCubeTurnsWithTheCameraAndShowsItsHover)
{
    // The last view hovers the corner between back, left and bottom.
    ExpectMatchesGolden("overlay_cube", Corners(kViews, ViewCube::GetElementId({-1, 1, -1})));
}

TEST_F(OverlayFrameTest, ViewAxisTurnsWithTheCamera)
{
    renderer->SetViewCondinateType(Axis);
    ExpectMatchesGolden("overlay_axis", Corners(kViews));
}

} // namespace
} // namespace orvcore
