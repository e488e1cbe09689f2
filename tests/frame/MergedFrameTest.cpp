// Many small parts of one material, each its own geometry (as imported
// assemblies are), are merged by the renderer's lists into one draw; the
// frame must be the one the parts drawn one by one give, also after a part
// moves (only its vertices are written again then).

#include <cstdlib>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/ShapeSceneNode.h>

using namespace orvcore;

namespace {

constexpr unsigned int kSize = 256;

class MergedFrameTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        context = EglContext::Create(kSize, kSize);
        ASSERT_TRUE(context) << "no headless OpenGL context";
        device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize);
        manager = std::make_shared<SceneManager>(kSize, kSize);
        BuildParts();
    }
    void TearDown() override
    {
        device.reset();
        EXPECT_TRUE(!context || context->GetGlErrorCount() == 0u);
    }

    /// Frames drawn by one renderer (kept, as a viewer keeps it).
    struct Frames {
        Renderer renderer;
        BasicPipeline pipeline;
        Frames(GlRenderDevice* device, const std::shared_ptr<SceneManager>& manager) : renderer(device, 1.0f)
        {
            renderer.Initialize(manager);
            renderer.SetViewCondinateType(NoWidget);
            pipeline.Initialize(&renderer);
            pipeline.Prepare(manager, &renderer);
        }
    };
    std::shared_ptr<ImageTexture2D> Draw(Frames& frames, bool merging, uint64_t& draws)
    {
        device->GetSettings().Batching = merging;
        manager->UpdateWorld();
        const uint64_t before = device->GetDrawCount();
        frames.pipeline.Render(manager, &frames.renderer, 0.0f);
        draws = device->GetDrawCount() - before;
        return device->ReadPixels();
    }

    /// A 10 x 10 grid of parts, each its own box and edge geometry, turned
    /// and unevenly scaled so that every normal matrix differs.
    void BuildParts()
    {
        auto face = MeshPhongMaterial::Create("parts.face");
        face->SetColor(glm::vec3(0.7f, 0.75f, 0.85f));
        auto edge = BasicMaterial::Create("parts.edge");
        edge->SetColor(glm::vec3(0.1f));
        for (int i = 0; i < 100; ++i) {
            auto shape = std::make_shared<CompoundShape>();
            shape->AddPrimitive(std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(8.0f)), face));
            shape->AddPrimitive(
                std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBoxEdges(glm::vec3(8.0f)), edge));
            auto node = std::make_shared<ShapeSceneNode>(shape);
            glm::mat4 transform = glm::translate(glm::mat4(1.0f), glm::vec3(float(i % 10) * 12.0f, float(i / 10) * 12.0f, 0));
            transform = glm::rotate(transform, 0.15f * float(i), glm::normalize(glm::vec3(1.0f, 2.0f, 3.0f)));
            transform = glm::scale(transform, glm::vec3(1.0f, 0.6f + 0.004f * float(i), 1.2f));
            node->SetTransform(transform);
            manager->GetScene()->AddNode(node);
            nodes.push_back(node);
        }
        manager->UpdateWorld();
        auto camera = manager->GetCamera();
        camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
        CameraOperator::SetStandardView(camera, STANDARD_VIEW_ISOMETRIC, manager->GetSceneBBox(), 1.2f);
    }

    /// Pixels whose channels differ by more than one level.
    static std::size_t Differing(const ImageTexture2D& a, const ImageTexture2D& b)
    {
        std::size_t differing = 0;
        for (std::size_t i = 0; i < a.GetPixels().size(); ++i)
            differing += std::abs(int(a.GetPixels()[i]) - int(b.GetPixels()[i])) > 1 ? 1u : 0u;
        return differing;
    }

    std::unique_ptr<EglContext> context;
    std::unique_ptr<GlRenderDevice> device;
    std::shared_ptr<SceneManager> manager;
    std::vector<std::shared_ptr<ShapeSceneNode>> nodes;
};

} // namespace

TEST_F(MergedFrameTest, MergedPartsGiveTheImageOfSingleDrawsAlsoAfterAMove)
{
    Frames single(device.get(), manager), merged(device.get(), manager);
    uint64_t singleDraws = 0, mergedDraws = 0;
    const auto one = Draw(single, false, singleDraws);
    const auto all = Draw(merged, true, mergedDraws);
    ASSERT_EQ(one->GetPixels().size(), all->GetPixels().size());
    std::size_t drawn = 0;
    for (std::size_t i = 0; i < one->GetPixels().size(); ++i)
        drawn += one->GetPixels()[i] != one->GetPixels()[i % 4] ? 1u : 0u;
    EXPECT_GT(drawn, one->GetPixels().size() / 20); // the parts are there at all
    // World positions made on the CPU round apart from the model matrix's
    // by an ulp: a few pixels along silhouettes may flip, no more.
    EXPECT_LE(Differing(*one, *all), one->GetPixels().size() / 1000);
    EXPECT_GE(singleDraws, 200u);
    EXPECT_LE(mergedDraws + 190u, singleDraws);

    // A part moves: the kept batch rewrites it, and the frame is the one a
    // fresh renderer draws of the moved scene, to the pixel.
    nodes[37]->SetTransform(glm::translate(nodes[37]->GetTransform(), glm::vec3(0, 0, 6)));
    nodes[37]->RequstUpdate();
    const auto moved = Draw(merged, true, mergedDraws);
    Frames fresh(device.get(), manager);
    const auto again = Draw(fresh, true, mergedDraws);
    EXPECT_EQ(Differing(*moved, *again), 0u);
    EXPECT_GT(Differing(*moved, *all), 0u);
}
