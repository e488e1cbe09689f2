// Whole frames on the recording device: the order of every step of the basic
// pipeline, the selection path, the foreground, the effect composer and the
// backgrounds.
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/render/EffectComposer.h>
#include <orvcore/render/ImageBackground.h>
#include <orvcore/render/RenderPass.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/ShaderPass.h>
#include <orvcore/render/SkyboxBackground.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/PlanarGridWidget.h>

#include <gtest/gtest.h>
#include <orvkernel/material/MeshPhongMaterial.h>

#include "LogCapture.h"
#include "RecordingDevice.h"
#include "ShapeFactory.h"
#include "TempFiles.h"

using namespace orvcore;
using Calls = std::vector<std::string>;

namespace {

std::string DrawOf(const PrimitiveShape* p) { return "Draw(" + std::to_string(p->GetObjectId()) + ")"; }

PickedItem Picked(SceneNode* node, EnumShapeFilter kind)
{
    return PickedItem(node, IntersectPoint(kind, 0, glm::vec3(0.0f), 1.0f));
}

// A binary PPM image of one colour (stb reads PNM as well as PNG and JPEG).
std::string WritePpm(const std::string& name, unsigned w, unsigned h, const glm::ivec3& colour)
{
    const std::string path = orvtest::Scratch() + name;
    orvtest::WritePpm(path, w, h, [&](unsigned, unsigned) { return colour; });
    return path;
}

const char* const kSkyClear = "SetClearColor(0.145098,0.686275,0.952941,1)";

struct View {
    View()
    {
        manager = std::make_shared<SceneManager>(200, 200);
        face = orvtest::Square(0, 0, 0, 10);
        face->SetMaterial(MeshPhongMaterial::Create("model.face"));
        node = std::make_shared<PrimitiveSceneNode>(face);
        manager->GetScene()->AddNode(node);
        manager->UpdateWorld();
        renderer.Initialize(manager);
        renderer.SetViewCondinateType(NoWidget); // overlays have tests of their own
    }
    SelectionManager& Selection() { return *manager->GetSelection(); }
    orvtest::RecordingDevice device{200, 200};
    Renderer renderer{&device, 1.0f};
    std::shared_ptr<SceneManager> manager;
    std::shared_ptr<PrimitiveShape> face;
    std::shared_ptr<PrimitiveSceneNode> node;
};

} // namespace

TEST(BasicPipeline, FrameOrderWithEmptySelectionAndTheCurrentGrip)
{
    View view;
    BasicPipeline pipeline;
    pipeline.Render(view.manager, &view.renderer, 0.0f);
    Calls expected{"SetCamera", "SetClearColor(0.0705882,0.717647,0.952941,1)", "ClearBuffers(0x4500)", "SetCamera",
                   "SetPolygonOffset(1,1,1)", "_ActiveMaterial(model.face)", DrawOf(view.face.get()),
                   "SetPolygonOffset(0,0,0)", "ActiveMaterial(sys.point)", "SetDepthTest(0)", "SetDepthTest(1)"};
    for (const auto& p : view.manager->GetCoodinateGrid()->GetPrimitives())
        expected.insert(expected.end(), {"_ActiveMaterial(sys.grid.line)", DrawOf(p.get())});
    expected.insert(expected.end(), {"SetCamera", "SetCamera", "Gc"}); // canvas camera, then the view's again
    EXPECT_EQ(view.device.CallsWithout("SetUniform"), expected);

    // The current grip is drawn by the selection step even when nothing is
    // selected or highlighted (after the grip points, before the grid).
    view.Selection().GetGripNodeManager()->Add(GripNode(ElementId(1), 0, GRIP_TYPE_POINT, glm::vec3(1, 2, 3)));
    view.Selection().GetGripNodeManager()->SetHighlightIdx(0);
    view.device.Clear();
    pipeline.Render(view.manager, &view.renderer, 0.0f);
    expected.insert(expected.begin() + 11, {"ActiveMaterial(sys.selection.point)", "SetDepthTest(0)",
                                            "DrawPoint(1,2,3)", "SetDepthTest(1)"});
    expected.insert(expected.begin() + 10, "DrawPoint(1,2,3)");
    EXPECT_EQ(view.device.CallsWithout("SetUniform"), expected);
}

