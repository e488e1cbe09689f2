#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <glm/common.hpp>

#include <orvcommon/Math.h>
#include <orvkernel/geometry/NormalCalculator.h>
#include <orvkernel/plot/CurveGeometryBuilder.h>
#include <orvcore/plot/Matplot.h>
#include <orvcore/plot/PaletteWidget.h>

#include "LogCapture.h"

using namespace orvcore;

namespace {

// y = x^2 in the XY plane, remembering the indices it was called with.
struct Parabola : PlotCurveFunctor {
    mutable std::vector<uint32_t> calls;
    glm::vec3 operator()(uint32_t index, float x) const override
    {
        calls.push_back(index);
        return {x, x * x, 0.0f};
    }
};

// z = x + 2y over the range coordinates [x0, ...] x [y0, ...].
struct Ramp : PlotSurfaceFunctor {
    float x0, dx, y0, dy;
    Ramp(float x0_, float dx_, float y0_, float dy_) : x0(x0_), dx(dx_), y0(y0_), dy(dy_) {}
    glm::vec3 operator()(uint32_t i, uint32_t j, float, float) const override
    {
        const float x = x0 + float(i) * dx, y = y0 + float(j) * dy;
        return {x, y, x + 2.0f * y};
    }
};

// Records the flat coordinates it is handed and keeps the vertex flat.
struct Flat : PlotSurfaceFunctor {
    glm::vec3 operator()(uint32_t, uint32_t, float x, float y) const override { return {x, y, 0.0f}; }
};

// Waves with a hole of NaN heights, a fold that makes cells of zero area
// and a spike too high for a finite cross product.
struct Rough : PlotSurfaceFunctor {
    glm::vec3 operator()(uint32_t i, uint32_t j, float x, float y) const override
    {
        if (i == 3 && j == 2)
            return {x, y, std::nanf("")};
        if (i == 6 && j == 5)
            return {x, y, 3e38f};
        if (j == 7)
            return {x, y - 1.0f, 0.5f}; // onto the row below
        return {x, y, std::sin(1.3f * x) * std::cos(0.7f * y) + 0.01f * float(i * j)};
    }
};

} // namespace

TEST(PlotTest, RangeRules)
{
    const float nan = std::nanf("");
    struct Case {
        PlotRange range;
        bool valid;
        unsigned int steps;
    } cases[] = {
        {PlotRange(), false, 0},                      // the default is meant to be rejected
        {PlotRange(0.0f, 1.0f, 0.5f), true, 2},       // exactly two steps
        {PlotRange(0.0f, 0.9f, 0.5f), false, 1},
        {PlotRange(0.0f, 10.0f, 1.0f), true, 10},
        {PlotRange(0.0f, 10.0f, 0.1f), true, 100},    // counted in float: 10 / 0.1f is 100
        {PlotRange(-3.0f, 3.0f, 0.25f), true, 24},
        {PlotRange(0.0f, 1.0f, 0.0f), false, 0},      // step 0: no count either
        {PlotRange(1.0f, 0.0f, 0.1f), false, 0},      // reversed
        {PlotRange(0.0f, 1.0f, -0.1f), false, 0},
        {PlotRange(0.0f, nan, 0.1f), false, 0},
        {PlotRange(0.0f, 1e30f, 1e-10f), true, 0},    // more steps than a count holds
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.range.GetMin() << " " << c.range.GetMax() << " " << c.range.GetStep());
        EXPECT_EQ(c.range.IsValid(), c.valid);
        EXPECT_EQ(c.range.GetSteps(), c.steps);
    }
    const PlotRange r(-1.0f, 2.0f, 0.5f);
    EXPECT_FLOAT_EQ(r.GetRange(), 3.0f);
    EXPECT_TRUE(r.Contains(-1.0f));
    EXPECT_TRUE(r.Contains(2.0f));
    EXPECT_FALSE(r.Contains(2.0001f));
    EXPECT_FALSE(r.Contains(-1.0001f));
    EXPECT_TRUE(r.Contains(nan));
}

