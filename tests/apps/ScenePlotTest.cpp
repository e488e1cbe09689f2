// Scene files: plot nodes and palette overlays, what they build and how
// their faults are reported.
#include <orvrender/SceneFile.h>

#include <algorithm>

#include <gtest/gtest.h>

#include <orvcore/plot/PaletteWidget.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>

#include "LoadedScene.h"
#include "LogCapture.h"

namespace {

using Loaded = orvtest::LoadedScene;

Loaded Load(const std::string& text) { return orvtest::LoadScene(text); }

std::string Plot(const std::string& body) { return R"({"nodes": [{"type": "plot", )" + body + "}]}"; }

std::vector<const orvcore::PaletteWidget*> Palettes(const Loaded& scene)
{
    std::vector<const orvcore::PaletteWidget*> result;
    for (const auto& entry : scene.manager->GetScene2D()->GetNodes())
        if (const auto* palette = orvcore::PaletteWidget::Cast(entry.second.get()))
            result.push_back(palette);
    return result;
}

} // namespace

TEST(ScenePlot, SurfacesCurvesAndTheirColourBar)
{
    Loaded scene = Load(Plot(R"("name": "p", "map": "plasma", "valueRange": [-1, 3],
      "surfaces": [{"x": [0, 2, 0.5], "y": [-1, 1, 1], "z": "x * y + i - j", "gridLines": true}],
      "curves": [{"range": [0, 1, 0.25], "y": "2*x"}, {"range": [0, 3.14159, 1], "point": ["t", "0", "t^2"]}],
      "palette": {"title": "z", "ticks": 5, "position": [0, 1]})"));
    ASSERT_TRUE(scene.ok) << scene.error;
    ASSERT_EQ(scene.manager->GetScene()->GetNodes().size(), 1u);
    const auto* group = orvcore::GroupSceneNode::Cast(scene.manager->GetScene()->GetNodes().begin()->second.get());
    ASSERT_TRUE(group);
    EXPECT_EQ(group->GetCount(), 4u); // two curves, the surface, its grid lines

    const orvcore::BufferGeometry* surface = nullptr;
    std::vector<std::size_t> curveSizes;
    for (const auto& child : group->GetChildren()) {
        const auto* node = orvcore::PrimitiveSceneNode::Cast(child.second.get());
        ASSERT_TRUE(node);
        const auto& geometry = node->GetPrimitive()->GetGeometry();
        if (geometry->GetPrimitiveType() == orvcore::PRIMITIVE_TRIANGLES)
            surface = geometry.get();
        else if (geometry->GetPrimitiveType() == orvcore::PRIMITIVE_LINE_STRIP)
            curveSizes.push_back(geometry->GetVertexCount());
    }
    ASSERT_TRUE(surface);
    // 4 x 2 cells: the functor puts column i at x = i / 2 and row j at y = j - 1.
    ASSERT_EQ(surface->GetVertexCount(), 15u);
    EXPECT_EQ(surface->GetPositions()->GetVec3(5 * 2 + 4), glm::vec3(2.0f, 1.0f, 2.0f + 4.0f - 2.0f));
    EXPECT_EQ(surface->GetPositions()->GetVec3(0), glm::vec3(0.0f, -1.0f, 0.0f));
    std::sort(curveSizes.begin(), curveSizes.end());
    EXPECT_EQ(curveSizes, (std::vector<std::size_t>{3u, 4u})); // pi / 1 truncates to 3 steps

    const auto palettes = Palettes(scene);
    ASSERT_EQ(palettes.size(), 1u);
    EXPECT_EQ(palettes[0]->GetTitle(), L"z");
    EXPECT_EQ(palettes[0]->GetLabelTexts(), (std::vector<std::wstring>{L"-1", L"0", L"1", L"2", L"3"}));

    // A palette overlay of its own, beside data coloured elsewhere.
    Loaded overlay = Load(R"({"nodes": [{"type": "palette", "map": "Cool_Warm", "range": [0, 0.5], "ticks": 0,
      "offset": [100, 50], "visible": false}]})");
    ASSERT_TRUE(overlay.ok) << overlay.error;
    const auto bars = Palettes(overlay);
    ASSERT_EQ(bars.size(), 1u);
    EXPECT_EQ(bars[0]->GetLabelTexts().size(), 33u); // one per entry of Moreland's table
    EXPECT_FALSE(bars[0]->GetVisible());
}

