// Scene files: what an inline scene builds, and how each kind of fault is
// reported (file name and JSON path, never a crash). The examples are drawn
// and compared with their golden images by OrvrenderTest.
#include <orvrender/SceneFile.h>

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/TagNode2D.h>
#include <orvcore/widget/PlanarGridWidget.h>

#include "LoadedScene.h"
#include "LogCapture.h"

namespace {

using orvcore::PlanarGridWidget;

const std::string kRoot = ORVCORE_SOURCE_DIR;

using Loaded = orvtest::LoadedScene;

Loaded Load(const std::string& text) { return orvtest::LoadScene(text); }

const orvcore::SceneNode* Named(const orvrender::SceneInfo& info, const std::string& name)
{
    for (const auto& entry : info.names)
        if (entry.second == name)
            return entry.first;
    return nullptr;
}

// A scene of one node; a box node with the given extra properties.
std::string Node(const std::string& node) { return R"({"nodes": [{)" + node + "}]}"; }
std::string Box(const std::string& extra) { return Node(R"("type": "box", "size": [1,1,1], )" + extra); }

} // namespace

// ---------------------------------------------------------------- content

const char* const kInline = R"({
  "camera": { "projection": "orthographic", "eye": [10, -20, 30], "target": [1, 2, 3] },
  "background": { "color": [0.25, 0.5, 1] },
  "displayFilter": ["faces", "lines"],
  "grid": { "visible": false, "cellSize": 5 },
  "nodes": [
    { "type": "box", "name": "block", "size": [2, 4, 6], "translate": [10, 0, 0], "color": [1, 0, 0],
      "opacity": 0.5, "userId": 42 },
    { "type": "box", "name": "bare", "size": [1, 1, 1], "edges": false, "pickable": false, "visible": false },
    { "type": "group", "name": "arm", "rotate": { "axis": [0, 0, 1], "angle": 90 }, "scale": 2,
      "children": [ { "type": "sphere", "radius": 1, "translate": [1, 0, 0] },
                    { "type": "points", "name": "dots", "points": [[0,0,0],[1,1,1]], "pointSize": 7 } ] },
    { "type": "box", "name": "placed", "size": [1, 1, 1],
      "matrix": [1,0,0,0, 0,1,0,0, 0,0,1,0, 5,6,7,1] },
    { "type": "tag", "name": "note", "text": "Note", "target": [0, 0, 0], "offset": [10, 20] }
  ],
  "select": ["block", "dots"],
  "hover": ["arm"]
})";

TEST(SceneFileContent, InlineSceneCountsTransformsAndNames)
{
    Loaded scene = Load(kInline);
    ASSERT_TRUE(scene.ok) << scene.error;
    // block: group + faces + edges; bare: 1; arm: group + sphere + points; placed: 3.
    EXPECT_EQ(scene.info.nodes, 10u);
    // Three boxes of 12 triangles and a 32 x 16 sphere.
    EXPECT_EQ(scene.info.triangles, 36u + 32u * 16u * 2u - 64u);
    EXPECT_EQ(scene.manager->GetScene()->GetNodes().size(), 4u);
    EXPECT_EQ(scene.info.names.size(), 6u);
    EXPECT_EQ(scene.info.select, (std::vector<std::string>{"block", "dots"}));
    EXPECT_EQ(scene.info.hover, std::vector<std::string>{"arm"});

    // Transforms compose translate, rotate and scale, or take the matrix.
    const auto* block = Named(scene.info, "block");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->GetUserId(), 42u);
    EXPECT_EQ(block->GetWorldBBox(), orvcore::AxisAlignedBox(glm::vec3(9, -2, -3), glm::vec3(11, 2, 3)));
    const glm::vec4 x = Named(scene.info, "arm")->GetTransform() * glm::vec4(1, 0, 0, 1); // turned 90, scaled 2
    EXPECT_LT(glm::length(glm::vec3(x) - glm::vec3(0, 2, 0)), 1e-5f);
    EXPECT_EQ(Named(scene.info, "placed")->GetTransform(), glm::translate(glm::mat4(1.0f), glm::vec3(5, 6, 7)));

    // Picking a member reports the named node above it; a foreign node "".
    auto arm = orvcore::GroupSceneNode::Cast(Named(scene.info, "arm"));
    ASSERT_NE(arm, nullptr);
    for (const auto& entry : arm->GetChildren())
        EXPECT_FALSE(orvrender::NameOf(scene.info, entry.second.get()).empty());
    EXPECT_EQ(orvrender::NameOf(scene.info, std::make_shared<orvcore::GroupSceneNode>().get()), "");
    EXPECT_EQ(orvrender::NameOf(scene.info, nullptr), "");
}

