// Scene files: the examples, what an inline scene builds, and how each kind
// of fault is reported (file name and JSON path, never a crash).
#include <orvrender/SceneFile.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <glm/gtc/matrix_transform.hpp>

#include <orvcommon/Logger.h>
#include <orvkernel/geometry/EnumPrimitiveType.h>
#include <orvcore/render/ColorBackground.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/TagNode2D.h>
#include <orvcore/widget/PlanarGridWidget.h>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const fs::path kRoot = ORVCORE_SOURCE_DIR;

/// Silences the library's warnings while a test loads deliberately bad input.
class QuietLog {
public:
    QuietLog() { orvcore::Logger::Instance().SetSink(nullptr); }
    ~QuietLog() { orvcore::Logger::Instance().ResetSink(); }
};

struct Loaded {
    std::unique_ptr<orvcore::SceneManager> manager = std::make_unique<orvcore::SceneManager>(800, 600);
    orvrender::SceneInfo info;
    std::string error;
    bool ok = false;
};

Loaded Load(const std::string& text, const std::string& baseDir = kRoot.string())
{
    Loaded result;
    result.ok = orvrender::LoadSceneText(text, "scene.json", baseDir, *result.manager, result.info, result.error);
    return result;
}

const orvcore::SceneNode* Named(const orvrender::SceneInfo& info, const std::string& name)
{
    for (const auto& entry : info.names) {
        if (entry.second == name)
            return entry.first;
    }
    return nullptr;
}

std::vector<fs::path> ExampleScenes()
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(kRoot / "examples")) {
        if (entry.path().extension() == ".json")
            files.push_back(entry.path());
    }
    return files;
}

json ReadJson(const fs::path& path)
{
    std::ifstream in(path);
    return json::parse(in);
}

// ---------------------------------------------------------------- examples

TEST(SceneFileExamples, EveryExampleLoadsWithNodesAndNoError)
{
    const auto files = ExampleScenes();
    ASSERT_GE(files.size(), 4u);
    for (const auto& file : files) {
        SCOPED_TRACE(file.string());
        orvcore::SceneManager manager(800, 600);
        orvrender::SceneInfo info;
        std::string error = "unchanged";
        EXPECT_TRUE(orvrender::LoadSceneFile(file.string(), manager, info, error)) << error;
        EXPECT_TRUE(error.empty()) << error;
        EXPECT_GT(info.nodes, 0u);
        EXPECT_FALSE(info.names.empty());
        EXPECT_TRUE(manager.GetSceneBBox().isFinite());
    }
}

TEST(SceneFileExamples, DemoIsAMachineCellWithModelsLabelsAndATag)
{
    orvcore::SceneManager manager(800, 600);
    orvrender::SceneInfo info;
    std::string error;
    ASSERT_TRUE(orvrender::LoadSceneFile((kRoot / "examples/demo.json").string(), manager, info, error)) << error;
    for (const char* name : {"base plate", "fixture", "spindle", "tool", "bracket", "flange", "cell title",
                             "fixture tag"})
        EXPECT_NE(Named(info, name), nullptr) << name;
    EXPECT_EQ(manager.GetScene2D()->GetNodes().size(), 1u);
    EXPECT_EQ(info.select, std::vector<std::string>{"fixture block"});
    EXPECT_EQ(info.hover, std::vector<std::string>{"tool"});
    // The imported parts bring their triangles; the grid follows the model.
    EXPECT_GT(info.triangles, 200u);
    auto grid = orvcore::PlanarGridWidget::Cast(manager.GetCoodinateGrid().get());
    ASSERT_NE(grid, nullptr);
    EXPECT_FLOAT_EQ(grid->GetCellSize(), 50.0f);
    EXPECT_GE(grid->GetCellCountX() * 50.0f, 400.0f);
    // Isometric fit: the camera looks down at the box centre from front-top-right.
    const auto& camera = manager.GetCamera();
    EXPECT_EQ(camera->GetProjectionType(), orvcore::Camera::PROJECTION_PERSPECTIVE);
    const glm::vec3 look = camera->GetDirection();
    EXPECT_LT(look.x, 0.0f);
    EXPECT_GT(look.y, 0.0f);
    EXPECT_LT(look.z, 0.0f);
    const glm::vec3 centre = manager.GetSceneBBox().getCenter();
    EXPECT_NEAR(glm::length(camera->GetTarget() - centre), 0.0f, 1e-2f);
}

