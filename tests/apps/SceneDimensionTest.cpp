// Scene files: dimension nodes, what they build and how their faults are reported.
#include <orvrender/SceneFile.h>

#include <gtest/gtest.h>

#include <orvcore/dimension/AlignedDimensionNode.h>
#include <orvcore/dimension/LinearDimensionNode.h>

#include "LoadedScene.h"
#include "LogCapture.h"

namespace {

using Loaded = orvtest::LoadedScene;

Loaded Load(const std::string& nodes)
{
    Loaded result;
    result.ok = orvrender::LoadSceneText(R"({"nodes": [)" + nodes + "]}", "scene.json", ORVCORE_SOURCE_DIR,
                                         *result.manager, result.info, result.error);
    return result;
}

const orvcore::SceneNode* Named(const orvrender::SceneInfo& info, const std::string& name)
{
    for (const auto& entry : info.names)
        if (entry.second == name)
            return entry.first;
    return nullptr;
}

} // namespace

TEST(SceneDimension, SettingsReachTheNodes)
{
    Loaded scene = Load(R"({"type": "dimension", "name": "a", "start": [0,0,0], "end": [30,40,0], "offset": -5,
                            "precision": 1, "unit": " mm", "text": "L=<>", "arrow": "tick", "textHeight": 2,
                            "facing": "upright", "color": [1, 0, 0]},
                           {"type": "dimension", "name": "c", "kind": "linear", "axis": "y", "normal": "z",
                            "points": [[0,0,0], [5,10,0], [2,25,0]], "facing": "camera", "overshoot": 1})");
    ASSERT_TRUE(scene.ok) << scene.error;
    const auto* aligned = orvcore::AlignedDimensionNode::Cast(Named(scene.info, "a"));
    ASSERT_NE(aligned, nullptr);
    EXPECT_EQ(aligned->GetCount(), 4u); // label, lines, two ticks
    EXPECT_EQ(aligned->GetLength(), 50.0f);
    EXPECT_EQ(aligned->GetDistance(), -5.0f);
    EXPECT_EQ(aligned->GetText(), L"L=<>");
    EXPECT_EQ(aligned->GetUnit(), L" mm");
    EXPECT_EQ(aligned->GetPrecision(), 1);
    EXPECT_EQ(aligned->GetFontHeight(), 2.0f);
    EXPECT_EQ(aligned->GetMaterial()->GetColor(), glm::vec3(1, 0, 0));
    EXPECT_EQ(aligned->GetLabelFacing(), orvcore::DIMENSION_LABEL_UPRIGHT);

    const auto* chain = orvcore::LinearDimensionNode::Cast(Named(scene.info, "c"));
    ASSERT_NE(chain, nullptr);
    EXPECT_EQ(chain->GetLengths(), (std::vector<float>{10.0f, 15.0f}));
    EXPECT_EQ(chain->GetLabelFacing(), orvcore::DIMENSION_LABEL_FACING_CAMERA);
    EXPECT_EQ(chain->GetExtensionOffset(), 1.0f);
    EXPECT_EQ(chain->GetMaterial()->GetColor(), glm::vec3(0.0f)); // black by default
}

TEST(SceneDimension, FaultsNameTheirPath)
{
    const struct {
        const char* node;
        const char* path;
        const char* what;
    } cases[] = {
        {R"({"type": "dimension", "start": [1,2,3], "end": [1,2,3]})", "/nodes/0", "could not be built"},
        {R"({"type": "dimension", "start": [0,0,0], "end": [0,0,5]})", "/nodes/0", "could not be built"},
        {R"({"type": "dimension", "kind": "linear", "start": [0,0,0], "end": [0,5,0]})", "/nodes/0",
         "could not be built"},
        {R"({"type": "dimension", "end": [1,0,0]})", "/nodes/0/start", "missing"},
        {R"({"type": "dimension", "kind": "radial", "start": [0,0,0], "end": [1,0,0]})", "/nodes/0/kind", "aligned"},
        {R"({"type": "dimension", "points": [[0,0,0], [1,0,0]]})", "/nodes/0/points", "linear"},
        {R"({"type": "dimension", "kind": "linear", "points": [[0,0,0]]})", "/nodes/0/points", "2 to 256"},
        {R"({"type": "dimension", "start": [0,0,0], "end": [1,0,0], "axis": "x"})", "/nodes/0/axis", "linear"},
        {R"({"type": "dimension", "start": [0,0,0], "end": [1,0,0], "normal": [0,0,0]})", "/nodes/0/normal", "zero"},
        {R"({"type": "dimension", "start": [0,0,0], "end": [1,0,0], "precision": 12})", "/nodes/0/precision",
         "too large"},
        {R"({"type": "dimension", "start": [0,0,0], "end": [1,0,0], "textHeight": 0})", "/nodes/0/textHeight",
         "positive"},
        {R"({"type": "dimension", "start": [0,0,0], "end": [1,0,0], "extension": -1})", "/nodes/0/extension",
         "negative"},
        {R"({"type": "dimension", "start": [0,0,0], "end": [1,0,0], "arrow": "dot"})", "/nodes/0/arrow", "tick"},
        {R"({"type": "dimension", "start": [0,0,0], "end": [1,0,0], "facing": "up"})", "/nodes/0/facing", "upright"},
    };
    orvtest::LogCapture quiet;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.node);
        Loaded scene = Load(c.node);
        EXPECT_FALSE(scene.ok);
        EXPECT_EQ(scene.error.rfind(std::string("scene.json: ") + c.path + ": ", 0), 0u) << scene.error;
        EXPECT_NE(scene.error.find(c.what), std::string::npos) << scene.error;
    }
}