TEST(BasicPipeline, SelectionHighlightAndGrips)
{
    View view;
    auto& selection = view.Selection();
    selection.Select(Picked(view.node.get(), SHAPE_FILTER_FACE), false);
    auto edge = orvtest::Primitive(PRIMITIVE_LINES, {{0, 0, 1}, {5, 0, 1}});
    auto edgeNode = std::make_shared<PrimitiveSceneNode>(edge);
    view.manager->GetScene()->AddNode(edgeNode);
    selection.Hilight(Picked(edgeNode.get(), SHAPE_FILTER_EDGE));
    selection.GetGripNodeManager()->Add(GripNode(ElementId(1), 0, GRIP_TYPE_POINT, glm::vec3(1, 2, 3)));
    selection.GetGripNodeManager()->Add(GripNode(ElementId(2), 1, GRIP_TYPE_POINT, glm::vec3(4, 5, 6)));
    selection.GetGripNodeManager()->SetHighlightIdx(1);
    view.manager->SetCoodinateGrid(nullptr);
    view.manager->UpdateWorld();

    BasicPipeline().Render(view.manager, &view.renderer, 0.0f);
    const auto calls = view.device.CallsWithout("SetUniform");
    const auto grips = std::find(calls.begin(), calls.end(), "ActiveMaterial(sys.point)");
    ASSERT_NE(grips, calls.end());
    // Grip points after the model without depth test; the selected face in the
    // pick style with a negative offset, then the current grip, then the
    // highlighted edge; the highlight has no current grip.
    EXPECT_EQ(Calls(grips, calls.end()),
              (Calls{"ActiveMaterial(sys.point)", "SetDepthTest(0)", "DrawPoint(1,2,3)", "DrawPoint(4,5,6)",
                     "SetDepthTest(1)", "SetPolygonOffset(1,-1,-1)", "ActiveMaterial(sys.pick.face)",
                     DrawOf(view.face.get()), "SetPolygonOffset(0,0,0)", "ActiveMaterial(sys.selection.point)",
                     "SetDepthTest(0)", "DrawPoint(4,5,6)", "SetDepthTest(1)", "SetPolygonOffset(1,-1,-1)",
                     "ActiveMaterial(sys.hilight.edge)", DrawOf(edge.get()), "SetPolygonOffset(0,0,0)", "SetCamera",
                     "SetCamera", "Gc"}));
}

TEST(Renderer, SelectedLineLoopIsDroppedWithAWarning)
{
    // The model pass draws a line loop as a line; the selection path routes
    // only points, segments, strips and triangles and drops the loop.
    View view;
    auto loop = orvtest::Primitive(PRIMITIVE_LINE_LOOP, {{0, 0, 1}, {5, 0, 1}, {5, 5, 1}});
    auto loopNode = std::make_shared<PrimitiveSceneNode>(loop);
    view.manager->GetScene()->AddNode(loopNode);
    view.manager->SetCoodinateGrid(nullptr);
    view.manager->UpdateWorld();
    view.Selection().Select(Picked(loopNode.get(), SHAPE_FILTER_EDGE), true);
    view.Selection().Select(Picked(view.node.get(), SHAPE_FILTER_FACE), true);
    orvtest::LogCapture log;
    view.renderer.RenderModel(view.manager, view.manager->GetCamera(), nullptr);
    EXPECT_EQ(view.device.Count(DrawOf(loop.get())), 1u);

    view.device.Clear();
    view.renderer.DrawSelection(view.manager, view.manager->GetCamera());
    EXPECT_EQ(log.warnings, Calls{"Not support shape type!"});
    EXPECT_EQ(view.device.CallsWithout("SetUniform"),
              (Calls{"SetPolygonOffset(1,-1,-1)", "ActiveMaterial(sys.pick.face)", DrawOf(view.face.get()),
                     "SetPolygonOffset(0,0,0)"}));
}

