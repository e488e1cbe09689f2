// The orientation overlays on the recording device: which one a view shows,
// where they are drawn in the frame, and what the view cube answers to picks.
#include <algorithm>

#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/ViewAxisRenderer.h>
#include <orvcore/render/ViewCubeRenderer.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/TextSceneNode.h>
#include <orvcore/widget/AxisWidget.h>
#include <orvcore/widget/ViewCube.h>

#include "LogCapture.h"
#include "RecordingDevice.h"
#include "ShapeFactory.h"

using namespace orvcore;
using Calls = std::vector<std::string>;

namespace {

std::string DrawOf(const PrimitiveShape* p) { return "Draw(" + std::to_string(p->GetObjectId()) + ")"; }

// An 800 x 600 view with one square and no grid.
struct View {
    View()
    {
        manager = std::make_shared<SceneManager>(800, 600);
        face = orvtest::Square(0, 0, 0, 10);
        manager->GetScene()->AddNode(std::make_shared<PrimitiveSceneNode>(face));
        manager->SetCoodinateGrid(nullptr);
        manager->UpdateWorld();
        renderer.Initialize(manager);
    }
    ViewCubeRenderer& Cube() { return *static_cast<ViewCubeRenderer*>(renderer.GetViewCube()); }
    // Where a point of the cube's frame shows through the overlay camera now.
    glm::ivec2 WindowPoint(const glm::vec3& p)
    {
        Cube().SyncView(manager->GetCamera(), device.width, device.height);
        const glm::vec3 w = CameraOperator::WorldPointToWindowPoint(*Cube().GetCamera(), p);
        return {int(std::lround(w.x)), int(std::lround(w.y))};
    }
    void Turn(EnumStandardView view)
    {
        CameraOperator::SetStandardView(manager->GetCamera(), view, manager->GetSceneBBox(), 1.2f);
    }

    orvtest::RecordingDevice device{800, 600};
    Renderer renderer{&device, 1.0f};
    std::shared_ptr<SceneManager> manager;
    std::shared_ptr<PrimitiveShape> face;
};

// Positions of the draws of a list's items in the recorded calls.
std::vector<std::size_t> DrawPositions(const Calls& calls, const RenderList& list)
{
    std::vector<std::size_t> at;
    for (uint64_t i = 0; i < list.GetItemCount(); ++i) {
        const auto it = std::find(calls.begin(), calls.end(), DrawOf(list.GetAt(i).GetPrimitive()));
        if (it != calls.end())
            at.push_back(std::size_t(it - calls.begin()));
    }
    return at;
}

} // namespace