TEST(SceneFileExamples, DemoRefersOnlyToFilesThatExist)
{
    const json demo = ReadJson(kRoot / "examples/demo.json");
    std::size_t files = 0;
    std::function<void(const json&)> walk = [&](const json& value) {
        if (value.is_object()) {
            for (const char* key : {"file", "image", "skybox"}) {
                auto it = value.find(key);
                if (it != value.end() && it->is_string()) {
                    ++files;
                    EXPECT_TRUE(fs::exists(kRoot / "examples" / it->get<std::string>())) << *it;
                }
            }
        }
        if (value.is_structured()) {
            for (const auto& child : value)
                walk(child);
        }
    };
    walk(demo);
    EXPECT_GE(files, 2u);
}

TEST(SceneFileExamples, SchemaIsValidJsonAndCoversTheFormat)
{
    json schema;
    ASSERT_NO_THROW(schema = ReadJson(kRoot / "docs/scene.schema.json"));
    EXPECT_EQ(schema.value("$schema", ""), "https://json-schema.org/draft/2020-12/schema");
    const json& properties = schema.at("properties");
    for (const char* key : {"camera", "background", "displayFilter", "grid", "nodes", "select", "hover"})
        EXPECT_TRUE(properties.contains(key)) << key;
    // Every node type the examples use has a definition in the schema.
    const std::string defs = schema.at("$defs").dump();
    for (const auto& file : ExampleScenes()) {
        std::function<void(const json&)> walk = [&](const json& value) {
            if (value.is_object() && value.contains("type") && value["type"].is_string()) {
                EXPECT_NE(defs.find("\"const\":\"" + value["type"].get<std::string>() + "\""), std::string::npos)
                    << file << " " << value["type"];
            }
            if (value.is_structured()) {
                for (const auto& child : value)
                    walk(child);
            }
        };
        walk(ReadJson(file).at("nodes"));
    }
}

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

TEST(SceneFileContent, CountsNamesAndSelectionsOfAnInlineScene)
{
    Loaded scene = Load(kInline);
    ASSERT_TRUE(scene.ok) << scene.error;
    // block: group + faces + edges; bare: 1; arm: group + sphere + points; placed: 3.
    EXPECT_EQ(scene.info.nodes, 10u);
    // Three boxes of 12 triangles and a 32 x 16 sphere.
    EXPECT_EQ(scene.info.triangles, 36u + 32u * 16u * 2u - 64u);
    EXPECT_EQ(scene.manager->GetScene()->GetNodes().size(), 4u);
    EXPECT_EQ(scene.manager->GetScene2D()->GetNodes().size(), 1u);
    EXPECT_EQ(scene.info.names.size(), 6u);
    EXPECT_EQ(scene.info.select, (std::vector<std::string>{"block", "dots"}));
    EXPECT_EQ(scene.info.hover, std::vector<std::string>{"arm"});
}

TEST(SceneFileContent, TransformsComposeTranslateRotateScaleOrTakeTheMatrix)
{
    Loaded scene = Load(kInline);
    ASSERT_TRUE(scene.ok) << scene.error;
    const auto* block = Named(scene.info, "block");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->GetTransform(), glm::translate(glm::mat4(1.0f), glm::vec3(10, 0, 0)));
    EXPECT_EQ(block->GetUserId(), 42u);
    const auto& box = block->GetWorldBBox();
    EXPECT_FLOAT_EQ(box.getMinimum().x, 9.0f);
    EXPECT_FLOAT_EQ(box.getMaximum().z, 3.0f);

    const auto* arm = Named(scene.info, "arm");
    ASSERT_NE(arm, nullptr);
    const glm::vec4 x = arm->GetTransform() * glm::vec4(1, 0, 0, 1);
    EXPECT_NEAR(x.x, 0.0f, 1e-5f);
    EXPECT_NEAR(x.y, 2.0f, 1e-5f);

    const auto* placed = Named(scene.info, "placed");
    ASSERT_NE(placed, nullptr);
    EXPECT_EQ(placed->GetTransform(), glm::translate(glm::mat4(1.0f), glm::vec3(5, 6, 7)));
}