TEST(Renderer, ForegroundDrawsVisibleTwoDimensionalNodesOverClearedDepth)
{
    View view;
    auto label = std::make_shared<PrimitiveSceneNode>(orvtest::Square(0, 0, 0, 5));
    auto hidden = std::make_shared<SceneNode2D>(std::make_shared<PrimitiveSceneNode>(orvtest::Square(0, 0, 0, 5)));
    hidden->SetVisible(false);
    view.manager->GetScene2D()->AddNode(std::make_shared<SceneNode2D>(label));
    view.manager->GetScene2D()->AddNode(hidden);
    view.renderer.RenderForegound(view.manager->GetScene2D(), view.manager->GetCamera());
    EXPECT_EQ(view.device.CallsWithout("SetUniform"),
              (Calls{"SetCamera", "ClearBuffers(0x100)", "_ActiveMaterial(sys.opacity)",
                     DrawOf(label->GetPrimitive().get()), "SetCamera"}));
    EXPECT_EQ(view.device.camera, view.manager->GetCamera()); // the view camera is current again

    // Preparing builds the templates; the view axis never answers a pick.
    view.renderer.Prepare();
    EXPECT_GT(view.device.Count("BuildTemplate("), 5u);
    view.renderer.SetViewCondinateType(Axis);
    EXPECT_FALSE(view.renderer.HitTestViewWidget(10, 10, view.manager->GetCamera()).first);
    view.renderer.Resize(320, 240);
    EXPECT_EQ(view.device.width, 320u);
}

TEST(EffectComposer, LastEnabledPassAloneWritesToTheScreen)
{
    View view;
    view.device.AddTarget("t1", std::make_shared<RenderTarget>(64, 64));
    view.device.AddTarget("t2", std::make_shared<RenderTarget>(64, 64));
    EffectComposer composer("t1", "t2");
    composer.AddPass(std::make_unique<RenderPass>(true)); // A
    auto disabled = std::make_unique<RenderPass>(true);   // B
    disabled->SetEnabled(false);
    composer.AddPass(std::move(disabled));
    composer.AddPass(std::make_unique<ShaderPass>(RawShader::Create("fx", "v", "f"))); // C
    composer.Initialize(&view.renderer);
    view.device.Clear();
    composer.Render(view.manager, &view.renderer, 0.0f);
    EXPECT_EQ(view.device.CallsStartingWith("SetTarget"), (Calls{"SetTarget(t1)", "SetTarget(screen)"}));
    EXPECT_EQ(view.device.CallsStartingWith("ActiveTexture"), Calls{"ActiveTexture(0,t1,0x8CE0)"}); // C reads A
    EXPECT_EQ(view.device.CallsStartingWith("ClearBuffers"), Calls{"ClearBuffers(0x4500)"});
    EXPECT_EQ(view.device.Count("SetUniform(viewportSize)"), 1u);
    EXPECT_EQ(view.device.Count("Gc"), 0u); // a composer draws only its passes
    composer.SetRenderToScreen(false);
    view.device.Clear();
    composer.Render(view.manager, &view.renderer, 0.0f);
    EXPECT_EQ(view.device.CallsStartingWith("SetTarget"), (Calls{"SetTarget(t1)", "SetTarget(t2)"}));

    // A render pass that does not swap leaves the next pass on the same buffer.
    EffectComposer noSwap("t1", "t2");
    noSwap.AddPass(std::make_unique<RenderPass>(false));
    noSwap.AddPass(std::make_unique<RenderPass>(true));
    noSwap.SetRenderToScreen(false);
    noSwap.Initialize(&view.renderer);
    view.device.Clear();
    noSwap.Render(view.manager, &view.renderer, 0.0f);
    EXPECT_EQ(view.device.CallsStartingWith("SetTarget"), (Calls{"SetTarget(t1)", "SetTarget(t1)"}));
    view.device.Clear();
    EffectComposer("t1", "t2").Render(view.manager, &view.renderer, 0.0f);
    EXPECT_TRUE(view.device.calls.empty());
}

// ---- Backgrounds

TEST(ImageTexture, LoadsNowOrWhenFirstNeeded)
{
    const std::string path = WritePpm("red.ppm", 3, 2, {255, 0, 0});
    ImageTexture2D now;
    ASSERT_TRUE(now.Load(path));
    EXPECT_EQ(now.GetWidth(), 3u);
    EXPECT_EQ(std::vector<uint8_t>(now.GetPixels().begin(), now.GetPixels().begin() + 4),
              (std::vector<uint8_t>{255, 0, 0, 255})); // opaque alpha added
    ImageTexture2D later;
    const uint32_t version = later.GetVersion();
    later.LoadAsync(path);
    EXPECT_TRUE(later.IsPending());
    EXPECT_GT(later.GetVersion(), version);
    EXPECT_EQ(later.GetHeight(), 2u); // decoded on first use
    EXPECT_FALSE(later.IsPending());

    orvtest::LogCapture log;
    ImageTexture2D missing;
    EXPECT_FALSE(missing.Load("/nonexistent/sky.png"));
    EXPECT_TRUE(missing.IsEmpty());
    EXPECT_EQ(log.warnings, Calls{"Image file cannot be read: /nonexistent/sky.png!"});
    ImageTextureCube cube;
    const std::string face = WritePpm("face.ppm", 4, 4, {0, 0, 255});
    EXPECT_TRUE(cube.Load({face, face, face, face, face, face}));
    EXPECT_EQ(cube.GetWidth(), 4u);
    EXPECT_EQ(cube.GetFace(5).size(), 64u);
    EXPECT_FALSE(cube.Load({face, face, face, path, face, face})); // not square
    EXPECT_TRUE(cube.IsEmpty());
}