TEST(PlotTest, CurveSamplesEveryStepButTheEnd)
{
    Matplot plot("curve");
    Parabola f;
    ASSERT_TRUE(plot.AddCurve(PlotRange(0.0f, 10.0f, 1.0f), f, nullptr));
    ASSERT_EQ(plot.GetCurveCount(), 1u);
    const auto& geometry = plot.GetCurve(0)->GetPrimitive()->GetGeometry();
    ASSERT_EQ(geometry->GetVertexCount(), 10u);
    EXPECT_EQ(geometry->GetPrimitiveType(), PRIMITIVE_LINE_STRIP);
    EXPECT_EQ(f.calls, (std::vector<uint32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    for (uint32_t i = 0; i < 10; ++i)
        EXPECT_EQ(geometry->GetPositions()->GetVec3(i), glm::vec3(float(i), float(i * i), 0.0f));
    EXPECT_EQ(plot.GetBoundingBox(), AxisAlignedBox(glm::vec3(0.0f), glm::vec3(9.0f, 81.0f, 0.0f)));
    // The distance along the strip is there for dashed materials.
    EXPECT_FLOAT_EQ(geometry->GetAttribute(ATTRIBUTE_LINE_DISTANCE)->GetX(1), std::sqrt(2.0f));

    orvtest::LogCapture log;
    EXPECT_FALSE(plot.AddCurve(PlotRange(), f, nullptr));
    EXPECT_FALSE(plot.AddCurve(PlotRange(0.0f, 1e9f, 1.0f), f, nullptr));
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Range is not valid!", "Range has too many steps!"}));
    EXPECT_EQ(plot.GetCurveCount(), 1u);
    EXPECT_EQ(f.calls.size(), 10u);
}

TEST(PlotTest, SurfaceReplacesEveryVertexOfTheGrid)
{
    Matplot plot("surface");
    // 4 x 2 cells over [-1, 1] x [0, 1]: 5 x 3 vertices.
    ASSERT_TRUE(plot.AddSurface(PlotRange(-1.0f, 1.0f, 0.5f), PlotRange(0.0f, 1.0f, 0.5f), Ramp(-1, 0.5f, 0, 0.5f), true));
    const auto& surface = plot.GetSurface(0);
    ASSERT_EQ(surface->GetVertexCount(), 15u);
    for (uint32_t j = 0; j < 3; ++j)
        for (uint32_t i = 0; i < 5; ++i) {
            const float x = -1.0f + 0.5f * float(i), y = 0.5f * float(j);
            EXPECT_EQ(surface->GetPositions()->GetVec3(j * 5 + i), glm::vec3(x, y, x + 2.0f * y));
        }
    ASSERT_TRUE(surface->GetNormals());
    const glm::vec3 n = surface->GetNormals()->GetVec3(7);
    EXPECT_NEAR(glm::dot(n, glm::normalize(glm::vec3(-1.0f, -2.0f, 1.0f))), 1.0f, 1e-5f);
    EXPECT_EQ(plot.GetBoundingBox(), AxisAlignedBox(glm::vec3(-1.0f, 0.0f, -1.0f), glm::vec3(1.0f, 1.0f, 3.0f)));
    // Grid lines: 3 rows of 4 segments and 5 columns of 2, on the surface's own positions.
    const auto& grid = plot.GetGridLines(0);
    ASSERT_TRUE(grid);
    EXPECT_EQ(grid->GetPositions(), surface->GetPositions());
    EXPECT_EQ(grid->GetPrimitiveCount(), 3u * 4u + 5u * 2u);

    // The functor sees the flat plane's coordinates, centred at the origin.
    Matplot flat("flat");
    ASSERT_TRUE(flat.AddSurface(PlotRange(10.0f, 14.0f, 1.0f), PlotRange(0.0f, 2.0f, 1.0f), Flat(), false));
    EXPECT_EQ(flat.GetSurface(0)->GetPositions()->GetVec3(0), glm::vec3(-2.0f, -1.0f, 0.0f));
    EXPECT_FALSE(flat.GetGridLines(0));
}

TEST(PlotTest, SurfaceEqualsTheGeneralBuilders)
{
    // The surface's own normal pass against the kernel's calculator over its
    // triangles (the same to the bit, holes and folds included), and its
    // index list laid out as the plane's two triangles per cell.
    for (const bool large : {false, true}) {
        SCOPED_TRACE(large ? "32-bit indices" : "16-bit indices");
        const uint32_t columns = large ? 301 : 13, rows = large ? 220 : 10; // 66220 or 130 vertices
        Matplot plot("rough");
        plot.SetGridLineStride(large ? 7 : 1);
        orvtest::LogCapture log; // the NaN heights are warned about by the box
        ASSERT_TRUE(plot.AddSurface(PlotRange(0.0f, float(columns - 1), 1.0f), PlotRange(0.0f, float(rows - 1), 1.0f),
                                    Rough(), true));
        const auto& surface = plot.GetSurface(0);

        auto expected = surface->Clone();
        ASSERT_TRUE(NormalCalculator::ComputeVertexNormals(*expected));
        const auto& normals = *surface->GetNormals();
        for (uint32_t v = 0; v < columns * rows; ++v) {
            const glm::vec3 n = normals.GetVec3(v), e = expected->GetNormals()->GetVec3(v);
            ASSERT_EQ(std::memcmp(&n, &e, sizeof n), 0) << "vertex " << v;
        }
        EXPECT_EQ(normals.GetVec3(2 * columns + 3), glm::vec3(0.0f, 0.0f, 1.0f)); // all its triangles are NaN
        EXPECT_EQ(surface->GetUVs()->GetVec2(columns + 1), glm::vec2(1.0f / float(columns - 1), 1.0f / float(rows - 1)));

        const auto& index = *surface->GetIndex();
        ASSERT_EQ(index.GetCount(), std::size_t(columns - 1) * (rows - 1) * 6);
        EXPECT_EQ(index.GetDataType(), large ? DATA_TYPE_UNSIGNED_INT : DATA_TYPE_UNSIGNED_SHORT);
        const uint32_t cell[6] = {0, 1, columns + 1, 0, columns + 1, columns};
        for (std::size_t k = 0; k < index.GetCount(); ++k) {
            const uint32_t a = uint32_t(k / 6 / (columns - 1) * columns + k / 6 % (columns - 1));
            ASSERT_EQ(index.Get(k), a + cell[k % 6]) << "index " << k;
        }

        const auto& grid = *plot.GetGridLines(0)->GetIndex();
        EXPECT_EQ(grid.Get(grid.GetCount() - 1), columns * rows - 1); // the last column is drawn
    }
}

TEST(PlotTest, SurfaceRangesAreCheckedXFirst)
{
    struct Case {
        PlotRange x, y;
        const char* warning;
    } cases[] = {
        {PlotRange(0.0f, 1.0f, 0.0f), PlotRange(), "X Range is not valid!"},
        {PlotRange(0.0f, 1.0f, 0.0f), PlotRange(0.0f, 1.0f, 0.5f), "X Range is not valid!"},
        {PlotRange(0.0f, 1.0f, 0.5f), PlotRange(0.0f, 0.9f, 0.5f), "Y Range is not valid!"},
        {PlotRange(0.0f, 1.0f, 0.5f), PlotRange(0.0f, 1e9f, 1.0f), "Range has too many steps!"},
    };
    for (const Case& c : cases) {
        Matplot plot("bad");
        orvtest::LogCapture log;
        EXPECT_FALSE(plot.AddSurface(c.x, c.y, Flat(), true));
        ASSERT_FALSE(log.warnings.empty());
        EXPECT_EQ(log.warnings.front(), c.warning);
        EXPECT_EQ(plot.GetSurfaceCount(), 0u);
        EXPECT_TRUE(plot.GetBoundingBox().isNull());
        EXPECT_FALSE(plot.Build(nullptr)); // nothing added: nothing built
    }
}

TEST(PlotTest, BuildColoursSurfacesByHeight)
{
    Matplot plot("ramp");
    plot.SetGridLineStride(2);
    ASSERT_TRUE(plot.AddSurface(PlotRange(0.0f, 4.0f, 1.0f), PlotRange(0.0f, 2.0f, 1.0f), Ramp(0, 1, 0, 1), true));
    Parabola f;
    ASSERT_TRUE(plot.AddCurve(PlotRange(0.0f, 2.0f, 0.5f), f, nullptr));
    auto map = ColorMapKeyword::Create("viridis");
    auto group = plot.Build(map);
    ASSERT_TRUE(group);
    EXPECT_EQ(group->GetCount(), 3u); // curve, surface, grid lines
    ASSERT_TRUE(plot.GetMaterial());
    EXPECT_EQ(plot.GetMaterial()->GetName(), "vertex-mesh-material");
    EXPECT_EQ(plot.GetMaterial()->GetFaceSide(), uint32_t(FACE_DOUBLE));
    EXPECT_TRUE(plot.GetMaterial()->GetVertexColors());

    // Heights run from 0 (vertex 0) to 8 (the last vertex): the whole map,
    // the curve's heights (all 0) included in the range.
    const auto& colors = plot.GetSurface(0)->GetColors();
    ASSERT_TRUE(colors);
    ASSERT_EQ(colors->GetCount(), 15u);
    const float tolerance = 1e-5f;
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(colors->GetVec3(0)[c], map->GetColor(0.0f)[c], tolerance);
        EXPECT_NEAR(colors->GetVec3(14)[c], map->GetColor(1.0f)[c], 0.003f);
        EXPECT_NEAR(colors->GetVec3(7)[c], map->GetColor(4.0f / 8.0f)[c], 0.003f); // x 2, y 1
    }
    // Stride 2 over 5 x 3 vertices: rows 0 and 2, columns 0, 2 and 4.
    EXPECT_EQ(plot.GetGridLines(0)->GetPrimitiveCount(), 2u * 4u + 3u * 2u);

    // An explicit value range: heights outside it take the end colours. The
    // second group has the curve too (a copy: the first group keeps its own).
    orvtest::LogCapture rebuild;
    auto again = plot.Build(nullptr, PlotRange(2.0f, 4.0f, 1.0f));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->GetCount(), 3u);
    EXPECT_EQ(group->GetCount(), 3u);
    EXPECT_TRUE(rebuild.warnings.empty());
    EXPECT_EQ(plot.GetColorTable()->GetMinimum(), 2.0f);
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(colors->GetVec3(0)[c], map->GetColor(0.0f)[c], tolerance);
        EXPECT_NEAR(colors->GetVec3(14)[c], map->GetColor(1.0f)[c], 0.003f);
    }
    orvtest::LogCapture log;
    EXPECT_FALSE(plot.Build(nullptr, PlotRange(1.0f, 0.0f, 1.0f)));
    EXPECT_EQ(log.warnings, std::vector<std::string>{"Value range is not valid!"});
}

