// How the layers of a frame cover each other, checked on real frames: the 2D
// foreground lies over the model, the ground grid under faces in its plane
// and behind parts standing on it, and points keep their size in logical
// pixels.
#include <functional>
#include <memory>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/TagNode2D.h>
#include <orvcore/scene/TextSceneNode.h>
#include <orvcore/widget/CoordinateGridWidget.h>

namespace orvcore {
namespace {

constexpr unsigned int kSize = 200;
using Pixels = std::vector<uint8_t>;

class ViewLayersTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        context = EglContext::Create(kSize, kSize, 1);
        ASSERT_TRUE(context) << "no headless OpenGL context";
        device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize);
    }

    // A fresh view on a white background, filled by `build`, drawn once.
    Pixels Draw(const std::function<void(SceneManager&)>& build, float dpi = 1.0f)
    {
        auto manager = std::make_shared<SceneManager>(kSize, kSize);
        manager->SetBackground(std::make_shared<ColorBackground>(glm::vec4(1.0f)));
        build(*manager);
        Renderer renderer(device.get(), dpi);
        renderer.Initialize(manager);
        renderer.SetViewCondinateType(NoWidget);
        BasicPipeline pipeline;
        pipeline.Initialize(&renderer);
        pipeline.Prepare(manager, &renderer);
        manager->UpdateWorld();
        pipeline.Render(manager, &renderer, 0.0f);
        return device->ReadPixels()->GetPixels();
    }

    static std::shared_ptr<PrimitiveSceneNode> Solid(const std::shared_ptr<BufferGeometry>& geometry,
                                                     const glm::vec3& color, const glm::vec3& at)
    {
        auto material = BasicMaterial::Create("layers.solid");
        material->SetColor(color);
        auto node = std::make_shared<PrimitiveSceneNode>(geometry, material);
        node->SetTransform(glm::translate(glm::mat4(1.0f), at));
        return node;
    }

    static bool Same(const Pixels& a, const Pixels& b, std::size_t pixel)
    {
        return std::equal(a.begin() + long(pixel * 4), a.begin() + long(pixel * 4 + 3), b.begin() + long(pixel * 4));
    }

    std::unique_ptr<EglContext> context;
    std::unique_ptr<GlRenderDevice> device;
};

TEST_F(ViewLayersTest, TagIsDrawnWholeOverThePartInFrontOfItsAnchor)
{
    const auto scene = [](bool withBox, bool withTag) {
        return [=](SceneManager& manager) {
            manager.GetCoodinateGrid()->SetVisible(false);
            manager.GetCamera()->LookAt(glm::vec3(0, -300, 0), glm::vec3(0.0f), glm::vec3(0, 0, 1));
            if (withBox)
                manager.GetScene()->AddNode(
                    Solid(GeometryBuilder::CreateBox(glm::vec3(150.0f)), glm::vec3(0.2f, 0.4f, 0.9f), glm::vec3(0.0f)));
            if (withTag) {
                // Anchored behind the box; its label sits over the box's image.
                auto text = std::make_shared<TextSceneNode>(L"Mounting face", 16.0f, glm::vec3(0.1f), glm::vec3(1.0f),
                                                            false);
                auto tag = TagNode2D::Create(text, glm::vec3(0, 200, 0), glm::vec3(0, 200, 0));
                tag->SetPosition(glm::vec3(-40, 30, 0), false);
                manager.GetScene2D()->AddNode(tag);
            }
        };
    };
    const Pixels plain = Draw(scene(false, false)), tagOnly = Draw(scene(false, true));
    const Pixels boxOnly = Draw(scene(true, false)), both = Draw(scene(true, true));
    std::size_t tagPixels = 0, overBox = 0;
    for (std::size_t p = 0; p < kSize * kSize; ++p) {
        if (Same(plain, tagOnly, p))
            continue; // not part of the tag
        ++tagPixels;
        overBox += Same(plain, boxOnly, p) ? 0 : 1;
        EXPECT_TRUE(Same(tagOnly, both, p)) << "pixel " << p % kSize << ", " << p / kSize;
    }
    EXPECT_GT(tagPixels, 200u);
    EXPECT_GT(overBox, tagPixels / 2); // the check is about the part in front
}

