#include <orvcore/dimension/AlignedDimensionNode.h>
#include <orvcore/dimension/LinearDimensionNode.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/text/FontManager.h>
#include <orvcore/scene/TextSceneNode.h>

#include "Expect.h"
#include "LogCapture.h"

using namespace orvcore;
using orvtest::LogCapture;

namespace {

using Segment = std::pair<glm::vec3, glm::vec3>;
using Triangle = std::vector<glm::vec3>;

// A built dimension taken apart in world space.
struct Parts {
    std::vector<Segment> segments;     // dimension line first, then the extension lines
    std::vector<Triangle> arrows;      // arrowhead triangles
    std::vector<AxisAlignedBox> ticks; // world boxes of the tick quads
    std::vector<const TextSceneNode*> labels;
};

glm::vec3 World(const SceneNode& node, const glm::vec3& p)
{
    return glm::vec3(node.GetWorldTransform() * glm::vec4(p, 1.0f));
}

Parts Collect(DimensionNode& dimension)
{
    dimension.UpdateTransform(glm::mat4(1.0f));
    Parts parts;
    for (const auto& entry : dimension.GetChildren()) {
        const SceneNode& node = *entry.second;
        if (const TextSceneNode* text = TextSceneNode::Cast(&node)) {
            parts.labels.push_back(text);
            continue;
        }
        const PrimitiveSceneNode* primitive = PrimitiveSceneNode::Cast(&node);
        if (!primitive)
            continue;
        const auto& geometry = primitive->GetPrimitive()->GetGeometry();
        if (geometry == GeometryBuilder::AtomQuadShape()) {
            parts.ticks.push_back(node.GetWorldBBox());
            continue;
        }
        const auto& positions = geometry->GetPositions();
        const std::size_t step = geometry->GetPrimitiveType() == PRIMITIVE_LINES ? 2 : 3;
        for (std::size_t v = 0; v + step <= positions->GetCount(); v += step) {
            if (step == 2) {
                parts.segments.emplace_back(World(node, positions->GetVec3(v)), World(node, positions->GetVec3(v + 1)));
            } else {
                parts.arrows.push_back({World(node, positions->GetVec3(v)), World(node, positions->GetVec3(v + 1)),
                                        World(node, positions->GetVec3(v + 2))});
            }
        }
    }
    return parts;
}

// A triangle of the expected tip with the base A back along `back` and h to either side.
void ExpectArrow(const Triangle& triangle, const glm::vec3& tip, const glm::vec3& back, const glm::vec3& side)
{
    ASSERT_EQ(triangle.size(), 3u);
    EXPECT_VEC(triangle[0], tip, 1e-4f);
    const glm::vec3 base = tip + back * 3.0f;
    const bool first = glm::length(triangle[1] - (base - side * 0.375f)) < 1e-3f;
    EXPECT_VEC(triangle[1], first ? base - side * 0.375f : base + side * 0.375f, 1e-4f);
    EXPECT_VEC(triangle[2], first ? base + side * 0.375f : base - side * 0.375f, 1e-4f);
}

bool SameSegment(const Segment& s, const glm::vec3& a, const glm::vec3& b)
{
    return orvtest::VecNear(s.first, a, 1e-4f) && orvtest::VecNear(s.second, b, 1e-4f);
}

std::size_t Vertices(const TextSceneNode& label)
{
    return label.GetPrimitive()->GetGeometry()->GetPositions()->GetCount();
}

} // namespace