TEST(PlotTest, PaletteLabelsFollowTheMapOrTheTicks)
{
    auto table = std::make_shared<ColorLookupTable>();
    ASSERT_TRUE(table->SetRange(-10.0f, 10.0f));
    PaletteWidget palette;
    palette.SetHeight(200.0f);
    palette.SetWidth(20.0f);
    palette.SetTitle(L"Height");
    ASSERT_TRUE(palette.Update(table)); // rainbow: five entries
    EXPECT_EQ(palette.GetLabelTexts(), (std::vector<std::wstring>{L"-10", L"-5", L"0", L"5", L"10"}));
    ASSERT_EQ(palette.GetLabels().size(), 5u);
    for (std::size_t i = 0; i < 5; ++i) {
        // Centred on (Width, i h + h / 2 - Height) with h = 40.
        const auto& label = palette.GetLabels()[i];
        const AxisAlignedBox& box = label->GetWorldBBox();
        EXPECT_NEAR(0.5f * (box.getMinimum().y + box.getMaximum().y), 40.0f * float(i) + 20.0f - 200.0f, 0.5f);
        EXPECT_NEAR(box.getMaximum().y - box.getMinimum().y, PaletteWidget::kLabelHeight, 0.5f);
        EXPECT_GE(box.getMinimum().x, 20.0f);
        const glm::vec3 expected = Math::colorFromHex(table->GetColorMap()->GetEntry(i).Color);
        EXPECT_EQ(label->GetMaterial()->GetColor(), expected);
        EXPECT_EQ(label->GetMaterial()->GetTemplateOptions() & TEMPLATE_OPTION_CLIPPING, 0u);
    }
    ASSERT_TRUE(palette.GetTitleNode());
    EXPECT_GT(palette.GetTitleNode()->GetWorldBBox().getMinimum().y, 0.0f);
    EXPECT_EQ(palette.GetMaterial()->GetName(), "palette-rainbow");
    EXPECT_TRUE(palette.GetMaterial()->GetTexture("map"));

    palette.SetTickCount(3);
    ASSERT_TRUE(table->SetRange(0.0f, 1.0f));
    ASSERT_TRUE(palette.Update(table));
    EXPECT_EQ(palette.GetLabelTexts(), (std::vector<std::wstring>{L"0.0", L"0.5", L"1.0"}));

    orvtest::LogCapture log;
    palette.SetTickCount(1);
    palette.SetDecimals(12);
    EXPECT_FALSE(palette.Update(nullptr));
    palette.SetHeight(-1.0f);
    EXPECT_FALSE(palette.Update(table));
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Tick count is out of range!", "Decimals are out of range!",
                                                      "Color lookup table is null!", "Palette size is invalid!"}));
    EXPECT_EQ(palette.GetLabelTexts().size(), 3u); // kept
}

