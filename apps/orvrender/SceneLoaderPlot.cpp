#include <orvrender/SceneLoader.h>

#include <array>
#include <cmath>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <muParser.h>

#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/plot/ColorLookupTable.h>
#include <orvkernel/plot/ColorMapKeyword.h>
#include <orvcore/plot/Matplot.h>
#include <orvcore/plot/PaletteWidget.h>
#include <orvcore/scene/Scene2D.h>

// The "plot" node kind (curves and surfaces from expressions, read with
// muparser) and the "palette" overlay (a colour bar).

namespace orvrender {

using namespace json;
using orvcore::SceneNode;

namespace {

constexpr std::size_t kMaxExpression = 1024;    // characters of one expression
constexpr uint64_t kMaxSurfaceSamples = 4u << 20; // vertices of one surface
constexpr uint64_t kMaxCurveSamples = 1u << 20;   // points of one curve
constexpr std::size_t kMaxPlotParts = 64;         // curves or surfaces of one plot

const glm::vec3 kCurveColor(0.85f, 0.33f, 0.1f);
const glm::vec3 kPaletteTextColor(0.1f, 0.1f, 0.1f);

// One compiled expression over variables that the owner binds by address.
// Evaluation never throws: a fault gives NaN, which the geometry skips.
class Expression {
public:
    Expression(const Json& value, const std::string& path, const std::vector<std::pair<const char*, double*>>& vars)
    {
        const std::string text = String(value, path);
        if (text.empty())
            Fail(path, "an expression must not be empty");
        if (text.size() > kMaxExpression)
            Fail(path, "too large (at most " + std::to_string(kMaxExpression) + " characters)");
        try {
            m_Parser.DefineConst("pi", M_PI);
            m_Parser.DefineConst("e", M_E);
            for (const auto& var : vars)
                m_Parser.DefineVar(var.first, var.second);
            m_Parser.SetExpr(text);
            m_Parser.Eval(); // compiles now, so that syntax faults are reported with their path
        } catch (const mu::Parser::exception_type& error) {
            Fail(path, "expression \"" + text + "\": " + error.GetMsg());
        }
    }
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;

    float Eval() const
    {
        try {
            return static_cast<float>(m_Parser.Eval());
        } catch (const mu::Parser::exception_type&) {
            return std::nanf("");
        }
    }

private:
    mu::Parser m_Parser;
};

// A curve: (x, y(x), 0) from "y", or a point of three expressions in t.
// Both name the parameter x and t, and the sample number i.
class ExpressionCurve : public orvcore::PlotCurveFunctor {
public:
    ExpressionCurve(const Json& node, const std::string& path)
    {
        const std::vector<std::pair<const char*, double*>> vars = {{"x", &m_X}, {"t", &m_X}, {"i", &m_I}};
        const Json* y = Find(node, "y");
        const Json* point = Find(node, "point");
        if (!y == !point)
            Fail(path, "a curve needs either \"y\" (an expression in x) or \"point\" (three expressions in t)");
        if (y) {
            m_Parts.push_back(std::make_unique<Expression>(*y, Child(path, "y"), vars));
        } else {
            const std::string pointPath = Child(path, "point");
            ExpectArray(*point, pointPath);
            if (point->size() != 3)
                Fail(pointPath, "expected 3 expressions, found " + std::to_string(point->size()));
            for (std::size_t k = 0; k < 3; ++k)
                m_Parts.push_back(std::make_unique<Expression>((*point)[k], Child(pointPath, k), vars));
        }
    }

    glm::vec3 operator()(uint32_t index, float x) const override
    {
        m_X = x;
        m_I = index;
        if (m_Parts.size() == 1)
            return glm::vec3(x, m_Parts[0]->Eval(), 0.0f);
        return glm::vec3(m_Parts[0]->Eval(), m_Parts[1]->Eval(), m_Parts[2]->Eval());
    }

private:
    mutable double m_X = 0.0, m_I = 0.0;
    std::vector<std::unique_ptr<Expression>> m_Parts;
};

// A surface z(x, y) over the ranges' own coordinates (column i at
// xMin + i xStep), so the plot stands where its ranges say.
class ExpressionSurface : public orvcore::PlotSurfaceFunctor {
public:
    ExpressionSurface(const Json& value, const std::string& path, const orvcore::PlotRange& x,
                      const orvcore::PlotRange& y)
        : m_XRange(x), m_YRange(y),
          m_Z(value, path, {{"x", &m_X}, {"y", &m_Y}, {"i", &m_I}, {"j", &m_J}})
    {
    }

