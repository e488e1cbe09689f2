#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/EffectComposer.h>
#include <orvcore/render/RenderPass.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/ShaderPass.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/SceneNode2D.h>
#include <orvcore/widget/PlanarGridWidget.h>

#include <gtest/gtest.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/RawShader.h>

#include "LogCapture.h"
#include "RecordingDevice.h"
#include "ShapeFactory.h"

using namespace orvcore;

namespace {

std::string DrawOf(const PrimitiveShape* p) { return "Draw(" + std::to_string(p->GetObjectId()) + ")"; }

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
    }
    orvtest::RecordingDevice device{200, 200};
    Renderer renderer{&device, 1.0f};
    std::shared_ptr<SceneManager> manager;
    std::shared_ptr<PrimitiveShape> face;
    std::shared_ptr<PrimitiveSceneNode> node;
};

std::vector<std::string> GridDraws(const SceneManager& manager)
{
    std::vector<std::string> calls;
    for (const auto& p : manager.GetCoodinateGrid()->GetPrimitives()) {
        calls.push_back("_ActiveMaterial(sys.grid.line)");
        calls.push_back(DrawOf(p.get()));
    }
    return calls;
}

} // namespace

TEST(BasicPipeline, FrameOrderWithEmptySelection)
{
    View view;
    BasicPipeline pipeline;
    pipeline.Render(view.manager, &view.renderer, 0.0f);

    std::vector<std::string> expected{"SetCamera", "SetClearColor(0.0705882,0.717647,0.952941,1)",
                                      "ClearBuffers(0x4500)", "SetCamera", "SetPolygonOffset(1,1,1)",
                                      "_ActiveMaterial(model.face)", DrawOf(view.face.get()),
                                      "SetPolygonOffset(0,0,0)", "ActiveMaterial(sys.point)", "SetDepthTest(0)",
                                      "SetDepthTest(1)"};
    for (const auto& call : GridDraws(*view.manager))
        expected.push_back(call);
    expected.insert(expected.end(), {"SetCamera", "SetCamera", "Gc"}); // canvas camera, then the view's again
    EXPECT_EQ(view.device.CallsWithout("SetUniform"), expected);
}

TEST(BasicPipeline, SelectionHighlightGripsAndForeground)
{
    View view;
    auto& selection = *view.manager->GetSelection();
    selection.Select(PickedItem(view.node.get(), IntersectPoint(SHAPE_FILTER_FACE, 0, glm::vec3(0.0f), 1.0f)), false);
    auto edge = orvtest::Primitive(PRIMITIVE_LINES, {{0, 0, 1}, {5, 0, 1}});
    auto edgeNode = std::make_shared<PrimitiveSceneNode>(edge);
    view.manager->GetScene()->AddNode(edgeNode);
    selection.Hilight(PickedItem(edgeNode.get(), IntersectPoint(SHAPE_FILTER_EDGE, 0, glm::vec3(0.0f), 1.0f)));
    selection.GetGripNodeManager()->Add(GripNode(ElementId(1), 0, GRIP_TYPE_POINT, glm::vec3(1, 2, 3)));
    selection.GetGripNodeManager()->Add(GripNode(ElementId(2), 1, GRIP_TYPE_POINT, glm::vec3(4, 5, 6)));
    selection.GetGripNodeManager()->SetHighlightIdx(1);
    view.manager->SetCoodinateGrid(nullptr);
    view.manager->UpdateWorld();

    BasicPipeline pipeline;
    pipeline.Render(view.manager, &view.renderer, 0.0f);
    const auto calls = view.device.CallsWithout("SetUniform");
    auto after = [&](const std::string& marker) {
        auto it = std::find(calls.begin(), calls.end(), marker);
        EXPECT_NE(it, calls.end()) << marker;
        return std::vector<std::string>(it, calls.end());
    };
    // Grip points after the model, without depth test.
    const auto grips = after("ActiveMaterial(sys.point)");
    EXPECT_EQ(std::vector<std::string>(grips.begin(), grips.begin() + 5),
              (std::vector<std::string>{"ActiveMaterial(sys.point)", "SetDepthTest(0)", "DrawPoint(1,2,3)",
                                        "DrawPoint(4,5,6)", "SetDepthTest(1)"}));
    // The selected face in the pick style with a negative offset, then the current grip,
    // then the highlighted edge; the highlight has no current grip.
    EXPECT_EQ(std::vector<std::string>(grips.begin() + 5, grips.end()),
              (std::vector<std::string>{"SetPolygonOffset(1,-1,-1)", "ActiveMaterial(sys.pick.face)",
                                        DrawOf(view.face.get()), "SetPolygonOffset(0,0,0)",
                                        "ActiveMaterial(sys.selection.point)", "SetDepthTest(0)", "DrawPoint(4,5,6)",
                                        "SetDepthTest(1)", "SetPolygonOffset(1,-1,-1)",
                                        "ActiveMaterial(sys.hilight.edge)", DrawOf(edge.get()),
                                        "SetPolygonOffset(0,0,0)", "SetCamera", "SetCamera", "Gc"}));
}