TEST(PlotTest, PaletteStaysInsideTheView)
{
    auto table = std::make_shared<ColorLookupTable>();
    PaletteWidget palette;
    palette.SetTitle(L"Temperature");
    palette.SetTickCount(5);
    ASSERT_TRUE(palette.Update(table));
    auto camera = Camera::CreateOrthographic(1, 1, 1.0f, -1.0f, 1.0f);
    camera->Resize(640, 480);
    const glm::vec2 half(320.0f, 240.0f);
    // Anchors at the corners and the middle: the whole widget lies 16
    // pixels inside the view (centred coordinates), on whole pixels.
    for (glm::vec2 anchor : {glm::vec2(0.0f), glm::vec2(1.0f), glm::vec2(1.0f, 0.5f), glm::vec2(0.0f, 1.0f)}) {
        palette.SetPosition(ViewPosition(ViewPosition::VIEW_POSITION_ANCHOR, anchor));
        palette.UpdatePosition(camera);
        const AxisAlignedBox& box = palette.GetNode()->GetWorldBBox();
        const glm::vec2 low(box.getMinimum()), high(box.getMaximum());
        for (int k = 0; k < 2; ++k) {
            EXPECT_GE(low[k], -half[k] + 15.5f) << anchor.x << "," << anchor.y;
            EXPECT_LE(high[k], half[k] - 15.5f) << anchor.x << "," << anchor.y;
            if (anchor[k] == 0.0f) {
                EXPECT_NEAR(low[k], -half[k] + 16.0f, 0.51f);
            }
            if (anchor[k] == 1.0f) {
                EXPECT_NEAR(high[k], half[k] - 16.0f, 0.51f);
            }
        }
        const glm::vec3 origin(palette.GetNode()->GetTransform()[3]);
        EXPECT_EQ(origin, glm::round(origin));
    }
    palette.SetPosition(ViewPosition(ViewPosition::VIEW_POSITION_OFFSET, glm::vec2(-100.0f, 50.0f)));
    palette.UpdatePosition(camera);
    EXPECT_EQ(glm::vec3(palette.GetNode()->GetTransform()[3]), glm::vec3(-100.0f, 50.0f, 0.0f));

    orvtest::LogCapture log;
    palette.SetPosition(ViewPosition(ViewPosition::VIEW_POSITION_OFFSET, glm::vec2(std::nanf(""), 0.0f)));
    palette.UpdatePosition(camera);
    palette.UpdatePosition(nullptr);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"View position is invalid!", "Camera is null!"}));
    EXPECT_EQ(glm::vec3(palette.GetNode()->GetTransform()[3]), glm::vec3(-100.0f, 50.0f, 0.0f));
}