TEST(DimensionNode, DefaultsAndClones)
{
    DimensionNode base;
    EXPECT_EQ(base.GetFontHeight(), 5.0f);
    EXPECT_EQ(base.GetExtensionBeyond(), 4.0f);
    EXPECT_EQ(base.GetExtensionOffset(), 0.0f);
    EXPECT_EQ(base.GetArrowStyle(), 3);
    EXPECT_EQ(base.GetArrowLength(), 3.0f);
    ASSERT_TRUE(base.GetMaterial());
    EXPECT_EQ(base.GetMaterial()->GetName(), "dimension");
    EXPECT_EQ(base.GetMaterial()->GetColor(), glm::vec3(0.0f));
    EXPECT_EQ(base.Clone(), nullptr);
    EXPECT_FALSE(base.GetCastShadow()); // annotations throw no shadow on the model

    AlignedDimensionNode aligned({0, 0, 0}, {10, 0, 0}, 5.0f, {0, 0, 1}, L"A");
    aligned.Update();
    const auto clone = aligned.Clone();
    auto* copy = AlignedDimensionNode::Cast(clone.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(copy->GetText().empty());
    EXPECT_EQ(copy->GetCount(), 0u);
    EXPECT_NE(copy->GetMaterial(), aligned.GetMaterial());

    // The linear kind copies itself in full.
    LinearDimensionNode linear({{0, 0, 0}, {4, 0, 0}, {10, 0, 0}}, 5.0f, {0, 0, 1}, {1, 0, 0});
    linear.Update();
    auto twin = linear.Clone();
    auto* linearCopy = LinearDimensionNode::Cast(twin.get());
    ASSERT_NE(linearCopy, nullptr);
    EXPECT_EQ(linearCopy->GetCount(), linear.GetCount());
    EXPECT_EQ(linearCopy->GetLengths(), linear.GetLengths());
    EXPECT_EQ(DimensionNode::Cast(static_cast<GroupSceneNode*>(linearCopy)), linearCopy);
    EXPECT_EQ(AlignedDimensionNode::Cast(static_cast<DimensionNode*>(linearCopy)), nullptr);
}

TEST(AlignedDimensionNode, LinesAndArrowsWhereWorkedOutByHand)
{
    const float r = 1.0f / std::sqrt(2.0f);
    struct Case {
        const char* name;
        glm::vec3 start, end, direction;
        float distance, offset;
        glm::vec3 along, up; // expected frame x and y in world
    };
    const Case cases[] = {
        {"along x", {0, 0, 0}, {10, 0, 0}, {0, 0, 1}, 5, 0, {1, 0, 0}, {0, 1, 0}},
        {"other side", {0, 0, 0}, {10, 0, 0}, {0, 0, 1}, -5, 0, {1, 0, 0}, {0, 1, 0}},
        {"along y", {1, 2, 0}, {1, 8, 0}, {0, 0, 1}, 2, 0, {0, 1, 0}, {-1, 0, 0}},
        {"front view, overshoot", {0, 0, 0}, {0, 0, 10}, {0, -1, 0}, 3, 1, {0, 0, 1}, {-1, 0, 0}},
        {"slanted normal", {0, 0, 0}, {10, 0, 0}, {r, 0, r}, 5, 0, {1, 0, 0}, {0, 1, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        AlignedDimensionNode dimension(c.start, c.end, c.distance, c.direction, L"");
        dimension.SetExtensionOffset(c.offset);
        dimension.Update();
        EXPECT_EQ(dimension.GetCount(), 3u);
        const Parts parts = Collect(dimension);
        const float e = c.distance > 0 ? 4.0f : -4.0f;
        const glm::vec3 lineStart = c.start + c.up * c.distance;
        const glm::vec3 lineEnd = c.end + c.up * c.distance;
        ASSERT_EQ(parts.segments.size(), 3u);
        EXPECT_TRUE(SameSegment(parts.segments[0], lineStart - c.along * c.offset, lineEnd + c.along * c.offset));
        EXPECT_TRUE(SameSegment(parts.segments[1], c.start + c.up * (c.distance + e), c.start));
        EXPECT_TRUE(SameSegment(parts.segments[2], c.end + c.up * (c.distance + e), c.end));
        ASSERT_EQ(parts.arrows.size(), 2u);
        ExpectArrow(parts.arrows[0], lineStart, c.along, c.up);
        ExpectArrow(parts.arrows[1], lineEnd, -c.along, c.up);
        ASSERT_EQ(parts.labels.size(), 1u);
    }
}

TEST(AlignedDimensionNode, LabelSitsOverTheLineAndShowsTheFormattedLength)
{
    AlignedDimensionNode dimension({0, 0, 0}, {40, 0, 0}, 6.0f, {0, 0, 1}, L"H");
    dimension.Update();
    Parts parts = Collect(dimension);
    ASSERT_EQ(parts.labels.size(), 1u);
    const AxisAlignedBox box = parts.labels[0]->GetWorldBBox();
    // "H" has no descender: its glyphs stand a tenth of the font height
    // above the line and are one font height tall.
    EXPECT_NEAR(box.getMinimum().y, 6.0f + 0.5f, 1e-3f);
    EXPECT_NEAR(box.getMaximum().y, 6.0f + 0.5f + 5.0f, 1e-3f);
    // Centred up to the glyph's side bearing.
    EXPECT_NEAR((box.getMinimum().x + box.getMaximum().x) * 0.5f, 20.0f, 1.0f);
    EXPECT_NEAR(box.getMinimum().z, 0.0f, 1e-5f);

    struct Case {
        const wchar_t* text;
        int precision;
        const wchar_t* unit;
        const wchar_t* shown;
    };
    const Case cases[] = {
        {L"", 2, L" mm", L"40.00 mm"},
        {L"", 0, L"", L"40"},
        {L"W = <>", 1, L"", L"W = 40.0"},
        {L"A-A", 3, L"", L"A-A"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
        dimension.SetText(c.text);
        dimension.SetPrecision(c.precision);
        dimension.SetUnit(c.unit);
        dimension.Update();
        parts = Collect(dimension);
        ASSERT_EQ(parts.labels.size(), 1u);
        EXPECT_EQ(Vertices(*parts.labels[0]), FontManager::Instance().CreateMesh(c.shown)->GetPositions()->GetCount());
    }
}

TEST(AlignedDimensionNode, UprightLabelsReadFromTheLeftOrFromBelow)
{
    // Distance 5, font 5: an unturned "H" spans 5.5..10.5 over the line
    // (frame y); a turned one spans -0.5..4.5 and reads along -x.
    struct Case {
        const char* name;
        glm::vec3 start, end, normal;
        bool turned;
        glm::vec3 read, across; // expected world reading direction, and frame y
    };
    const Case cases[] = {
        {"plan, left to right", {0, 0, 0}, {10, 0, 0}, {0, 0, 1}, false, {1, 0, 0}, {0, 1, 0}},
        {"plan, right to left", {10, 0, 0}, {0, 0, 0}, {0, 0, 1}, true, {1, 0, 0}, {0, -1, 0}},
        {"plan, downwards", {0, 10, 0}, {0, 0, 0}, {0, 0, 1}, true, {0, 1, 0}, {1, 0, 0}},
        {"front, downwards", {0, 0, 10}, {0, 0, 0}, {0, -1, 0}, true, {0, 0, 1}, {1, 0, 0}},
        {"right side, leftwards", {0, 10, 0}, {0, 0, 0}, {1, 0, 0}, true, {0, 1, 0}, {0, 0, -1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        AlignedDimensionNode dimension(c.start, c.end, 5.0f, c.normal, L"H");
        dimension.SetLabelFacing(DIMENSION_LABEL_UPRIGHT);
        dimension.Update();
        const Parts parts = Collect(dimension);
        ASSERT_EQ(parts.labels.size(), 1u);
        const glm::mat4& world = parts.labels[0]->GetWorldTransform();
        EXPECT_GT(glm::dot(glm::vec3(world[0]), c.read), 0.0f);
        // The glyphs' band across the line, measured along frame y from the start point.
        const AxisAlignedBox box = parts.labels[0]->GetWorldBBox();
        const float a = glm::dot(box.getMinimum() - c.start, c.across);
        const float b = glm::dot(box.getMaximum() - c.start, c.across);
        EXPECT_NEAR(std::min(a, b), c.turned ? -0.5f : 5.5f, 1e-3f);
        EXPECT_NEAR(std::max(a, b), c.turned ? 4.5f : 10.5f, 1e-3f);
    }
}

TEST(DimensionNode, FormatsLengths)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::tuple<float, int, const wchar_t*, const wchar_t*> cases[] = {
        {12.3456f, 2, L" mm", L"12.35 mm"}, {-3.0f, 1, L"", L"3.0"},      {0.004f, 2, L"", L"0.00"},
        {1.0f, 12, L"", L"1.000000000"},    {1.6f, -1, L"\"", L"2\""},    {nan, 2, L" m", L"? m"}};
    for (const auto& [length, precision, unit, expected] : cases)
        EXPECT_EQ(DimensionNode::FormatLength(length, precision, unit), expected) << length;
}

TEST(AlignedDimensionNode, TicksAndRebuilds)
{
    AlignedDimensionNode dimension({0, 0, 0}, {10, 0, 0}, 5.0f, {0, 0, 1}, L"");
    dimension.SetArrowStyle(DIMENSION_ARROW_TICK);
    dimension.Update();
    dimension.Update();
    EXPECT_EQ(dimension.GetCount(), 4u);
    const Parts parts = Collect(dimension);
    ASSERT_EQ(parts.ticks.size(), 2u);
    // A 3 x 0.3 bar turned 45 degrees: each axis spans (1.5 + 0.15) / sqrt(2) either side.
    const float half = 1.65f / std::sqrt(2.0f);
    std::vector<float> centres;
    for (const AxisAlignedBox& box : parts.ticks) {
        EXPECT_VEC(box.getSize(), glm::vec3(2 * half, 2 * half, 0), 1e-4f);
        EXPECT_NEAR(box.getCenter().y, 5.0f, 1e-5f);
        centres.push_back(box.getCenter().x);
    }
    std::sort(centres.begin(), centres.end());
    EXPECT_NEAR(centres[0], 0.0f, 1e-5f);
    EXPECT_NEAR(centres[1], 10.0f, 1e-5f);

    dimension.SetArrowStyle(DIMENSION_ARROW_FILLED);
    dimension.SetLabelFacing(DIMENSION_LABEL_FACING_CAMERA);
    dimension.Update();
    EXPECT_EQ(dimension.GetCount(), 3u);
    const Parts facing = Collect(dimension);
    ASSERT_EQ(facing.labels.size(), 1u);
    EXPECT_FALSE(facing.labels[0]->GetPickable());
    EXPECT_VEC(glm::vec3(facing.labels[0]->GetWorldTransform()[3]), glm::vec3(5.0f, 5.0f + 3.0f, 0.0f));
}

TEST(LinearDimensionNode, MeasuresAlongItsAxis)
{
    struct Case {
        const char* name;
        std::vector<glm::vec3> points;
        glm::vec3 axis;
        float distance;
        std::vector<float> lengths;
        std::vector<Segment> segments; // dimension line, then extension lines
    };
    const Case cases[] = {
        {"horizontal", {{0, 0, 0}, {10, 4, 0}}, {1, 0, 0}, 3, {10},
         {{{0, 7, 0}, {10, 7, 0}}, {{0, 11, 0}, {0, 0, 0}}, {{10, 11, 0}, {10, 4, 0}}}},
        {"below", {{0, 0, 0}, {10, 4, 0}}, {1, 0, 0}, -3, {10},
         {{{0, -3, 0}, {10, -3, 0}}, {{0, -7, 0}, {0, 0, 0}}, {{10, -7, 0}, {10, 4, 0}}}},
        {"vertical", {{0, 0, 0}, {6, 8, 0}}, {0, 1, 0}, 2, {8},
         {{{-2, 0, 0}, {-2, 8, 0}}, {{-6, 0, 0}, {0, 0, 0}}, {{-6, 8, 0}, {6, 8, 0}}}},
        {"chain", {{0, 0, 0}, {4, 0, 0}, {10, 0, 0}}, {1, 0, 0}, 5, {4, 6},
         {{{0, 5, 0}, {10, 5, 0}}, {{0, 9, 0}, {0, 0, 0}}, {{4, 9, 0}, {4, 0, 0}}, {{10, 9, 0}, {10, 0, 0}}}},
        {"right to left", {{10, 0, 0}, {0, 0, 0}}, {1, 0, 0}, 5, {10},
         {{{0, 5, 0}, {10, 5, 0}}, {{10, 9, 0}, {10, 0, 0}}, {{0, 9, 0}, {0, 0, 0}}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LinearDimensionNode dimension(c.points, c.distance, {0, 0, 1}, c.axis);
        dimension.Update();
        EXPECT_EQ(dimension.GetLengths(), c.lengths);
        const Parts parts = Collect(dimension);
        EXPECT_EQ(parts.labels.size(), c.lengths.size());
        EXPECT_EQ(parts.arrows.size(), 2 * c.lengths.size());
        ASSERT_EQ(parts.segments.size(), c.segments.size());
        const Segment& line = parts.segments[0];
        EXPECT_TRUE(SameSegment(line, c.segments[0].first, c.segments[0].second) ||
                    SameSegment(line, c.segments[0].second, c.segments[0].first));
        for (std::size_t i = 1; i < c.segments.size(); ++i)
            EXPECT_TRUE(SameSegment(parts.segments[i], c.segments[i].first, c.segments[i].second)) << i;
    }
    // Ticks: one per point of a chain.
    LinearDimensionNode chain({{0, 0, 0}, {4, 0, 0}, {10, 0, 0}}, 5.0f, {0, 0, 1}, {1, 0, 0});
    chain.SetArrowStyle(DIMENSION_ARROW_TICK);
    chain.Update();
    EXPECT_EQ(Collect(chain).ticks.size(), 3u);
}

TEST(DimensionNode, BadInputWarnsAndLeavesNoChildren)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    using Edit = std::function<void(AlignedDimensionNode&)>;
    const std::tuple<const char*, Edit, const char*> cases[] = {
        {"coincident", [](auto& d) { d.SetEndPoint(d.GetStartPoint()); }, "Dimension points coincide!"},
        {"not finite", [&](auto& d) { d.SetStartPoint({nan, 0, 0}); }, "Value is not finite!"},
        {"too far apart", [](auto& d) { d.SetStartPoint({-3e38f, 0, 0}); d.SetEndPoint({3e38f, 0, 0}); },
         "Value is not finite!"},
        {"zero normal", [](auto& d) { d.SetDirection({0, 0, 0}); }, "Dimension direction is invalid!"},
        {"normal on the line", [](auto& d) { d.SetDirection({-2, 0, 0}); }, "Dimension direction is invalid!"},
        {"zero font", [](auto& d) { d.SetFontHeight(0.0f); }, "Dimension size is invalid!"},
        {"negative arrow", [](auto& d) { d.SetArrowLength(-1.0f); }, "Dimension size is invalid!"},
        {"negative extension", [](auto& d) { d.SetExtensionBeyond(-1.0f); }, "Dimension size is invalid!"},
        {"overshoot nan", [&](auto& d) { d.SetExtensionOffset(nan); }, "Dimension size is invalid!"},
        {"no material", [](auto& d) { d.SetMaterial(nullptr); }, "Material is null!"},
    };
    for (const auto& [name, edit, message] : cases) {
        SCOPED_TRACE(name);
        AlignedDimensionNode dimension({0, 0, 0}, {10, 0, 0}, 5.0f, {0, 0, 1}, L"");
        dimension.Update();
        ASSERT_EQ(dimension.GetCount(), 3u);
        edit(dimension);
        LogCapture log;
        dimension.Update();
        EXPECT_EQ(log.warnings, std::vector<std::string>{message});
        EXPECT_EQ(dimension.GetCount(), 0u);
    }
    {
        LogCapture log;
        AlignedDimensionNode unset;
        unset.Update();
        LinearDimensionNode single({{1, 1, 1}}, 1.0f, {0, 0, 1}, {1, 0, 0});
        single.Update();
        LinearDimensionNode flat({{0, 0, 0}, {0, 5, 0}}, 1.0f, {0, 0, 1}, {1, 0, 0});
        flat.Update();
        LinearDimensionNode upright({{0, 0, 0}, {5, 0, 0}}, 1.0f, {0, 0, 1}, {0, 0, 3});
        upright.Update();
        LinearDimensionNode far({{-3e38f, 0, 0}, {3e38f, 0, 0}}, 1.0f, {0, 0, 1}, {1, 0, 0});
        far.Update();
        EXPECT_EQ(log.warnings, (std::vector<std::string>{"Dimension points coincide!",
                                                           "Dimension needs at least two points!",
                                                           "Dimension points coincide!",
                                                           "Dimension direction is invalid!",
                                                           "Value is not finite!"}));
        EXPECT_EQ(unset.GetCount() + single.GetCount() + flat.GetCount() + upright.GetCount() + far.GetCount(), 0u);
    }
    // A blank label and an out-of-range precision still give the lines.
    LogCapture log;
    AlignedDimensionNode blank({0, 0, 0}, {10, 0, 0}, 5.0f, {0, 0, 1}, L"   ");
    blank.Update();
    EXPECT_EQ(blank.GetCount(), 2u);
    AlignedDimensionNode precise({0, 0, 0}, {10, 0, 0}, 5.0f, {0, 0, 1}, L"");
    precise.SetPrecision(40);
    precise.Update();
    EXPECT_EQ(precise.GetCount(), 3u);
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Text cannot be fitted to its font height!",
                                                       "Dimension precision is out of range!"}));
}
