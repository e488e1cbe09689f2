// Frames drawn in fewer calls must be the frames of one call per part:
// runs of parts that share their geometry and material are drawn by the
// OpenGL device as one instanced call each (off through the device
// settings), and many small parts of one material, each its own geometry
// (as imported assemblies are), are merged by the renderer's lists into one
// draw, also after a part moves (only its vertices are written again).

#include <cstdlib>
#include <functional>
#include <vector>

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
    }
    void TearDown() override
    {
        device.reset();
        EXPECT_TRUE(!context || context->GetGlErrorCount() == 0u);
    }

    /// A renderer and its pipeline, kept across frames as a viewer keeps them.
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
    /// One frame; `draws` gets the GL draw calls it made.
    std::shared_ptr<ImageTexture2D> Draw(Frames& frames, bool instancing, bool merging, uint64_t& draws)
    {
        device->GetSettings().Instancing = instancing;
        device->GetSettings().Batching = merging;
        manager->UpdateWorld();
        const uint64_t before = device->GetDrawCount();
        frames.pipeline.Render(manager, &frames.renderer, 0.0f);
        draws = device->GetDrawCount() - before;
        return device->ReadPixels();
    }
    /// One frame of a fresh renderer.
    std::shared_ptr<ImageTexture2D> DrawFrame(bool instancing, bool merging, uint64_t& draws)
    {
        Frames frames(device.get(), manager);
        return Draw(frames, instancing, merging, draws);
    }
    /// Pixels whose channels differ by more than one level.
    static std::size_t Differing(const ImageTexture2D& a, const ImageTexture2D& b)
    {
        std::size_t differing = 0;
        for (std::size_t i = 0; i < a.GetPixels().size(); ++i)
            differing += std::abs(int(a.GetPixels()[i]) - int(b.GetPixels()[i])) > 1 ? 1u : 0u;
        return differing;
    }
    /// Whether anything is drawn at all: pixels other than the first one.
    static std::size_t Drawn(const ImageTexture2D& image)
    {
        std::size_t drawn = 0;
        for (std::size_t i = 0; i < image.GetPixels().size(); ++i)
            drawn += image.GetPixels()[i] != image.GetPixels()[i % 4] ? 1u : 0u;
        return drawn;
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

    /// A 10 x 10 grid of parts, each its own box and edge geometry, turned
    /// and unevenly scaled so that every normal matrix differs. `coloured`:
    /// each part with face and edge materials of its own, the faces in
    /// colours of their own, as an imported assembly's parts come.
    void BuildParts(bool coloured = false)
    {
        auto face = MeshPhongMaterial::Create("parts.face");
        face->SetColor(glm::vec3(0.7f, 0.75f, 0.85f));
        auto edge = BasicMaterial::Create("parts.edge");
        edge->SetColor(glm::vec3(0.1f));
        for (int i = 0; i < 100; ++i) {
            if (coloured) {
                face = MeshPhongMaterial::Create("parts.face");
                face->SetColor(glm::vec3(float(i % 10) / 10.0f, 0.5f, float(i / 10) / 10.0f));
                edge = BasicMaterial::Create("parts.edge");
                edge->SetColor(glm::vec3(0.1f));
            }
            faces.push_back(face);
            auto shape = std::make_shared<CompoundShape>();
            shape->AddPrimitive(std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(8.0f)), face));
            shape->AddPrimitive(
                std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBoxEdges(glm::vec3(8.0f)), edge));
            auto node = std::make_shared<ShapeSceneNode>(shape);
            glm::mat4 transform =
                glm::translate(glm::mat4(1.0f), glm::vec3(float(i % 10) * 12.0f, float(i / 10) * 12.0f, 0));
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

    /// The 100 parts drawn merged against one by one; then, after
    /// `change`, the kept batch's frame against a fresh renderer's.
    void ExpectMergedAsSingleDraws(const std::function<void()>& change)
    {
        Frames single(device.get(), manager), merged(device.get(), manager);
        uint64_t singleDraws = 0, mergedDraws = 0;
        const auto one = Draw(single, true, false, singleDraws);
        const auto all = Draw(merged, true, true, mergedDraws);
        ASSERT_EQ(one->GetPixels().size(), all->GetPixels().size());
        EXPECT_GT(Drawn(*one), one->GetPixels().size() / 20);
        // World positions made on the CPU round apart from the model
        // matrix's by an ulp: a few pixels along silhouettes may flip.
        EXPECT_LE(Differing(*one, *all), one->GetPixels().size() / 1000);
        EXPECT_GE(singleDraws, 200u);
        EXPECT_LE(mergedDraws + 190u, singleDraws);

        // The changed frame is the one a fresh renderer draws, to the pixel.
        change();
        const auto changed = Draw(merged, true, true, mergedDraws);
        const auto again = DrawFrame(true, true, mergedDraws);
        EXPECT_EQ(Differing(*changed, *again), 0u);
        EXPECT_GT(Differing(*changed, *all), 0u);
    }

    std::unique_ptr<EglContext> context;
    std::unique_ptr<GlRenderDevice> device;
    std::shared_ptr<SceneManager> manager;
    std::vector<std::shared_ptr<ShapeSceneNode>> nodes;
    std::vector<std::shared_ptr<MeshPhongMaterial>> faces;
};

} // namespace

TEST_F(InstancedFrameTest, RunsDrawnInstancedGiveTheImageOfSingleDraws)
{
    BuildRack();
    uint64_t singleDraws = 0, instancedDraws = 0;
    const auto single = DrawFrame(false, false, singleDraws);
    const auto instanced = DrawFrame(true, false, instancedDraws);
    ASSERT_EQ(single->GetPixels().size(), instanced->GetPixels().size());
    // The same matrices reach the same shader arithmetic: the pixels agree
    // to the last bit but for rounding in the driver (one level allowed).
    EXPECT_EQ(Differing(*single, *instanced), 0u);
    EXPECT_GT(Drawn(*single), single->GetPixels().size() / 20); // the rack is there at all
    // 38 faces, edges and point pairs one by one; far fewer as runs (the
    // red box splits the faces, the two see-through boxes stay single).
    EXPECT_GE(singleDraws, 3u * 38u);
    EXPECT_LE(instancedDraws + 3u * 38u - 12u, singleDraws);
}

TEST_F(InstancedFrameTest, MergedPartsGiveTheImageOfSingleDrawsAlsoAfterAMove)
{
    BuildParts();
    // A part moves: the kept batch rewrites its vertices.
    ExpectMergedAsSingleDraws([&] {
        nodes[37]->SetTransform(glm::translate(nodes[37]->GetTransform(), glm::vec3(0, 0, 6)));
        nodes[37]->RequstUpdate();
    });
}

TEST_F(InstancedFrameTest, PartsInColoursOfTheirOwnMergeWithTheImageOfSingleDraws)
{
    // Tinted: colours from the vertices, times white. A part takes another
    // colour: the kept batch rewrites its colours.
    BuildParts(true);
    ExpectMergedAsSingleDraws([&] { faces[37]->SetColor(glm::vec3(1.0f, 0.0f, 0.0f)); });
}