TEST(Overlays, TheViewTypeShowsOneOverlayAndOnlyAVisibleOneAnswers)
{
    View view;
    ASSERT_TRUE(view.renderer.GetViewWidget());
    EXPECT_EQ(view.renderer.GetViewCoordinateType(), Cube); // the state after Initialize
    const glm::ivec2 centre = view.WindowPoint(glm::vec3(0.0f));
    const struct {
        uint32_t type;
        EnumViewCoordinateType shown;
        bool hit;
    } cases[] = {{1, Axis, false}, {0, NoWidget, false}, {2, Cube, true}, {7, Cube, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        view.renderer.SetViewCondinateType(EnumViewCoordinateType(c.type));
        EXPECT_EQ(view.renderer.GetViewCoordinateType(), c.shown);
        CoordinateRenderer* widget = view.renderer.GetViewWidget();
        EXPECT_EQ(widget == nullptr, c.shown == NoWidget);
        EXPECT_EQ(dynamic_cast<ViewAxisRenderer*>(widget) != nullptr, c.shown == Axis);
        EXPECT_EQ(view.renderer.HitTestViewWidget(centre.x, centre.y, view.manager->GetCamera()).first, c.hit);
    }
    // A hidden cube answers nothing even when asked directly.
    view.renderer.SetViewCondinateType(Axis);
    EXPECT_EQ(view.Cube().HitTest(unsigned(centre.x), unsigned(centre.y)), std::make_pair(false, 0u));
}

TEST(Overlays, AxisUnderTheModelCubeOverItHiddenOnesNotAtAll)
{
    View view;
    auto* axis = static_cast<ViewAxisRenderer*>(view.renderer.GetViewAxis());
    ViewCubeRenderer& cube = view.Cube();
    ASSERT_GT(axis->GetItems().GetItemCount(), 0u);
    ASSERT_GT(cube.GetItems().GetItemCount(), 0u);

    BasicPipeline pipeline;
    for (EnumViewCoordinateType type : {Axis, Cube, NoWidget}) {
        SCOPED_TRACE(type);
        view.renderer.SetViewCondinateType(type);
        view.device.Clear();
        pipeline.Render(view.manager, &view.renderer, 0.0f);
        const Calls calls = view.device.CallsWithout("SetUniform");
        const auto model = std::find(calls.begin(), calls.end(), DrawOf(view.face.get())) - calls.begin();
        const auto axisDraws = DrawPositions(calls, axis->GetItems());
        const auto cubeDraws = DrawPositions(calls, cube.GetItems());
        EXPECT_EQ(axisDraws.size(), type == Axis ? axis->GetItems().GetItemCount() : 0u);
        EXPECT_EQ(cubeDraws.size(), type == Cube ? cube.GetItems().GetItemCount() : 0u);
        if (type == Axis) {
            // Over cleared depth, then depth cleared again for the model.
            EXPECT_EQ(calls[axisDraws.front() - 3], "ClearBuffers(0x100)");
            EXPECT_LT(axisDraws.back(), std::size_t(model));
            EXPECT_EQ(std::count(calls.begin(), calls.begin() + model, "ClearBuffers(0x100)"), 2);
        }
        if (type == Cube) {
            EXPECT_GT(cubeDraws.front(), std::size_t(model));
            EXPECT_EQ(calls.back(), "Gc");
        }
    }
}

TEST(Overlays, EveryCubeElementFacingTheViewerTurnsTheViewToIt)
{
    View view;
    for (unsigned int id : ViewCube::GetElementIds()) {
        const EnumStandardView expected = ViewCube::GetStandardView(id);
        SCOPED_TRACE(int(expected));
        view.Turn(expected);
        // The element towards the viewer lies in the overlay's middle: aim
        // just inside its corner or edge, on one of the faces it touches.
        const glm::vec3 d(*ViewCube::GetElementDirection(id));
        glm::vec3 aim = d * 43.0f;
        const int axis = d.x != 0.0f ? 0 : (d.y != 0.0f ? 1 : 2);
        aim[axis] = d[axis] * 45.0f;
        const glm::ivec2 at = view.WindowPoint(aim);
        const auto answer = view.renderer.HitTestViewWidget(at.x, at.y, view.manager->GetCamera());
        EXPECT_EQ(answer, std::make_pair(true, expected));
        EXPECT_EQ(view.Cube().GetLastHit(), id);
    }
    // From the isometric view: the middles of the three faces it shows.
    view.Turn(STANDARD_VIEW_ISOMETRIC);
    const std::pair<glm::vec3, EnumStandardView> faces[] = {
        {{0, -45, 0}, STANDARD_VIEW_FRONT}, {{45, 0, 0}, STANDARD_VIEW_RIGHT}, {{0, 0, 45}, STANDARD_VIEW_TOP}};
    for (const auto& [point, expected] : faces) {
        const glm::ivec2 at = view.WindowPoint(point);
        EXPECT_EQ(view.renderer.HitTestViewWidget(at.x, at.y, view.manager->GetCamera()), std::make_pair(true, expected));
    }
}

TEST(Overlays, OutsideItsAreaTheCubeCastsNoRayAndAMissClearsTheHover)
{
    View view;
    view.Turn(STANDARD_VIEW_FRONT);
    const glm::ivec2 centre = view.WindowPoint(glm::vec3(0.0f));
    const unsigned int front = ViewCube::GetElementId({0, -1, 0});
    ASSERT_EQ(view.Cube().HitTest(unsigned(centre.x), unsigned(centre.y)), std::make_pair(true, front));
    EXPECT_EQ(view.Cube().GetViewCube()->GetHoverElement(), front);

    // The hovered element is drawn again in the hover material.
    view.renderer.RenderForegound(view.manager->GetScene2D(), view.manager->GetCamera());
    const Calls calls = view.device.CallsWithout("SetUniform");
    const auto hover = std::find(calls.begin(), calls.end(), "ActiveMaterial(sys.viewcube.hover)");
    ASSERT_NE(hover, calls.end());
    EXPECT_EQ(*(hover + 1), DrawOf(view.Cube().GetViewCube()->GetElementNode(front)->GetPrimitive().get()));

    // Outside the drawing area (the view's centre): no ray, the last hit stays.
    EXPECT_EQ(view.renderer.HitTestViewWidget(400, 300, view.manager->GetCamera()),
              std::make_pair(false, STANDARD_VIEW_NONE));
    EXPECT_EQ(view.Cube().GetLastHit(), front);
    EXPECT_EQ(view.Cube().GetViewCube()->GetHoverElement(), front);
    // Inside it but beside the cube: a miss that clears the hover.
    const glm::ivec2 beside = view.WindowPoint(glm::vec3(70, 0, 70));
    ASSERT_TRUE(view.Cube().GetCamera()->Contain(beside.x, beside.y));
    EXPECT_FALSE(view.Cube().HitTest(unsigned(beside.x), unsigned(beside.y)).first);
    EXPECT_EQ(view.Cube().GetViewCube()->GetHoverElement(), 0u);

    orvtest::LogCapture log;
    EXPECT_EQ(view.Cube().SyncCamera(view.manager->GetCamera()), STANDARD_VIEW_NONE);
    EXPECT_EQ(log.warnings, Calls{"Node is null!"});
}

TEST(Overlays, CornersPlaceTheDrawingArea)
{
    View view;
    CoordinateRenderer& cube = view.Cube();
    const float s = cube.GetViewportSize();
    const struct {
        int corner;
        glm::vec2 anchor, offset;
    } corners[] = {{0, {1, 1}, {-s, -s}}, {1, {1, 0}, {-s, s}}, {2, {0, 0}, {-s, s}}, {3, {0, 1}, {s, -s}},
                   {7, {0, 1}, {s, -s}}};
    for (const auto& c : corners) {
        SCOPED_TRACE(c.corner);
        cube.SetPosition(c.corner);
        EXPECT_EQ(cube.GetCamera()->GetViewPosition(ViewPosition::VIEW_POSITION_ANCHOR).GetValue(), c.anchor);
        EXPECT_EQ(cube.GetCamera()->GetViewPosition(ViewPosition::VIEW_POSITION_OFFSET).GetValue(), c.offset);
    }
    // Top left: the overlay's centre 100 pixels in from both edges.
    const glm::ivec2 centre = view.WindowPoint(glm::vec3(0.0f));
    EXPECT_EQ(centre, glm::ivec2(100, 100));
}

TEST(Overlays, TheViewAxisRelabelsAndAlwaysAsksForTheHomeView)
{
    View view;
    view.renderer.SetViewCondinateType(Axis);
    auto* axis = static_cast<ViewAxisRenderer*>(view.renderer.GetViewWidget());
    const float before = axis->GetViewAxis()->GetLabel(0)->GetBoundingBox().getSize().x;
    axis->SetCoordinateWidgetText(L"East", L"North", L"Up");
    EXPECT_GT(axis->GetViewAxis()->GetLabel(0)->GetBoundingBox().getSize().x, before);
    // The items follow the new labels.
    view.device.Clear();
    axis->Render(&view.renderer, view.manager->GetCamera());
    EXPECT_EQ(view.device.Count(DrawOf(axis->GetViewAxis()->GetLabel(0)->GetPrimitive().get())), 1u);
    EXPECT_EQ(axis->HitTest(700, 100), std::make_pair(false, 0u));
    EXPECT_EQ(axis->SyncCamera(view.manager->GetCamera()), STANDARD_VIEW_ISOMETRIC);
}