TEST(SceneFileContent, MaterialsFlagsAndEdgesFollowTheFile)
{
    Loaded scene = Load(kInline);
    ASSERT_TRUE(scene.ok) << scene.error;
    auto block = orvcore::GroupSceneNode::Cast(Named(scene.info, "block"));
    ASSERT_NE(block, nullptr) << "a box with edges is a group of faces and edges";
    ASSERT_EQ(block->GetCount(), 2u);
    int faces = 0;
    int edges = 0;
    for (const auto& entry : block->GetChildren()) {
        auto primitive = orvcore::PrimitiveSceneNode::Cast(entry.second.get());
        ASSERT_NE(primitive, nullptr);
        if (orvcore::IsTrianglePrimitive(primitive->GetPrimitive()->GetPrimitiveType())) {
            ++faces;
            EXPECT_EQ(primitive->GetMaterial()->GetColor(), glm::vec3(1, 0, 0));
            EXPECT_FLOAT_EQ(primitive->GetMaterial()->GetOpacity(), 0.5f);
            EXPECT_TRUE(primitive->GetMaterial()->IsTransparent());
        } else {
            ++edges;
            EXPECT_EQ(primitive->GetPrimitive()->GetGeometry()->GetPrimitiveCount(), 12u);
            EXPECT_FALSE(primitive->GetPickable());
        }
        // Picking a child reports the named box.
        EXPECT_EQ(orvrender::NameOf(scene.info, entry.second.get()), "block");
    }
    EXPECT_EQ(faces, 1);
    EXPECT_EQ(edges, 1);

    const auto* bare = Named(scene.info, "bare");
    ASSERT_NE(orvcore::PrimitiveSceneNode::Cast(bare), nullptr);
    EXPECT_FALSE(bare->GetVisible());
    EXPECT_FALSE(bare->GetPickable());

    auto dots = orvcore::PrimitiveSceneNode::Cast(Named(scene.info, "dots"));
    ASSERT_NE(dots, nullptr);
    EXPECT_FLOAT_EQ(dots->GetMaterial()->GetPointSize(), 7.0f);

    // The unnamed sphere answers with its group's name; a foreign node with "".
    auto arm = orvcore::GroupSceneNode::Cast(Named(scene.info, "arm"));
    ASSERT_NE(arm, nullptr);
    for (const auto& entry : arm->GetChildren())
        EXPECT_FALSE(orvrender::NameOf(scene.info, entry.second.get()).empty());
    auto stranger = std::make_shared<orvcore::GroupSceneNode>();
    EXPECT_EQ(orvrender::NameOf(scene.info, stranger.get()), "");
    EXPECT_EQ(orvrender::NameOf(scene.info, nullptr), "");
}

TEST(SceneFileContent, ViewSettingsReachTheManager)
{
    Loaded scene = Load(kInline);
    ASSERT_TRUE(scene.ok) << scene.error;
    auto background = orvcore::ColorBackground::Cast(scene.manager->GetBackground().get());
    ASSERT_NE(background, nullptr);
    EXPECT_EQ(background->GetColor(), glm::vec4(0.25f, 0.5f, 1.0f, 1.0f));
    EXPECT_EQ(scene.manager->GetDisplayFilter(), uint32_t(orvcore::SHAPE_FILTER_FACE | orvcore::SHAPE_FILTER_EDGE));
    auto grid = orvcore::PlanarGridWidget::Cast(scene.manager->GetCoodinateGrid().get());
    ASSERT_NE(grid, nullptr);
    EXPECT_FALSE(grid->GetVisible());
    EXPECT_FLOAT_EQ(grid->GetCellSize(), 5.0f);
    const auto& camera = scene.manager->GetCamera();
    EXPECT_EQ(camera->GetProjectionType(), orvcore::Camera::PROJECTION_ORTHOGRAPHIC);
    EXPECT_EQ(camera->GetEye(), glm::vec3(10, -20, 30));
    EXPECT_EQ(camera->GetTarget(), glm::vec3(1, 2, 3));
    auto tag = orvcore::TagNode2D::Cast(scene.manager->GetScene2D()->GetNodes().begin()->second.get());
    ASSERT_NE(tag, nullptr);
    EXPECT_FALSE(tag->GetWorldPosition());
    EXPECT_EQ(tag->GetPosition(), glm::vec3(10, 20, 0));
}

