// Whole frames drawn on the OpenGL device (llvmpipe in CI) through the
// renderer and the basic pipeline, compared with golden images under
// tests/golden (see GoldenImage.h for the tolerance; scripts/update-goldens
// rewrites them deliberately).

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/ImageBackground.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/SkyboxBackground.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/ShapeSceneNode.h>
#include <orvcore/scene/TagNode2D.h>

#include "GoldenImage.h"
#include "TempFiles.h"

using namespace orvcore;
using orvtest::WritePpm;

namespace {

constexpr unsigned int kSize = 256;
void ExpectMatchesGolden(const std::string& name, const ImageTexture2D& image)
{
    orvtest::ExpectMatchesGolden(std::string(ORVCORE_GOLDEN_DIR) + "/" + name + ".png", name, image);
}

class FrameImageTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        context = EglContext::Create(kSize, kSize);
        ASSERT_TRUE(context) << "no headless OpenGL context";
        device = std::make_unique<GlRenderDevice>(context->GetFramebuffer(), kSize, kSize);
        manager = std::make_shared<SceneManager>(kSize, kSize);
        BuildCell();
        }
    void TearDown() override
    {
        renderer.reset();
        device.reset();
        EXPECT_TRUE(!context || context->GetGlErrorCount() == 0u);
    }

    std::shared_ptr<ImageTexture2D> DrawFrame()
    {
        renderer = std::make_unique<Renderer>(device.get(), 1.0f);
        renderer->Initialize(manager);
        renderer->SetViewCondinateType(NoWidget); // overlays have frames of their own
        BasicPipeline pipeline;
        pipeline.Initialize(renderer.get());
        pipeline.Prepare(manager, renderer.get());
        manager->UpdateWorld();
        pipeline.Render(manager, renderer.get(), 0.0f);
        return device->ReadPixels();
    }

    /// A machined block (faces and edges) and an orange pin on the grid.
    void BuildCell()
    {
        auto face = MeshPhongMaterial::Create("cell.face");
        face->SetColor(glm::vec3(0.75f, 0.78f, 0.82f));
        auto edge = BasicMaterial::Create("cell.edge");
        edge->SetColor(glm::vec3(0.1f));
        edge->LineWidth = 2;
        auto block = std::make_shared<CompoundShape>();
        block->AddPrimitive(std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(120, 80, 60)), face));
        block->AddPrimitive(
            std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBoxEdges(glm::vec3(120, 80, 60)), edge));
        blockNode = std::make_shared<ShapeSceneNode>(block);
        blockNode->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0, 0, 30)));
        manager->GetScene()->AddNode(blockNode);

        auto orange = MeshPhongMaterial::Create("cell.pin");
        orange->SetColor(glm::vec3(0.9f, 0.5f, 0.2f));
        pinNode = std::make_shared<PrimitiveSceneNode>(GeometryBuilder::CreateCylinder(25, 25, 100, 32), orange);
        pinNode->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(140, 40, 50)));
        manager->GetScene()->AddNode(pinNode);
        manager->UpdateWorld();

        auto camera = manager->GetCamera();
        camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
        CameraOperator::SetStandardView(camera, STANDARD_VIEW_ISOMETRIC, manager->GetSceneBBox(), 1.3f);
    }

    std::unique_ptr<EglContext> context;
    std::unique_ptr<GlRenderDevice> device;
    std::unique_ptr<Renderer> renderer;
    std::shared_ptr<SceneManager> manager;
    std::shared_ptr<ShapeSceneNode> blockNode;
    std::shared_ptr<PrimitiveSceneNode> pinNode;
};

} // namespace

TEST_F(FrameImageTest, LitPartsWithEdgesOnTheGrid)
{
    ExpectMatchesGolden("cell", *DrawFrame());
}