TEST(ScenePlot, FaultsNameTheirPath)
{
    const struct {
        std::string text;
        const char* path;
        const char* what;
    } cases[] = {
        {Plot(R"("map": "rainbows", "curves": [{"range": [0, 1, 0.1], "y": "x"}])"), "/nodes/0/map", "viridis"},
        {Plot(R"("curves": [{"range": [0, 1, 0], "y": "x"}])"), "/nodes/0/curves/0/range", "positive step"},
        {Plot(R"("curves": [{"range": [0, 0.9, 0.5], "y": "x"}])"), "/nodes/0/curves/0/range", "two steps"},
        {Plot(R"("curves": [{"range": [0, 1, 0.1], "y": "x +* 2"}])"), "/nodes/0/curves/0/y", "expression"},
        {Plot(R"("curves": [{"range": [0, 1, 0.1], "y": "q"}])"), "/nodes/0/curves/0/y", "expression"},
        {Plot(R"("curves": [{"range": [0, 1, 0.1]}])"), "/nodes/0/curves/0", "either"},
        {Plot(R"("curves": [{"range": [0, 1, 0.1], "y": "x", "point": ["t", "t", "t"]}])"), "/nodes/0/curves/0",
         "either"},
        {Plot(R"("curves": [{"range": [0, 1, 0.1], "point": ["t", "t"]}])"), "/nodes/0/curves/0/point", "3"},
        {Plot(R"("curves": [{"range": [0, 1e7, 1], "y": "x"}])"), "/nodes/0/curves/0", "too many samples"},
        {Plot(R"("surfaces": [{"x": [0, 1, 0.5], "y": [0, 1, 0.5]}])"), "/nodes/0/surfaces/0/z", "missing"},
        {Plot(R"("surfaces": [{"x": [0, 1e4, 1], "y": [0, 1e4, 1], "z": "x"}])"), "/nodes/0/surfaces/0",
         "too many samples"},
        {Plot(R"("curves": [{"range": [0, 1, 0.1], "y": "x"}], "valueRange": [2, 1])"), "/nodes/0/valueRange",
         "min <= max"},
        {Plot(R"("curves": [{"range": [0, 1, 0.1], "y": "x"}], "palette": {})"), "/nodes/0/palette", "surfaces"},
        {Plot(R"("surfaces": [{"x": [0, 1, 0.5], "y": [0, 1, 0.5], "z": "x"}], "palette": {"ticks": 1})"),
         "/nodes/0/palette/ticks", "0"},
        {Plot(R"("color": [1, 0, 0], "curves": [{"range": [0, 1, 0.1], "y": "x"}])"), "/nodes/0", "color"},
        {Plot(R"j("curves": [{"range": [0, 1, 0.1], "y": "sqrt(-1)"}])j"), "/nodes/0", "finite"},
        {R"({"nodes": [{"type": "palette", "map": "viridis"}]})", "/nodes/0/range", "missing"},
        {R"({"nodes": [{"type": "palette", "range": [0, 1], "position": [2, 0]}]})", "/nodes/0/position/0",
         "[0, 1]"},
        {R"({"nodes": [{"type": "group", "children": [{"type": "palette", "range": [0, 1]}]}]})",
         "/nodes/0/children/0", "top-level"},
    };
    orvtest::LogCapture quiet;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Loaded scene = Load(c.text);
        EXPECT_FALSE(scene.ok);
        EXPECT_EQ(scene.error.rfind(std::string("scene.json: ") + c.path, 0), 0u) << scene.error;
        EXPECT_NE(scene.error.find(c.what), std::string::npos) << scene.error;
    }
}