TEST(SceneFileContent, GridFitsTheModelAndTheDefaultCameraIsAnIsometricPerspective)
{
    Loaded scene = Load(R"({"grid": {"fit": true, "cellSize": 10},
                            "nodes": [{"type": "box", "size": [200, 100, 10], "translate": [300, 0, 0]}]})");
    ASSERT_TRUE(scene.ok) << scene.error;
    auto grid = orvcore::PlanarGridWidget::Cast(scene.manager->GetCoodinateGrid().get());
    ASSERT_NE(grid, nullptr);
    EXPECT_GE(grid->GetCellCountX() * 10.0f, 200.0f);
    EXPECT_FLOAT_EQ(grid->GetTransform()[3].x, 300.0f);
    const auto& camera = scene.manager->GetCamera();
    EXPECT_EQ(camera->GetProjectionType(), orvcore::Camera::PROJECTION_PERSPECTIVE);
    EXPECT_NEAR(camera->GetTarget().x, 300.0f, 1e-2f);
    EXPECT_LT(camera->GetDirection().z, 0.0f);
}

TEST(SceneFileContent, EmptySceneLoadsAndLeavesTheDefaults)
{
    Loaded scene = Load("{}");
    ASSERT_TRUE(scene.ok) << scene.error;
    EXPECT_EQ(scene.info.nodes, 0u);
    EXPECT_EQ(scene.manager->GetDisplayFilter(), uint32_t(orvcore::SHAPE_FILTER_ALL));
}

// ---------------------------------------------------------------- faults

struct BadCase {
    const char* text;
    const char* path;
    const char* what;
};