    glm::vec3 operator()(uint32_t i, uint32_t j, float, float) const override
    {
        const float x = m_XRange.GetMin() + float(i) * m_XRange.GetStep();
        const float y = m_YRange.GetMin() + float(j) * m_YRange.GetStep();
        m_X = x;
        m_Y = y;
        m_I = i;
        m_J = j;
        return glm::vec3(x, y, m_Z.Eval());
    }

private:
    orvcore::PlotRange m_XRange, m_YRange;
    mutable double m_X = 0.0, m_Y = 0.0, m_I = 0.0, m_J = 0.0;
    Expression m_Z;
};

// [min, max, step] with a positive step and at least two steps.
orvcore::PlotRange Range(const Json& value, const std::string& path)
{
    const auto r = Numbers<3>(value, path);
    const orvcore::PlotRange range(r[0], r[1], r[2]);
    if (!range.IsValid())
        Fail(path, "a range [min, max, step] needs a positive step and room for two steps");
    return range;
}

std::shared_ptr<orvcore::ColorMapKeyword> ColorMap(const Json& node, const std::string& path)
{
    const Json* value = Find(node, "map");
    if (!value)
        return orvcore::ColorMapKeyword::Create("viridis");
    const std::string name = String(*value, Child(path, "map"));
    // An unknown name is the file's fault, reported with its path (the
    // kernel would only log it).
    if (!orvcore::ColorMapKeyword::IsNamed(name)) {
        std::string known;
        for (const std::string& entry : orvcore::ColorMapKeyword::GetNames())
            known += (known.empty() ? "\"" : ", \"") + entry + "\"";
        Fail(Child(path, "map"), "unknown colour map \"" + name + "\" (known: " + known + ")");
    }
    return orvcore::ColorMapKeyword::Create(name);
}

std::array<float, 2> MinMax(const Json& value, const std::string& path)
{
    const auto r = Numbers<2>(value, path);
    if (!(r[1] >= r[0]))
        Fail(path, "expected [min, max] with min <= max");
    return r;
}

// Layout and text of a colour bar; the labels default to 5 ticks in the
// text colour, which reads on any background.
void ConfigurePalette(orvcore::PaletteWidget& palette, const Json& node, const std::string& path)
{
    if (const Json* title = Find(node, "title")) {
        const std::string text = Text(*title, Child(path, "title"), false);
        palette.SetTitle(Widen(text));
    }
    const Json* ticks = Find(node, "ticks");
    const int64_t tickCount = ticks ? Integer(*ticks, Child(path, "ticks"), 0, 64) : 5;
    if (tickCount == 1)
        Fail(Child(path, "ticks"), "expected 0 (one label per colour-map entry) or 2 to 64 ticks");
    palette.SetTickCount(uint32_t(tickCount));
    if (const Json* decimals = Find(node, "decimals"))
        palette.SetDecimals(int(Integer(*decimals, Child(path, "decimals"), 0, 9)));
    if (const Json* size = Find(node, "size")) {
        const auto wh = Numbers<2>(*size, Child(path, "size"));
        for (std::size_t i = 0; i < 2; ++i)
            if (!(wh[i] >= 2.0f && wh[i] <= 4096.0f))
                Fail(Child(Child(path, "size"), i), "expected 2 to 4096 pixels");
        palette.SetWidth(wh[0]);
        palette.SetHeight(wh[1]);
    }
    const Json* position = Find(node, "position");
    const Json* offset = Find(node, "offset");
    if (position && offset)
        Fail(Child(path, "offset"), "use either \"position\" or \"offset\", not both");
    if (position) {
        const auto a = Numbers<2>(*position, Child(path, "position"));
        for (std::size_t i = 0; i < 2; ++i)
            if (!(a[i] >= 0.0f && a[i] <= 1.0f))
                Fail(Child(Child(path, "position"), i), "expected a fraction of the view in [0, 1]");
        palette.SetPosition(orvcore::ViewPosition(orvcore::ViewPosition::VIEW_POSITION_ANCHOR, {a[0], a[1]}));
    } else if (offset) {
        const auto o = Numbers<2>(*offset, Child(path, "offset"));
        palette.SetPosition(orvcore::ViewPosition(orvcore::ViewPosition::VIEW_POSITION_OFFSET, {o[0], o[1]}));
    }
    const Json* color = Find(node, "textColor");
    palette.SetTextColor(color ? Color(*color, Child(path, "textColor")) : kPaletteTextColor);
    const Json* colored = Find(node, "labelColors");
    palette.SetColoredLabels(colored ? Bool(*colored, Child(path, "labelColors")) : false);
}

const std::set<std::string> kPaletteKeys = {"title", "ticks", "decimals", "size", "position", "offset", "textColor",
                                            "labelColors"};

} // namespace

std::shared_ptr<SceneNode> SceneLoader::BuildPlot(const Json& node, const std::string& path, const std::string& name)
{
    orvcore::Matplot plot(name);
    auto map = ColorMap(node, path);
    std::size_t surfaceCount = 0;

    if (const Json* surfaces = Find(node, "surfaces")) {
        const std::string listPath = Child(path, "surfaces");
        ExpectArray(*surfaces, listPath);
        if (surfaces->size() > kMaxPlotParts)
            Fail(listPath, "too many surfaces (at most " + std::to_string(kMaxPlotParts) + ")");
        for (std::size_t k = 0; k < surfaces->size(); ++k) {
            const Json& surface = (*surfaces)[k];
            const std::string surfacePath = Child(listPath, k);
            ExpectObject(surface, surfacePath);
            CheckKeys(surface, surfacePath, {"x", "y", "z", "gridLines", "gridStride"});
            const auto x = Range(Require(surface, "x", surfacePath), Child(surfacePath, "x"));
            const auto y = Range(Require(surface, "y", surfacePath), Child(surfacePath, "y"));
            if ((uint64_t(x.GetSteps()) + 1) * (uint64_t(y.GetSteps()) + 1) > kMaxSurfaceSamples)
                Fail(surfacePath, "too many samples (at most " + std::to_string(kMaxSurfaceSamples) + ")");
            ExpressionSurface f(Require(surface, "z", surfacePath), Child(surfacePath, "z"), x, y);
            const Json* stride = Find(surface, "gridStride");
            plot.SetGridLineStride(stride ? uint32_t(Integer(*stride, Child(surfacePath, "gridStride"), 1, 1 << 20)) : 1u);
            if (!plot.AddSurface(x, y, f, Flag(surface, "gridLines", surfacePath, false)))
                Fail(surfacePath, "the surface could not be built");
            ++surfaceCount;
        }
    }

    if (const Json* curves = Find(node, "curves")) {
        const std::string listPath = Child(path, "curves");
        ExpectArray(*curves, listPath);
        if (curves->size() > kMaxPlotParts)
            Fail(listPath, "too many curves (at most " + std::to_string(kMaxPlotParts) + ")");
        for (std::size_t k = 0; k < curves->size(); ++k) {
            const Json& curve = (*curves)[k];
            const std::string curvePath = Child(listPath, k);
            ExpectObject(curve, curvePath);
            CheckKeys(curve, curvePath, {"range", "y", "point", "color", "width"});
            const auto range = Range(Require(curve, "range", curvePath), Child(curvePath, "range"));
            if (range.GetSteps() > kMaxCurveSamples)
                Fail(curvePath, "too many samples (at most " + std::to_string(kMaxCurveSamples) + ")");
            ExpressionCurve f(curve, curvePath);
            auto material = orvcore::BasicMaterial::Create("scene." + (name.empty() ? path : name) + ".curve" +
                                                           std::to_string(k));
            const Json* color = Find(curve, "color");
            material->SetColor(color ? Color(*color, Child(curvePath, "color")) : kCurveColor);
            if (const Json* width = Find(curve, "width")) {
                material->LineWidth =
                    static_cast<uint8_t>(std::lround(Bounded(*width, Child(curvePath, "width"), 1.0, 255.0, false)));
                material->RequestUpdate();
            }
            if (!plot.AddCurve(range, f, material))
                Fail(curvePath, "the curve could not be built");
        }
    }
    if (plot.GetBoundingBox().isNull())
        Fail(path, "a plot needs at least one curve or surface with finite samples");

    if (const Json* gridColor = Find(node, "gridColor"))
        plot.GetGridLineMaterial()->SetColor(Color(*gridColor, Child(path, "gridColor")));
    std::shared_ptr<orvcore::GroupSceneNode> group;
    if (const Json* valueRange = Find(node, "valueRange")) {
        const auto r = MinMax(*valueRange, Child(path, "valueRange"));
        group = plot.Build(map, orvcore::PlotRange(r[0], r[1], 1.0f));
    } else {
        group = plot.Build(map);
    }
    if (!group)
        Fail(path, "the plot could not be built");

    if (const Json* palette = Find(node, "palette")) {
        const std::string palettePath = Child(path, "palette");
        ExpectObject(*palette, palettePath);
        CheckKeys(*palette, palettePath, kPaletteKeys);
        if (surfaceCount == 0)
            Fail(palettePath, "only a plot with surfaces has colours to show");
        auto widget = std::make_shared<orvcore::PaletteWidget>();
        ConfigurePalette(*widget, *palette, palettePath);
        if (!widget->Update(plot.GetColorTable()))
            Fail(palettePath, "the colour bar could not be built");
        m_Manager.GetScene2D()->AddNode(widget);
    }
    return group;
}

void SceneLoader::BuildPalette(const Json& node, const std::string& path)
{
    auto table = std::make_shared<orvcore::ColorLookupTable>();
    table->SetColorMap(ColorMap(node, path));
    const auto r = MinMax(Require(node, "range", path), Child(path, "range"));
    table->SetRange(r[0], r[1]);
    auto widget = std::make_shared<orvcore::PaletteWidget>();
    ConfigurePalette(*widget, node, path);
    if (!widget->Update(table))
        Fail(path, "the colour bar could not be built");
    widget->SetVisible(Flag(node, "visible", path, true));
    m_Manager.GetScene2D()->AddNode(widget);
}

} // namespace orvrender
