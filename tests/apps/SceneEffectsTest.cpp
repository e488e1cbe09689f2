// Scene files' shadow and overlay settings and widget nodes, and picks on
// the view cube overlay of a session.
#include <orvrender/RenderSession.h>
#include <orvrender/SceneFile.h>

#include <fstream>

#include <glm/geometric.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/widget/AxisWidget.h>
#include <orvcore/widget/MoveWidget.h>
#include <orvcore/widget/RotateWidget.h>
#include <orvcore/widget/ScaleWidget.h>
#include <orvcore/widget/ViewCube.h>

namespace {

struct Loaded {
    orvcore::SceneManager manager{800, 600};
    orvrender::SceneInfo info;
    std::string error;
    bool ok = false;
};

std::unique_ptr<Loaded> Load(const std::string& text)
{
    auto result = std::make_unique<Loaded>();
    result->ok = orvrender::LoadSceneText(text, "scene.json", ".", result->manager, result->info, result->error);
    return result;
}

} // namespace

TEST(SceneEffects, ShadowAndOverlaySettings)
{
    const struct {
        const char* json;
        const char* shadow;
        float blur, darkness;
        const char* overlay;
        int corner;
    } good[] = {
        {R"({})", "", 1.0f, 0.5f, "none", 0},
        {R"({"shadow": "light", "overlay": "axis"})", "light", 1.0f, 0.5f, "axis", 0},
        {R"({"shadow": {"type": "contact", "blur": 3, "darkness": 0.7},
             "overlay": {"type": "cube", "corner": "top-left"}})", "contact", 3.0f, 0.7f, "cube", 3},
        {R"({"shadow": "none", "overlay": {"type": "cube", "corner": "bottom-right"}})", "", 1.0f, 0.5f, "cube", 1},
    };
    for (const auto& c : good) {
        SCOPED_TRACE(c.json);
        auto loaded = Load(c.json);
        ASSERT_TRUE(loaded->ok) << loaded->error;
        const orvrender::SceneEffects& e = loaded->info.effects;
        EXPECT_EQ(e.shadow, c.shadow);
        EXPECT_FLOAT_EQ(e.blur, c.blur);
        EXPECT_FLOAT_EQ(e.darkness, c.darkness);
        EXPECT_EQ(e.overlay, c.overlay);
        EXPECT_EQ(e.corner, c.corner);
    }
    const std::pair<const char*, const char*> bad[] = {
        {R"({"shadow": "soft"})", "scene.json: /shadow: expected \"contact\", \"light\" or \"none\", found \"soft\""},
        {R"({"shadow": {"type": "light", "blur": 2}})", "scene.json: /shadow/blur: only a contact shadow has a blur"},
        {R"({"shadow": {"type": "contact", "darkness": 2}})", "scene.json: /shadow/darkness: too large"},
        {R"({"shadow": {"kind": "contact"}})", "scene.json: /shadow/kind: unknown property \"kind\""},
        {R"({"overlay": {"type": "cube", "corner": "bottom-left"}})",
         "scene.json: /overlay/corner: expected \"top-right\", \"bottom-right\" or \"top-left\", found \"bottom-left\""},
        {R"({"overlay": 3})", "scene.json: /overlay: expected an object"},
    };
    for (const auto& [json, message] : bad) {
        auto loaded = Load(json);
        EXPECT_FALSE(loaded->ok) << json;
        EXPECT_EQ(loaded->error.rfind(message, 0), 0u) << loaded->error;
    }
}