TEST(SceneFileContent, MaterialsFlagsEdgesAndViewSettingsFollowTheFile)
{
    Loaded scene = Load(kInline);
    ASSERT_TRUE(scene.ok) << scene.error;
    auto block = orvcore::GroupSceneNode::Cast(Named(scene.info, "block"));
    ASSERT_NE(block, nullptr) << "a box with edges is a group of faces and edges";
    ASSERT_EQ(block->GetCount(), 2u);
    int faces = 0;
    for (const auto& entry : block->GetChildren()) {
        auto primitive = orvcore::PrimitiveSceneNode::Cast(entry.second.get());
        ASSERT_NE(primitive, nullptr);
        EXPECT_EQ(orvrender::NameOf(scene.info, primitive), "block");
        if (orvcore::IsTrianglePrimitive(primitive->GetPrimitive()->GetPrimitiveType())) {
            ++faces;
            EXPECT_EQ(primitive->GetMaterial()->GetColor(), glm::vec3(1, 0, 0));
            EXPECT_TRUE(primitive->GetMaterial()->GetOpacity() == 0.5f && primitive->GetMaterial()->IsTransparent());
        } else {
            EXPECT_EQ(primitive->GetPrimitive()->GetGeometry()->GetPrimitiveCount(), 12u);
            EXPECT_FALSE(primitive->GetPickable());
        }
    }
    EXPECT_EQ(faces, 1);
    const auto* bare = Named(scene.info, "bare");
    ASSERT_NE(orvcore::PrimitiveSceneNode::Cast(bare), nullptr);
    EXPECT_FALSE(bare->GetVisible() || bare->GetPickable());
    EXPECT_FLOAT_EQ(orvcore::PrimitiveSceneNode::Cast(Named(scene.info, "dots"))->GetMaterial()->GetPointSize(), 7.0f);

    auto background = orvcore::ColorBackground::Cast(scene.manager->GetBackground().get());
    ASSERT_NE(background, nullptr);
    EXPECT_EQ(background->GetColor(), glm::vec4(0.25f, 0.5f, 1.0f, 1.0f));
    EXPECT_EQ(scene.manager->GetDisplayFilter(), uint32_t(orvcore::SHAPE_FILTER_FACE | orvcore::SHAPE_FILTER_EDGE));
    auto grid = PlanarGridWidget::Cast(scene.manager->GetCoodinateGrid().get());
    ASSERT_NE(grid, nullptr);
    EXPECT_TRUE(!grid->GetVisible() && grid->GetCellSize() == 5.0f);
    const auto& camera = scene.manager->GetCamera();
    EXPECT_EQ(std::make_tuple(camera->GetProjectionType(), camera->GetEye(), camera->GetTarget()),
              std::make_tuple(uint32_t(orvcore::Camera::PROJECTION_ORTHOGRAPHIC), glm::vec3(10, -20, 30),
                              glm::vec3(1, 2, 3)));
    ASSERT_EQ(scene.manager->GetScene2D()->GetNodes().size(), 1u);
    auto tag = orvcore::TagNode2D::Cast(scene.manager->GetScene2D()->GetNodes().begin()->second.get());
    ASSERT_NE(tag, nullptr);
    EXPECT_TRUE(!tag->GetWorldPosition() && tag->GetPosition() == glm::vec3(10, 20, 0));
}

