// Shadows on real frames: the contact shadow under a box and a raised
// torus, and a light's shadow of a box on a plane.
#include <cmath>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvcommon/Math.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/render/ContactShadowRender.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>

#include "GoldenImage.h"

namespace orvcore {
namespace {

constexpr unsigned int kSize = 256;

// A torus around Z: tube radius r around a circle of radius R.
std::shared_ptr<BufferGeometry> Torus(float R, float r, int around = 48, int tube = 16)
{
    std::vector<float> positions, normals;
    const auto vertex = [&](int i, int j) {
        const float u = float(Math::TWO_PI) * float(i) / float(around);
        const float v = float(Math::TWO_PI) * float(j) / float(tube);
        const glm::vec3 n(std::cos(u) * std::cos(v), std::sin(u) * std::cos(v), std::sin(v));
        const glm::vec3 p = glm::vec3(std::cos(u), std::sin(u), 0.0f) * R + n * r;
        positions.insert(positions.end(), {p.x, p.y, p.z});
        normals.insert(normals.end(), {n.x, n.y, n.z});
    };
    for (int i = 0; i < around; ++i) {
        for (int j = 0; j < tube; ++j) {
            for (const auto& [di, dj] : {std::pair{0, 0}, {1, 0}, {1, 1}, {0, 0}, {1, 1}, {0, 1}})
                vertex(i + di, j + dj);
        }
    }
    return GeometryBuilder::CreateGeometry(Float32Array(positions.data(), positions.size()),
                                           Float32Array(normals.data(), normals.size()));
}

class ShadowFrameTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        context = EglContext::Create(kSize, kSize);
        ASSERT_TRUE(context) << "no headless OpenGL context";
        device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize);
        manager = std::make_shared<SceneManager>(kSize, kSize);
        manager->SetBackground(std::make_shared<ColorBackground>(glm::vec4(1.0f)));
        manager->SetCoodinateGrid(nullptr);
    }
    void TearDown() override
    {
        pipeline.reset();
        renderer.reset();
        device.reset();
        EXPECT_TRUE(!context || context->GetGlErrorCount() == 0u);
    }

    std::shared_ptr<PrimitiveSceneNode> Add(const std::shared_ptr<BufferGeometry>& geometry, const glm::vec3& color,
                                            const glm::vec3& at)
    {
        auto paint = MeshPhongMaterial::Create("shadow.part");
        paint->SetColor(color);
        auto node = std::make_shared<PrimitiveSceneNode>(geometry, paint);
        node->SetTransform(glm::translate(glm::mat4(1.0f), at));
        manager->GetScene()->AddNode(node);
        return node;
    }

    std::shared_ptr<ImageTexture2D> Draw(const AxisAlignedBox& frame)
    {
        manager->UpdateWorld();
        auto camera = manager->GetCamera();
        camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
        CameraOperator::SetStandardView(camera, STANDARD_VIEW_ISOMETRIC, frame, 1.1f);
        renderer = std::make_unique<Renderer>(device.get(), 1.0f);
        renderer->Initialize(manager);
        renderer->SetViewCondinateType(NoWidget);
        pipeline = std::make_unique<BasicPipeline>();
        pipeline->Initialize(renderer.get());
        pipeline->Prepare(manager, renderer.get());
        if (auto* contact = dynamic_cast<ContactShadowRender*>(renderer->GetShadowRender()))
            contact->SetDarkness(darkness);
        return Redraw();
    }
    /// The next frame of the same renderer.
    std::shared_ptr<ImageTexture2D> Redraw()
    {
        manager->UpdateWorld();
        pipeline->Render(manager, renderer.get(), 0.0f);
        return device->ReadPixels();
    }

    std::unique_ptr<EglContext> context;
    std::unique_ptr<GlRenderDevice> device;
    std::shared_ptr<SceneManager> manager;
    std::unique_ptr<Renderer> renderer;
    std::unique_ptr<BasicPipeline> pipeline;
    float darkness = 0.5f;
};