TEST_F(FrameImageTest, SelectedFaceAndHighlightedPinWithLabels)
{
    auto camera = manager->GetCamera();
    // Pick the block's top face at its projected centre and the pin's side.
    const glm::vec3 top = CameraOperator::WorldPointToWindowPoint(*camera, glm::vec3(0, 0, 60));
    Raycaster pickBlock(camera, 7, int(top.x), int(top.y));
    ASSERT_GT(pickBlock.HitTest(manager), 0u);
    EXPECT_EQ(pickBlock.GetTopItem().GetNode(), blockNode.get());
    manager->GetSelection()->Select(pickBlock.GetTopItem(), false);
    const glm::vec3 side = CameraOperator::WorldPointToWindowPoint(*camera, glm::vec3(140, 40, 50));
    Raycaster pickPin(camera, 7, int(side.x), int(side.y));
    ASSERT_GT(pickPin.HitTest(manager), 0u);
    manager->GetSelection()->Hilight(pickPin.GetTopItem());

    auto label = TextSceneNode::Create(L"Part A", glm::vec3(0.1f, 0.1f, 0.5f), 20.0f, true);
    label->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(-60, -70, 0)) * label->GetScale());
    manager->GetScene()->AddNode(label);
    auto text = std::make_shared<TextSceneNode>(L"Pin 25", 18.0f, glm::vec3(0.0f), glm::vec3(1.0f), false);
    auto tag = TagNode2D::Create(text, glm::vec3(140, 40, 100), glm::vec3(140, 40, 100));
    tag->SetPosition(glm::vec3(70, 90, 0), false);
    manager->GetScene2D()->AddNode(tag);

    ExpectMatchesGolden("selection", *DrawFrame());
}

TEST_F(FrameImageTest, TransparentFaceOverOpaqueWithVertices)
{
    // A see-through panel in front of the block, and the block's corners as points.
    auto glass = MeshPhongMaterial::Create("cell.glass");
    glass->SetColor(glm::vec3(0.2f, 0.8f, 0.3f));
    glass->SetOpacity(0.5f);
    glass->BlendingMode = BLENDING_TRANSPARENT;
    glass->SetFaceSide(FACE_DOUBLE);
    auto panel = std::make_shared<PrimitiveSceneNode>(GeometryBuilder::CreatePlane(160, 90, 1, 1), glass);
    panel->SetTransform(glm::rotate(glm::translate(glm::mat4(1.0f), glm::vec3(0, -60, 45)), glm::radians(90.0f),
                                    glm::vec3(1, 0, 0)));
    manager->GetScene()->AddNode(panel);
    std::vector<float> corners;
    for (int i = 0; i < 8; ++i)
        corners.insert(corners.end(), {(i & 1) ? 60.0f : -60.0f, (i & 2) ? 40.0f : -40.0f, (i & 4) ? 60.0f : 0.0f});
    auto dots = PointsMaterial::Create("cell.dots");
    dots->SetPointSize(7.0f);
    dots->SetColor(glm::vec3(0.9f, 0.1f, 0.1f));
    manager->GetScene()->AddNode(std::make_shared<PrimitiveSceneNode>(
        GeometryBuilder::CreatePoints(Float32Array(corners.data(), corners.size())), dots));
    ExpectMatchesGolden("transparency", *DrawFrame());
}

TEST_F(FrameImageTest, ImageBackgroundBehindTheModel)
{
    // A vertical gradient, dark at the top.
    const std::string path = ::testing::TempDir() + "orv_background.ppm";
    WritePpm(path, 64, 64, [](int x, int y) { return glm::ivec3(40 + y * 3, 60 + y * 2, 90 + x); });
    auto image = std::make_shared<ImageTexture2D>();
    ASSERT_TRUE(image->Load(path));
    manager->SetBackground(std::make_shared<ImageBackground>(image));
    ExpectMatchesGolden("image_background", *DrawFrame());
}

TEST_F(FrameImageTest, SkyboxAroundAnOrthographicView)
{
    // The six faces are read relative to the working directory.
    // Each face one colour with a darker frame.
    const std::string dir = ::testing::TempDir() + "orv_sky";
    std::filesystem::create_directories(dir + "/skybox");
    const glm::ivec3 colors[6] = {{200, 60, 60}, {60, 200, 60}, {60, 60, 200}, {200, 200, 60}, {60, 200, 200},
                                  {200, 60, 200}};
    const char* names[6] = {"posx", "negx", "negy", "posy", "posz", "negz"};
    for (int i = 0; i < 6; ++i)
        WritePpm(dir + "/skybox/EnvMap_" + names[i] + ".jpg", 32, 32, [&](unsigned x, unsigned y) {
            return x < 2 || y < 2 || x >= 30 || y >= 30 ? colors[i] / 2 : colors[i];
        });
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(dir);

    manager->GetCamera()->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    manager->SetBackground(SkyboxBackground::Create(""));
    auto image = DrawFrame(); // the faces are decoded on the first frame
    std::filesystem::current_path(previous);
    EXPECT_EQ(manager->GetCamera()->GetProjectionType(), uint32_t(Camera::PROJECTION_ORTHOGRAPHIC));
    ExpectMatchesGolden("skybox", *image);
}