TEST(SceneFileContent, GridFitsTheModelAndTheDefaultCameraIsAnIsometricPerspective)
{
    Loaded scene = Load(R"({"grid": {"fit": true, "cellSize": 10},
                            "nodes": [{"type": "box", "size": [200, 100, 10], "translate": [300, 0, 0]}]})");
    ASSERT_TRUE(scene.ok) << scene.error;
    auto grid = PlanarGridWidget::Cast(scene.manager->GetCoodinateGrid().get());
    ASSERT_NE(grid, nullptr);
    EXPECT_GE(grid->GetCellCountX() * 10.0f, 200.0f);
    EXPECT_FLOAT_EQ(grid->GetTransform()[3].x, 300.0f);
    const auto& camera = scene.manager->GetCamera();
    EXPECT_EQ(camera->GetProjectionType(), orvcore::Camera::PROJECTION_PERSPECTIVE);
    // Framed: the box's centre projects near the middle of the view.
    const glm::vec3 centre = orvcore::CameraOperator::WorldPointToViewportPoint(*camera, glm::vec3(300, 0, 5));
    EXPECT_NEAR(centre.x / float(camera->GetWidth()), 0.5f, 0.1f);
    EXPECT_LT(camera->GetDirection().z, 0.0f);

    Loaded empty = Load("{}");
    EXPECT_TRUE(empty.ok && empty.info.nodes == 0u) << empty.error;
    EXPECT_EQ(empty.manager->GetDisplayFilter(), uint32_t(orvcore::SHAPE_FILTER_ALL));
}

// ---------------------------------------------------------------- faults

TEST(SceneFileErrors, EachFaultNamesTheFileAndTheExactJsonPath)
{
    const struct {
        std::string text;
        const char* path;
        const char* what;
    } cases[] = {
        {R"([])", "/", "expected an object"},
        {R"({"nodes": {}})", "/nodes", "expected an array"},
        {R"({"extra": 1})", "/extra", "unknown property"},
        {Node(R"("type": "box", "size": [1,-2,1])"), "/nodes/0/size/1", "negative"},
        {Node(R"("type": "box", "size": [1,2,"3"])"), "/nodes/0/size/2", "expected a number"},
        {Node(R"("type": "sphere", "radius": 2e7)"), "/nodes/0/radius", "too large"},
        {Node(R"("type": "sphere", "radius": 0)"), "/nodes/0/radius", "positive"},
        {Node(R"("type": "sphere", "radius": 1, "segments": 100000)"), "/nodes/0/segments", "too large"},
        {Node(R"("type": "cone", "radius": 1, "height": 1, "segments": 2.5)"), "/nodes/0/segments", "whole number"},
        {Node(R"("size": [1,1,1])"), "/nodes/0/type", "missing"},
        {Node(R"("type": 3)"), "/nodes/0/type", "expected a string"},
        {Box(R"("colour": [1,0,0])"), "/nodes/0/colour", "unknown property"},
        {Box(R"("color": [1,0,2])"), "/nodes/0/color/2", "[0, 1]"},
        {Box(R"("opacity": 1.5)"), "/nodes/0/opacity", "too large"},
        {Box(R"("visible": "yes")"), "/nodes/0/visible", "true or false"},
        {Box(R"("userId": -1)"), "/nodes/0/userId", "at least 0"},
        {Box(R"("scale": [1,0,1])"), "/nodes/0/scale", "zero"},
        {Box(R"("scale": "big")"), "/nodes/0/scale", "expected"},
        {Box(R"("rotate": {"axis": [0,0,0], "angle": 5})"), "/nodes/0/rotate/axis", "zero"},
        {Box(R"("rotate": {"axis": [0,0,1]})"), "/nodes/0/rotate/angle", "missing"},
        {Box(R"("matrix": [1,0,0])"), "/nodes/0/matrix", "expected 16 numbers"},
        {Box(R"("matrix": [1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1], "translate": [1,2,3])"), "/nodes/0/matrix", "not both"},
        {Node(R"("type": "group", "children": [{"type": "box", "size": [1,1,1]},
             {"type": "group", "children": [{"type": "cylinder", "radius": 1}]}])"),
         "/nodes/0/children/1/children/0/height", "missing"},
        {Node(R"("type": "group", "children": [{"type": "tag", "text": "x", "target": [0,0,0], "offset": [0,0]}])"),
         "/nodes/0/children/0", "top-level"},
        {Node(R"("type": "lines", "points": [[0,0,0],[1,1,1],[2,2,2]])"), "/nodes/0/points", "pairs"},
        {Node(R"("type": "lines", "points": [[0,0,0],[1,1,1]], "width": 1000)"), "/nodes/0/width", "too large"},
        {Node(R"("type": "points", "points": [])"), "/nodes/0/points", "at least one"},
        {Node(R"("type": "text", "text": "a", "height": 1, "form": "neon")"), "/nodes/0/form", "\"mesh\""},
        {Node(R"("type": "text", "text": "a", "height": 1, "billboard": true)"), "/nodes/0/billboard", "texture"},
        {Node(R"("type": "tag", "text": "a", "target": [0,0,0])"), "/nodes/0/position", "offset"},
        {Node(R"("type": "tag", "text": "a", "target": [0,0,0], "offset": [1,2,3])"), "/nodes/0/offset",
         "expected 2 numbers"},
        {R"({"nodes": [{"type": "box", "name": "a", "size": [1,1,1]}, {"type": "box", "name": "a",
             "size": [1,1,1]}]})", "/nodes/1/name", "used twice"},
        {R"({"nodes": [{"type": "box", "name": "a", "size": [1,1,1]}], "select": ["a", "b"]})", "/select/1",
         "no node is named"},
        {R"({"camera": {"projection": "fisheye"}})", "/camera/projection", "perspective"},
        {R"({"camera": {"fit": "sideways"}})", "/camera/fit", "unknown standard view"},
        {R"({"camera": {"fit": "top", "eye": [0,0,1], "target": [0,0,0]}})", "/camera/fit", "not both"},
        {R"({"camera": {"eye": [0,0,1], "target": [0,0,1]}})", "/camera/target", "differ"},
        {R"({"camera": {"eye": [0,0,1], "target": [0,0,0], "up": [0,0,1]}})", "/camera/up", "parallel"},
        {R"({"background": {"color": [1,1,1], "image": "a.png"}})", "/background", "exactly one"},
        {R"({"background": {"image": "no-such-image.png"}})", "/background/image", "not found"},
        {R"({"displayFilter": ["faces", "volumes"]})", "/displayFilter/1", "\"points\""},
        {R"({"grid": {"cellSize": -1}})", "/grid/cellSize", "negative"},
        {Node(R"("type": "model", "file": "examples/models/bracket.obj", "featureAngle": 270)"),
         "/nodes/0/featureAngle", "too large"},
        // The importer's own reason for a model it cannot read, at the file's path.
        {Node(R"("type": "model", "file": "no/such/part.stl")"), "/nodes/0/file", "part.stl"},
    };
    orvtest::LogCapture quiet;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Loaded scene = Load(c.text);
        EXPECT_FALSE(scene.ok);
        EXPECT_EQ(scene.error.rfind(std::string("scene.json: ") + c.path + ": ", 0), 0u) << scene.error;
        EXPECT_NE(scene.error.find(c.what), std::string::npos) << scene.error;
    }
}