TEST(BasicPipeline, ForegroundDrawsVisibleTwoDimensionalNodes)
{
    View view;
    auto label = std::make_shared<PrimitiveSceneNode>(orvtest::Square(0, 0, 0, 5));
    auto hiddenLabel = std::make_shared<PrimitiveSceneNode>(orvtest::Square(0, 0, 0, 5));
    auto shown = std::make_shared<SceneNode2D>(label);
    auto hidden = std::make_shared<SceneNode2D>(hiddenLabel);
    hidden->SetVisible(false);
    view.manager->GetScene2D()->AddNode(shown);
    view.manager->GetScene2D()->AddNode(hidden);
    view.renderer.RenderForegound(view.manager->GetScene2D(), view.manager->GetCamera());
    EXPECT_EQ(view.device.CallsWithout("SetUniform"),
              (std::vector<std::string>{"SetCamera", "ClearBuffers(0x100)", "_ActiveMaterial(sys.opacity)",
                                        DrawOf(label->GetPrimitive().get()), "SetCamera"}));
    EXPECT_EQ(view.device.camera, view.manager->GetCamera()); // the view camera is current again
}

TEST(Renderer, PrepareBuildsTemplatesAndOverlaysAreOptional)
{
    View view;
    view.renderer.Prepare();
    EXPECT_GT(view.device.Count("BuildTemplate("), 5u);
    EXPECT_EQ(view.renderer.GetViewWidget(), nullptr);
    view.renderer.SetViewCondinateType(Axis);
    EXPECT_EQ(view.renderer.GetViewCoordinateType(), NoWidget);
    EXPECT_FALSE(view.renderer.HitTestViewWidget(10, 10, view.manager->GetCamera()).first);
    view.renderer.Resize(320, 240);
    EXPECT_EQ(view.device.width, 320u);
    EXPECT_EQ(view.renderer.GetMaterial(EnumRenderListIndex::Face)->GetName(), "sys.opacity");
    view.renderer.Destroy();
    EXPECT_EQ(view.renderer.GetDevice(), nullptr);
}

TEST(EffectComposer, LastEnabledPassAloneWritesToTheScreen)
{
    View view;
    view.device.AddTarget("t1", std::make_shared<RenderTarget>(64, 64));
    view.device.AddTarget("t2", std::make_shared<RenderTarget>(64, 64));
    auto composer = std::make_unique<EffectComposer>("t1", "t2");
    composer->AddPass(std::make_unique<RenderPass>(true)); // A
    auto disabled = std::make_unique<RenderPass>(true);    // B
    disabled->SetEnabled(false);
    composer->AddPass(std::move(disabled));
    composer->AddPass(std::make_unique<ShaderPass>(RawShader::Create("fx", "v", "f"))); // C
    composer->Initialize(&view.renderer);

    view.device.Clear();
    composer->Render(view.manager, &view.renderer, 0.0f);
    EXPECT_EQ(view.device.CallsStartingWith("SetTarget"),
              (std::vector<std::string>{"SetTarget(t1)", "SetTarget(screen)"}));
    EXPECT_EQ(view.device.CallsStartingWith("ActiveTexture"),
              std::vector<std::string>{"ActiveTexture(0,t1,0x8CE0)"}); // C reads what A wrote
    EXPECT_EQ(view.device.CallsStartingWith("ClearBuffers"), std::vector<std::string>{"ClearBuffers(0x4500)"});
    EXPECT_EQ(view.device.Count("SetUniform(viewportSize)"), 1u);
    EXPECT_EQ(view.device.Count("Gc"), 0u); // a composer draws only its passes

    composer->SetRenderToScreen(false);
    view.device.Clear();
    composer->Render(view.manager, &view.renderer, 0.0f);
    EXPECT_EQ(view.device.CallsStartingWith("SetTarget"), (std::vector<std::string>{"SetTarget(t1)", "SetTarget(t2)"}));

    // A render pass that does not swap leaves the next pass on the same buffer.
    EffectComposer noSwap("t1", "t2");
    noSwap.AddPass(std::make_unique<RenderPass>(false));
    noSwap.AddPass(std::make_unique<RenderPass>(true));
    noSwap.SetRenderToScreen(false);
    noSwap.Initialize(&view.renderer);
    view.device.Clear();
    noSwap.Render(view.manager, &view.renderer, 0.0f);
    EXPECT_EQ(view.device.CallsStartingWith("SetTarget"), (std::vector<std::string>{"SetTarget(t1)", "SetTarget(t1)"}));

    EffectComposer empty("t1", "t2");
    view.device.Clear();
    empty.Render(view.manager, &view.renderer, 0.0f);
    EXPECT_TRUE(view.device.calls.empty());
}
