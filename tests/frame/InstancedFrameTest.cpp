// Runs of parts that share their geometry and material are drawn by the
// OpenGL device as one instanced call each; the frame must be the one the
// parts drawn one by one give (instancing off through the device settings).

#include <cstdlib>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/ShapeSceneNode.h>

using namespace orvcore;

namespace {

constexpr unsigned int kSize = 256;

class InstancedFrameTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        context = EglContext::Create(kSize, kSize);
        ASSERT_TRUE(context) << "no headless OpenGL context";
        device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize);
        manager = std::make_shared<SceneManager>(kSize, kSize);
        BuildRack();
    }
    void TearDown() override
    {
        device.reset();
        EXPECT_TRUE(!context || context->GetGlErrorCount() == 0u);
    }

    /// One frame; `draws` gets the GL draw calls it made.
    std::shared_ptr<ImageTexture2D> DrawFrame(bool instancing, uint64_t& draws)
    {
        device->GetSettings().Instancing = instancing;
        Renderer renderer(device.get(), 1.0f);
        renderer.Initialize(manager);
        renderer.SetViewCondinateType(NoWidget);
        BasicPipeline pipeline;
        pipeline.Initialize(&renderer);
        pipeline.Prepare(manager, &renderer);
        manager->UpdateWorld();
        const uint64_t before = device->GetDrawCount();
        pipeline.Render(manager, &renderer, 0.0f);
        draws = device->GetDrawCount() - before;
        return device->ReadPixels();
    }

    /// A 6 x 6 rack of boxes (one box geometry, one edge geometry, thin
    /// edges, corner points), turned and unevenly scaled so that the normal
    /// matrices differ per part; one box in another colour breaks the run,
    /// and two see-through boxes of the same geometry stay single draws.
    void BuildRack()
    {
        auto face = MeshPhongMaterial::Create("rack.face");
        face->SetColor(glm::vec3(0.7f, 0.75f, 0.85f));
        auto red = MeshPhongMaterial::Create("rack.red");
        red->SetColor(glm::vec3(0.85f, 0.2f, 0.15f));
        auto glass = MeshPhongMaterial::Create("rack.glass");
        glass->SetColor(glm::vec3(0.2f, 0.8f, 0.3f));
        glass->SetOpacity(0.5f);
        glass->BlendingMode = BLENDING_TRANSPARENT;
        auto edge = BasicMaterial::Create("rack.edge");
        edge->SetColor(glm::vec3(0.1f));
        auto dots = PointsMaterial::Create("rack.dots");
        dots->SetPointSize(4.0f);
        dots->SetColor(glm::vec3(0.1f, 0.1f, 0.9f));
        const auto box = GeometryBuilder::CreateBox(glm::vec3(10.0f));
        const auto edges = GeometryBuilder::CreateBoxEdges(glm::vec3(10.0f));
        float corners[] = {-5, -5, -5, 5, 5, 5};
        const auto points = GeometryBuilder::CreatePoints(Float32Array(corners, 6));
        for (int i = 0; i < 38; ++i) {
            const bool seeThrough = i >= 36;
            auto shape = std::make_shared<CompoundShape>();
            shape->AddPrimitive(std::make_shared<PrimitiveShape>(box, seeThrough ? glass : i == 14 ? red : face));
            shape->AddPrimitive(std::make_shared<PrimitiveShape>(edges, edge));
            shape->AddPrimitive(std::make_shared<PrimitiveShape>(points, dots));
            auto node = std::make_shared<ShapeSceneNode>(shape);
            const glm::vec3 at = seeThrough ? glm::vec3(float(i - 36) * 30.0f + 15.0f, 15.0f, 20.0f)
                                            : glm::vec3(float(i % 6) * 16.0f, float(i / 6) * 16.0f, 0.0f);
            glm::mat4 transform = glm::translate(glm::mat4(1.0f), at);
            transform = glm::rotate(transform, 0.2f * float(i), glm::normalize(glm::vec3(1.0f, 2.0f, 3.0f)));
            transform = glm::scale(transform, glm::vec3(1.0f, 0.6f + 0.02f * float(i), 1.2f));
            node->SetTransform(transform);
            manager->GetScene()->AddNode(node);
        }
        manager->UpdateWorld();
        auto camera = manager->GetCamera();
        camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
        CameraOperator::SetStandardView(camera, STANDARD_VIEW_ISOMETRIC, manager->GetSceneBBox(), 1.2f);
    }

    std::unique_ptr<EglContext> context;
    std::unique_ptr<GlRenderDevice> device;
    std::shared_ptr<SceneManager> manager;
};

} // namespace

TEST_F(InstancedFrameTest, RunsDrawnInstancedGiveTheImageOfSingleDraws)
{
    uint64_t singleDraws = 0, instancedDraws = 0;
    const auto single = DrawFrame(false, singleDraws);
    const auto instanced = DrawFrame(true, instancedDraws);
    ASSERT_EQ(single->GetPixels().size(), instanced->GetPixels().size());
    // The same matrices reach the same shader arithmetic: the pixels agree
    // to the last bit but for rounding in the driver (one level allowed).
    std::size_t differing = 0, drawn = 0;
    const auto& a = single->GetPixels();
    const auto& b = instanced->GetPixels();
    for (std::size_t i = 0; i < a.size(); ++i) {
        differing += std::abs(int(a[i]) - int(b[i])) > 1 ? 1u : 0u;
        drawn += a[i] != a[i % 4] ? 1u : 0u; // the rack is there at all
    }
    EXPECT_EQ(differing, 0u);
    EXPECT_GT(drawn, a.size() / 20);
    // 38 faces, edges and point pairs one by one; far fewer as runs (the
    // red box splits the faces, the two see-through boxes stay single).
    EXPECT_GE(singleDraws, 3u * 38u);
    EXPECT_LE(instancedDraws + 3u * 38u - 12u, singleDraws);
}