TEST(SceneFileErrors, EachFaultNamesTheFileAndTheExactJsonPath)
{
    const BadCase cases[] = {
        {R"([])", "/: ", "expected an object"},
        {R"({"nodes": {}})", "/nodes: ", "expected an array"},
        {R"({"extra": 1})", "/extra: ", "unknown property"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1]}, {"type": "box"}]})", "/nodes/1/size: ", "missing"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1]}, {"type": "box", "size": [1,2]}]})", "/nodes/1/size: ",
         "expected 3 numbers"},
        {R"({"nodes": [{"type": "box", "size": [1,-2,1]}]})", "/nodes/0/size/1: ", "negative"},
        {R"({"nodes": [{"type": "box", "size": [1,2,"3"]}]})", "/nodes/0/size/2: ", "expected a number"},
        {R"({"nodes": [{"type": "box", "size": [1,2,1e300]}]})", "/nodes/0/size/2: ", "too large"},
        {R"({"nodes": [{"type": "sphere", "radius": 2e7}]})", "/nodes/0/radius: ", "too large"},
        {R"({"nodes": [{"type": "sphere", "radius": 0}]})", "/nodes/0/radius: ", "positive"},
        {R"({"nodes": [{"type": "sphere", "radius": 1, "segments": 100000}]})", "/nodes/0/segments: ",
         "too large"},
        {R"({"nodes": [{"type": "cone", "radius": 1, "height": 1, "segments": 2.5}]})", "/nodes/0/segments: ",
         "whole number"},
        {R"({"nodes": [{"type": "teapot"}]})", "/nodes/0/type: ", "unknown node type"},
        {R"({"nodes": [{"size": [1,1,1]}]})", "/nodes/0/type: ", "missing"},
        {R"({"nodes": [{"type": 3}]})", "/nodes/0/type: ", "expected a string"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "colour": [1,0,0]}]})", "/nodes/0/colour: ",
         "unknown property"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "color": [1,0,2]}]})", "/nodes/0/color/2: ", "[0, 1]"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "opacity": 1.5}]})", "/nodes/0/opacity: ", "too large"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "visible": "yes"}]})", "/nodes/0/visible: ",
         "true or false"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "userId": -1}]})", "/nodes/0/userId: ", "at least 0"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "scale": [1,0,1]}]})", "/nodes/0/scale: ", "zero"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "scale": "big"}]})", "/nodes/0/scale: ", "expected"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "rotate": {"axis": [0,0,0], "angle": 5}}]})",
         "/nodes/0/rotate/axis: ", "zero"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "rotate": {"axis": [0,0,1]}}]})",
         "/nodes/0/rotate/angle: ", "missing"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "matrix": [1,0,0]}]})", "/nodes/0/matrix: ",
         "expected 16 numbers"},
        {R"({"nodes": [{"type": "box", "size": [1,1,1], "matrix": [1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1],
             "translate": [1,2,3]}]})",
         "/nodes/0/matrix: ", "not both"},
        {R"({"nodes": [{"type": "group", "children": [{"type": "box", "size": [1,1,1]},
             {"type": "group", "children": [{"type": "cylinder", "radius": 1}]}]}]})",
         "/nodes/0/children/1/children/0/height: ", "missing"},
        {R"({"nodes": [{"type": "group", "children": [{"type": "tag", "text": "x", "target": [0,0,0],
             "offset": [0,0]}]}]})",
         "/nodes/0/children/0: ", "top-level"},
        {R"({"nodes": [{"type": "points", "points": [[0,0,0],[1,1]]}]})", "/nodes/0/points/1: ",
         "expected 3 numbers"},
        {R"({"nodes": [{"type": "lines", "points": [[0,0,0],[1,1,1],[2,2,2]]}]})", "/nodes/0/points: ", "pairs"},
        {R"({"nodes": [{"type": "lines", "points": [[0,0,0],[1,1,1]], "width": 1000}]})", "/nodes/0/width: ",
         "too large"},
        {R"({"nodes": [{"type": "points", "points": []}]})", "/nodes/0/points: ", "at least one"},
        {R"({"nodes": [{"type": "text", "text": "a"}]})", "/nodes/0/height: ", "missing"},
        {R"({"nodes": [{"type": "text", "text": "a", "height": 1, "form": "neon"}]})", "/nodes/0/form: ",
         "\"mesh\""},
        {R"({"nodes": [{"type": "text", "text": "a", "height": 1, "billboard": true}]})", "/nodes/0/billboard: ",
         "texture"},
        {R"({"nodes": [{"type": "tag", "text": "a", "target": [0,0,0]}]})", "/nodes/0/position: ", "offset"},
        {R"({"nodes": [{"type": "tag", "text": "a", "target": [0,0,0], "offset": [1,2,3]}]})",
         "/nodes/0/offset: ", "expected 2 numbers"},
        {R"({"nodes": [{"type": "box", "name": "a", "size": [1,1,1]}, {"type": "box", "name": "a",
             "size": [1,1,1]}]})",
         "/nodes/1/name: ", "used twice"},
        {R"({"nodes": [{"type": "box", "name": "a", "size": [1,1,1]}], "select": ["a", "b"]})", "/select/1: ",
         "no node is named"},
        {R"({"hover": "a"})", "/hover: ", "expected an array"},
        {R"({"camera": {"projection": "fisheye"}})", "/camera/projection: ", "perspective"},
        {R"({"camera": {"fit": "sideways"}})", "/camera/fit: ", "unknown standard view"},
        {R"({"camera": {"fit": "top", "eye": [0,0,1], "target": [0,0,0]}})", "/camera/fit: ", "not both"},
        {R"({"camera": {"eye": [0,0,1]}})", "/camera/target: ", "missing"},
        {R"({"camera": {"eye": [0,0,1], "target": [0,0,1]}})", "/camera/target: ", "differ"},
        {R"({"camera": {"eye": [0,0,1], "target": [0,0,0], "up": [0,0,1]}})", "/camera/up: ", "parallel"},
        {R"({"background": {"color": [1,1,1], "image": "a.png"}})", "/background: ", "exactly one"},
        {R"({"background": {"image": "no-such-image.png"}})", "/background/image: ", "not found"},
        {R"({"background": {"skybox": "no-such-folder"}})", "/background/skybox: ", "not found"},
        {R"({"displayFilter": ["faces", "volumes"]})", "/displayFilter/1: ", "\"points\""},
        {R"({"grid": {"cellSize": -1}})", "/grid/cellSize: ", "negative"},
        {R"({"grid": {"fit": 1}})", "/grid/fit: ", "true or false"},
        {R"({"nodes": [{"type": "model"}]})", "/nodes/0/file: ", "missing"},
        {R"({"nodes": [{"type": "model", "file": "examples/models/bracket.obj", "featureAngle": 270}]})",
         "/nodes/0/featureAngle: ", "too large"},
    };
    QuietLog quiet;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Loaded scene = Load(c.text);
        EXPECT_FALSE(scene.ok);
        EXPECT_EQ(scene.error.rfind("scene.json: ", 0), 0u) << scene.error;
        EXPECT_NE(scene.error.find(std::string("scene.json: ") + c.path), std::string::npos) << scene.error;
        EXPECT_NE(scene.error.find(c.what), std::string::npos) << scene.error;
    }
}