TEST(SceneFileErrors, UnreadableMissingAndOversizedInput)
{
    Loaded broken = Load("{\n  \"nodes\": [\n    {\"type\": \"box\",, }\n  ]\n}");
    EXPECT_FALSE(broken.ok);
    EXPECT_EQ(broken.error.rfind("scene.json: line 3, column ", 0), 0u) << broken.error;
    EXPECT_NE(broken.error.find("JSON"), std::string::npos) << broken.error;
    EXPECT_EQ(Load("").error.rfind("scene.json: line 1", 0), 0u);

    orvcore::SceneManager manager(100, 100);
    orvrender::SceneInfo info;
    std::string error;
    const std::string missing = kRoot + "/examples/no-such-scene.json";
    EXPECT_FALSE(orvrender::LoadSceneFile(missing, manager, info, error));
    EXPECT_EQ(error.rfind(missing + ": ", 0), 0u) << error;
    EXPECT_FALSE(orvrender::LoadSceneFile(kRoot + "/examples", manager, info, error));
    EXPECT_NE(error.find("folder"), std::string::npos) << error;

    // A point list past the limit, groups nested past the limit, a long text.
    std::string points = R"({"nodes": [{"type": "points", "points": [[0,0,0])";
    for (int i = 0; i < 1000000; ++i)
        points += ",[0,0,0]";
    std::string nested = R"({"nodes": [)";
    for (int i = 0; i < 100; ++i)
        nested += R"({"type": "group", "children": [)";
    for (int i = 0; i < 101; ++i)
        nested += "]}";
    const std::pair<std::string, std::string> large[] = {
        {points + "]}]}", "/nodes/0/points: too large"},
        {nested, "nested too deeply"},
        {Node(R"("type": "text", "height": 1, "text": ")" + std::string(5000, 'a') + "\""),
         "/nodes/0/text: too large"}};
    for (const auto& [text, what] : large) {
        Loaded scene = Load(text);
        EXPECT_FALSE(scene.ok);
        EXPECT_NE(scene.error.find(what), std::string::npos) << scene.error;
    }
}