TEST(PlotTest, LabelNumbers)
{
    struct Case {
        std::vector<float> values;
        int decimals;
    } cases[] = {
        {{0.0f, 0.25f, 0.5f, 0.75f, 1.0f}, 2}, {{0.0f, 25.0f, 50.0f}, 0},  {{-1.2f, -0.7f, -0.2f, 0.3f}, 1},
        {{0.0f, 2.5f, 5.0f}, 1},               {{3.0f}, 2},                {{0.001f, 0.002f}, 3},
        {{0.0f, 1.0f / 3.0f, 2.0f / 3.0f}, 3},
    };
    for (const Case& c : cases)
        EXPECT_EQ(PaletteWidget::ChooseDecimals(c.values), c.decimals) << c.values.size() << " values from " << c.values[0];
    struct Ticks {
        float min, max;
        uint32_t count;
        std::vector<float> ticks;
    } ticks[] = {
        {-6.54f, 8.1f, 6, {-5.0f, -2.5f, 0.0f, 2.5f, 5.0f, 7.5f}},
        {0.0f, 30.0f, 5, {0.0f, 10.0f, 20.0f, 30.0f}},
        {-10.0f, 10.0f, 5, {-10.0f, -5.0f, 0.0f, 5.0f, 10.0f}},
        {0.0f, 1.0f, 2, {0.0f, 1.0f}},
        {3.0f, 3.0f, 5, {3.0f}},
        {0.001f, 0.0013f, 5, {0.001f, 0.0011f, 0.0012f, 0.0013f}},
    };
    for (const Ticks& t : ticks) {
        const std::vector<float> got = PaletteWidget::NiceTicks(t.min, t.max, t.count);
        ASSERT_EQ(got.size(), t.ticks.size()) << t.min << " " << t.max;
        for (std::size_t i = 0; i < got.size(); ++i)
            EXPECT_NEAR(got[i], t.ticks[i], 1e-6f * (t.max - t.min) + 1e-9f) << t.min << " " << t.max << " tick " << i;
    }
    EXPECT_EQ(PaletteWidget::FormatValue(-0.001f, 2), L"0.00");
    EXPECT_EQ(PaletteWidget::FormatValue(-0.5f, 1), L"-0.5");
    EXPECT_EQ(PaletteWidget::FormatValue(12.345f, 2), L"12.35");
}