TEST(Background, ColourAndImageClearEveryBuffer)
{
    View view;
    view.device.Clear();
    ColorBackground(glm::vec4(0.25f, 0.5f, 0.75f, 0.0f)).Render(&view.renderer, nullptr);
    ImageBackground(nullptr).Render(&view.renderer, nullptr); // no image: sky blue
    ImageBackground image(std::make_shared<ImageTexture2D>(2, 2));
    EXPECT_TRUE(image.GetMaterial()->GetTexture("t2D"));
    EXPECT_FALSE(image.GetMaterial()->DepthWrite);
    image.Render(&view.renderer, nullptr);
    EXPECT_EQ(view.device.calls, (Calls{"SetClearColor(0.25,0.5,0.75,0)", "ClearBuffers(0x4500)", kSkyClear,
                                         "ClearBuffers(0x4500)", "ClearBuffers(0x4500)", "ActiveMaterial(sys.bkg.t)",
                                         "DrawScreenQuad"}));
    orvtest::LogCapture log;
    ColorBackground().ClearView(nullptr);
    EXPECT_EQ(log.warnings, Calls{"RenderDevice is null!"});
}

TEST(SkyboxBackground, DrawsInPerspectiveAndRestoresOrthographic)
{
    View view;
    view.device.Clear();
    auto camera = std::make_shared<Camera>(64, 64, glm::vec3(0, -10, 0), glm::vec3(0.0f), glm::vec3(0, 0, 1));
    camera->SetProjectionType(Camera::PROJECTION_ORTHOGRAPHIC);
    auto sky = SkyboxBackground::Create("ignored");
    ASSERT_TRUE(sky->GetTexture());
    EXPECT_TRUE(sky->GetTexture()->IsPending()); // loaded when first drawn
    const auto& geometry = sky->GetSky()->GetGeometry();
    EXPECT_EQ(geometry->GetVertexCount(), 36u);
    sky->Render(&view.renderer, camera);
    const std::string draw = "DrawGeometry(" + std::to_string(geometry->GetObjectId()) + ",0,0)";
    EXPECT_EQ(view.device.CallsWithout("SetUniform"),
              (Calls{kSkyClear, "ClearBuffers(0x4500)", "SetCamera", "ActiveMaterial(sys.bkg.cube)", draw,
                     "SetCamera"}));
    EXPECT_EQ(camera->GetProjectionType(), uint32_t(Camera::PROJECTION_ORTHOGRAPHIC));
    ASSERT_NE(view.device.program.Find("modelViewMatrix"), nullptr);
    // The uniform is set once: setting the same value again changes nothing.
    EXPECT_FALSE(sky->GetSky()->GetMaterial()->SetUniform("flipEnvMap", -1.0f));

    // Without a program the sky is not drawn, with a warning.
    orvtest::LogCapture log;
    view.device.Clear();
    camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
    sky->GetSky()->GetMaterial()->SetTemplate(nullptr);
    sky->Render(&view.renderer, camera);
    EXPECT_EQ(view.device.calls, (Calls{kSkyClear, "ClearBuffers(0x4500)", "ActiveMaterial(sys.bkg.cube)"}));
    EXPECT_EQ(log.warnings, Calls{"SkyBox Shader Program is null!"});
    // Without a texture only the clear happens.
    view.device.Clear();
    SkyboxBackground(nullptr).Render(&view.renderer, camera);
    EXPECT_EQ(view.device.calls, (Calls{kSkyClear, "ClearBuffers(0x4500)"}));
}