TEST(SceneFileErrors, MissingModelReportsTheImportersReasonAtTheFilePath)
{
    QuietLog quiet;
    Loaded scene = Load(R"({"nodes": [{"type": "box", "size": [1,1,1]},
                                      {"type": "model", "file": "no/such/part.stl"}]})");
    EXPECT_FALSE(scene.ok);
    EXPECT_NE(scene.error.find("scene.json: /nodes/1/file: "), std::string::npos) << scene.error;
    EXPECT_NE(scene.error.find("part.stl"), std::string::npos) << scene.error;
}

TEST(SceneFileErrors, UnreadableJsonGivesLineAndColumn)
{
    Loaded scene = Load("{\n  \"nodes\": [\n    {\"type\": \"box\",, }\n  ]\n}");
    EXPECT_FALSE(scene.ok);
    EXPECT_NE(scene.error.find("scene.json: line 3, column "), std::string::npos) << scene.error;
    EXPECT_NE(scene.error.find("JSON"), std::string::npos) << scene.error;

    Loaded empty = Load("");
    EXPECT_FALSE(empty.ok);
    EXPECT_EQ(empty.error.rfind("scene.json: line 1", 0), 0u) << empty.error;
}

TEST(SceneFileErrors, MissingOrFolderSceneFileIsReportedByName)
{
    orvcore::SceneManager manager(100, 100);
    orvrender::SceneInfo info;
    std::string error;
    const std::string missing = (kRoot / "examples/no-such-scene.json").string();
    EXPECT_FALSE(orvrender::LoadSceneFile(missing, manager, info, error));
    EXPECT_EQ(error.rfind(missing + ": ", 0), 0u) << error;
    EXPECT_FALSE(orvrender::LoadSceneFile((kRoot / "examples").string(), manager, info, error));
    EXPECT_NE(error.find("folder"), std::string::npos) << error;
}

TEST(SceneFileErrors, OversizedInputIsRefusedAsTooLarge)
{
    // A point list past the limit, and groups nested past the limit.
    std::string points = R"({"nodes": [{"type": "points", "points": [)";
    for (int i = 0; i < 1000001; ++i)
        points += i ? ",[0,0,0]" : "[0,0,0]";
    points += "]}]}";
    Loaded many = Load(points);
    EXPECT_FALSE(many.ok);
    EXPECT_NE(many.error.find("/nodes/0/points: too large"), std::string::npos) << many.error;

    std::string nested = R"({"nodes": [)";
    for (int i = 0; i < 100; ++i)
        nested += R"({"type": "group", "children": [)";
    for (int i = 0; i < 100; ++i)
        nested += "]}";
    nested += "]}";
    Loaded deep = Load(nested);
    EXPECT_FALSE(deep.ok);
    EXPECT_NE(deep.error.find("nested too deeply"), std::string::npos) << deep.error;

    Loaded text = Load(R"({"nodes": [{"type": "text", "height": 1, "text": ")" + std::string(5000, 'a') + "\"}]}");
    EXPECT_FALSE(text.ok);
    EXPECT_NE(text.error.find("/nodes/0/text: too large"), std::string::npos) << text.error;
}

// Every value of an example replaced by a wrong one, and every prefix of it:
// the loader answers (true, or false with the file name), never crashes.
TEST(SceneFileErrors, MutatedAndTruncatedExamplesNeverCrash)
{
    QuietLog quiet;
    std::ifstream in(kRoot / "examples/parts.json");
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const json original = json::parse(text);
    const json flat = original.flatten();
    const json replacements[] = {json("x"), json(-1), json(1e300), json::array(), json(nullptr)};
    std::size_t failures = 0;
    for (auto it = flat.begin(); it != flat.end(); ++it) {
        for (const auto& replacement : replacements) {
            json changed = original;
            changed[json::json_pointer(it.key())] = replacement;
            Loaded scene = Load(changed.dump(), (kRoot / "examples").string());
            if (!scene.ok) {
                ++failures;
                EXPECT_EQ(scene.error.rfind("scene.json: ", 0), 0u) << scene.error;
            }
        }
    }
    EXPECT_GT(failures, flat.size());
    for (std::size_t length = 0; length < text.size(); length += 37) {
        Loaded scene = Load(text.substr(0, length));
        EXPECT_FALSE(scene.ok);
        EXPECT_EQ(scene.error.rfind("scene.json: ", 0), 0u) << scene.error;
    }
}

} // namespace