TEST(SceneEffects, WidgetNodesOfEveryKind)
{
    auto loaded = Load(R"({"nodes": [
        {"type": "axes", "name": "frame", "size": 2, "length": [10, 20, 30]},
        {"type": "move", "name": "mover", "length": 15, "mark": "y", "translate": [5, 0, 0]},
        {"type": "rotate", "name": "turner", "radius": 12},
        {"type": "scale", "name": "sizer", "length": [4, 5, 6]},
        {"type": "viewCube", "name": "cube"}]})");
    ASSERT_TRUE(loaded->ok) << loaded->error;
    const auto find = [&](const std::string& name) -> orvcore::SceneNode* {
        for (const auto& entry : loaded->info.names)
            if (entry.second == name)
                return const_cast<orvcore::SceneNode*>(entry.first);
        return nullptr;
    };
    auto* axes = orvcore::AxisWidget::Cast(find("frame"));
    ASSERT_TRUE(axes);
    EXPECT_EQ(axes->GetLength(), glm::vec3(10, 20, 30));
    auto* mover = orvcore::MoveWidget::Cast(find("mover"));
    ASSERT_TRUE(mover);
    EXPECT_EQ(glm::vec3(mover->GetWorldTransform()[3]), glm::vec3(5, 0, 0));
    for (const auto& entry : mover->GetNodes()->GetChildren()) {
        auto* part = orvcore::PrimitiveSceneNode::Cast(entry.second.get());
        EXPECT_EQ(part->GetMaterial()->GetState(), part->GetUserId() == 'y' ? 3 : 1);
    }
    EXPECT_FLOAT_EQ(orvcore::RotateWidget::Cast(find("turner"))->GetRadius(), 12.0f);
    EXPECT_EQ(orvcore::ScaleWidget::Cast(find("sizer"))->GetLength(), glm::vec3(4, 5, 6));
    EXPECT_FLOAT_EQ(orvcore::ViewCube::Cast(find("cube"))->GetSize(), 5.0f);

    const std::pair<const char*, const char*> bad[] = {
        {R"({"nodes": [{"type": "move"}]})", "scene.json: /nodes/0/length: required property is missing"},
        {R"({"nodes": [{"type": "move", "length": [1, 0, 1]}]})", "scene.json: /nodes/0/length/1:"},
        {R"({"nodes": [{"type": "rotate", "radius": 5, "color": [1, 0, 0]}]})",
         "scene.json: /nodes/0/color: unknown property \"color\""},
        {R"({"nodes": [{"type": "scale", "length": 5, "mark": "w"}]})",
         "scene.json: /nodes/0/mark: expected \"x\", \"y\" or \"z\", found \"w\""},
    };
    for (const auto& [json, message] : bad) {
        auto failed = Load(json);
        EXPECT_FALSE(failed->ok) << json;
        EXPECT_EQ(failed->error.rfind(message, 0), 0u) << failed->error;
    }
}

TEST(SceneEffects, PicksOnTheCubeReportItsElementAndASelectingClickTurnsTheCamera)
{
    const std::string scene = ::testing::TempDir() + "orv_cube_pick.json";
    {
        std::ofstream out(scene);
        out << R"({"camera": {"fit": "front"}, "overlay": "cube", "grid": {"visible": false},
                   "nodes": [{"type": "box", "name": "part", "size": [40, 20, 10]}]})";
    }
    orvrender::RenderSession session(800, 600);
    ASSERT_TRUE(session.IsReady()) << session.GetError();
    std::string error;
    ASSERT_TRUE(session.LoadFile(scene, error)) << error;

    // The overlay's centre lies 100 pixels in from the top-right corner:
    // from the front, the cube's front face.
    const orvrender::PickReport front = session.Pick(700, 100);
    EXPECT_TRUE(front.hit);
    EXPECT_EQ(front.overlay, "cube");
    EXPECT_EQ(front.element, orvcore::ViewCube::GetElementId({0, -1, 0}));
    EXPECT_EQ(front.view, "front");
    EXPECT_NE(front.ToJson().find(R"("view":"front")"), std::string::npos) << front.ToJson();
    // The view's centre picks the model as before.
    EXPECT_EQ(session.Pick(400, 300).name, "part");

    // 20 pixels right of the centre: the band of the front face's right edge.
    const orvrender::PickReport edge = session.Select(720, 100);
    EXPECT_EQ(edge.view, "front-right");
    glm::vec3 direction, up;
    ASSERT_TRUE(orvcore::CameraOperator::GetStandardViewDirection(orvcore::STANDARD_VIEW_FRONT_RIGHT, direction, up));
    EXPECT_GT(glm::dot(session.GetManager()->GetCamera()->GetDirection(), direction), 0.9999f);
    EXPECT_TRUE(session.GetManager()->GetSelection()->GetSelection()->IsEmpty());
}