void ExpectMatchesGolden(const std::string& name, const ImageTexture2D& image)
{
    orvtest::ExpectMatchesGolden(std::string(ORVCORE_GOLDEN_DIR) + "/" + name + ".png", name, image);
}

TEST_F(ShadowFrameTest, ContactShadowUnderABoxAndARaisedTorus)
{
    Add(GeometryBuilder::CreateBox(glm::vec3(40.0f)), glm::vec3(0.3f, 0.5f, 0.8f), glm::vec3(-35, 0, 20));
    // The torus floats 12 above the ground: its shadow is lighter and softer.
    Add(Torus(22.0f, 7.0f), glm::vec3(0.85f, 0.55f, 0.25f), glm::vec3(35, 0, 19));
    device->GetSettings().ContactShadow = true;
    device->GetSettings().ContactShadowBlur = 4.0f;
    darkness = 0.8f;
    ExpectMatchesGolden("contact_shadow",
                        *Draw(AxisAlignedBox(glm::vec3(-70, -40, 0), glm::vec3(70, 40, 40))));
}

TEST_F(ShadowFrameTest, ContactShadowOfAMovedPartIsTheMapDrawnAfresh)
{
    // The casters are merged into one list and only a moved part's run is
    // written again: the frame after a move must be the one a new renderer
    // draws of the moved scene, to the pixel.
    auto box = Add(GeometryBuilder::CreateBox(glm::vec3(30.0f)), glm::vec3(0.3f, 0.5f, 0.8f), glm::vec3(-35, 0, 15));
    Add(Torus(22.0f, 7.0f), glm::vec3(0.85f, 0.55f, 0.25f), glm::vec3(35, 0, 19));
    Add(GeometryBuilder::CreateBox(glm::vec3(10.0f)), glm::vec3(0.2f, 0.7f, 0.3f), glm::vec3(0, 30, 5));
    device->GetSettings().ContactShadow = true;
    const AxisAlignedBox frame(glm::vec3(-70, -40, 0), glm::vec3(70, 40, 40));
    Draw(frame);
    auto* contact = dynamic_cast<ContactShadowRender*>(renderer->GetShadowRender());
    ASSERT_NE(contact, nullptr);
    EXPECT_EQ(contact->GetCasterBatch().GetMergedCount(), 3u);
    EXPECT_EQ(contact->GetCasterBatch().GetSeparateCount(), 0u);

    // Along y only: the model's box, and so the map's footprint, stays.
    box->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(-35, -12, 15)));
    box->RequstUpdate();
    const auto moved = Redraw();
    EXPECT_EQ(contact->GetCasterBatch().GetRewrittenCount(), 1u);
    const auto fresh = Draw(frame);
    ASSERT_EQ(moved->GetWidth(), fresh->GetWidth());
    EXPECT_TRUE(moved->GetPixels() == fresh->GetPixels());
}

TEST_F(ShadowFrameTest, LightShadowOfABoxOnAPlane)
{
    manager->SetBackground(std::make_shared<ColorBackground>(glm::vec4(0.8f, 0.84f, 0.9f, 1.0f)));
    Add(GeometryBuilder::CreatePlane(200.0f, 200.0f), glm::vec3(0.95f), glm::vec3(0.0f));
    Add(GeometryBuilder::CreateBox(glm::vec3(40.0f)), glm::vec3(0.8f, 0.3f, 0.3f), glm::vec3(-20, -10, 20));
    // One light from above the front left: the shadow falls to the back
    // right, behind the box.
    LightManager& lights = *manager->GetLightManager();
    auto sun = lights.GetLights().front();
    sun->SetFollowCamera(false);
    sun->SetDirection(glm::vec3(0.6f, 1.0f, -0.9f));
    device->GetSettings().Shadow = true;
    ExpectMatchesGolden("light_shadow", *Draw(AxisAlignedBox(glm::vec3(-80, -80, 0), glm::vec3(80, 80, 40))));
}

} // namespace
} // namespace orvcore