TEST_F(ViewLayersTest, GridHidesUnderFacesInItsPlaneAndBehindPartsOnIt)
{
    for (const unsigned int projection : {Camera::PROJECTION_PERSPECTIVE, Camera::PROJECTION_ORTHOGRAPHIC}) {
        SCOPED_TRACE(projection);
        const auto scene = [=](bool grid) {
            return [=](SceneManager& manager) {
                auto plate = Solid(GeometryBuilder::CreatePlane(160, 120), glm::vec3(0.9f, 0.3f, 0.2f), glm::vec3(0.0f));
                auto block = Solid(GeometryBuilder::CreateBox(glm::vec3(40.0f)), glm::vec3(0.2f, 0.7f, 0.3f),
                                   glm::vec3(20, 10, 20));
                manager.GetScene()->AddNode(plate);
                manager.GetScene()->AddNode(block);
                manager.GetCoodinateGrid()->SetVisible(grid);
                manager.UpdateWorld();
                manager.GetCoodinateGrid()->FitToBoundingBox(AxisAlignedBox(glm::vec3(-300.0f), glm::vec3(300.0f)));
                auto camera = manager.GetCamera();
                camera->SetProjectionType(projection);
                camera->LookAt(glm::vec3(150, -220, 160), glm::vec3(0.0f), glm::vec3(0, 0, 1));
                CameraOperator::FitToBox(*camera, manager.GetSceneBBox(), 0.05f);
                manager.UpdateWorld();
                CameraOperator::EncloseInClipRange(*camera, manager.GetWorldBBox());
            };
        };
        const Pixels without = Draw(scene(false)), with = Draw(scene(true));
        std::size_t covered = 0, gridElsewhere = 0;
        for (unsigned int y = 2; y + 2 < kSize; ++y) {
            for (unsigned int x = 2; x + 2 < kSize; ++x) {
                // Pixels whose 5 x 5 neighbourhood is all plate or block:
                // edges, where a grid line may legitimately peek, are left out.
                bool inside = true;
                for (int dy = -2; dy <= 2 && inside; ++dy)
                    for (int dx = -2; dx <= 2 && inside; ++dx)
                        inside = without[((y + dy) * kSize + x + dx) * 4] != 255;
                const std::size_t p = y * kSize + x;
                if (inside) {
                    ++covered;
                    EXPECT_TRUE(Same(without, with, p)) << "grid shows at " << x << ", " << y;
                } else if (!Same(without, with, p)) {
                    ++gridElsewhere;
                }
            }
        }
        EXPECT_GT(covered, 3000u);
        EXPECT_GT(gridElsewhere, 500u); // the grid is drawn where nothing covers it
    }
}

TEST_F(ViewLayersTest, PointSizesAreLogicalPixelsScaledByTheDeviceDpi)
{
    const auto count = [this](float dpi) {
        const Pixels pixels = Draw(
            [](SceneManager& manager) {
                manager.GetCoodinateGrid()->SetVisible(false);
                auto material = PointsMaterial::Create("layers.point");
                material->SetColor(glm::vec3(0.0f));
                material->SetPointSize(6.0f);
                float origin[3] = {0.0f, 0.0f, 0.0f};
                manager.GetScene()->AddNode(std::make_shared<PrimitiveSceneNode>(
                    GeometryBuilder::CreatePoints(Float32Array(origin, 3)), material));
            },
            dpi);
        std::size_t dark = 0;
        for (std::size_t p = 0; p < kSize * kSize; ++p)
            dark += pixels[p * 4] < 128 ? 1 : 0;
        return dark;
    };
    const std::size_t single = count(1.0f), doubled = count(2.0f);
    EXPECT_NEAR(double(single), 3.14159 * 9.0, 10.0); // a round point, 6 pixels across
    EXPECT_NEAR(double(doubled) / double(single), 4.0, 0.8);
}

TEST_F(ViewLayersTest, DrawingOutlivesTheActiveMaterial)
{
    // The device keeps what its draws need of the active material, not the
    // material: a temporary one may be gone before the draw (ASan checks).
    ASSERT_NE(device->ActiveMaterial(MaterialInstance::Create("layers.quad", "background")), nullptr);
    device->DrawScreenQuad();
    auto line = BasicMaterial::Create("layers.line");
    line->LineWidth = 3;
    ASSERT_NE(device->ActiveMaterial(line), nullptr);
    line.reset();
    device->Draw(GeometryBuilder::CreateLine(glm::vec3(0.0f), glm::vec3(1.0f)).get(), 0, 0);
}

} // namespace
} // namespace orvcore
