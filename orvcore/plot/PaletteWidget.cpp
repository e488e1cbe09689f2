#include <orvcore/plot/PaletteWidget.h>

#include <algorithm>
#include <cmath>
#include <cwchar>

#include <glm/gtc/matrix_transform.hpp>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

namespace orvcore {

namespace {

constexpr float kTitleEm = 14.0f;       // title glyphs, pixels per em
constexpr float kTitleGap = 16.0f;      // from the bar's top to the title's baseline, clear of the top label
constexpr float kTickLength = 5.0f;     // tick marks beside the bar
constexpr float kLabelGap = 4.0f;       // from the bar (or tick) to a label
constexpr float kFront = 0.5f;          // frame, ticks and text lie over the bar
constexpr float kMargin = 16.0f;        // anchored widgets keep off the viewport's edge
constexpr uint32_t kMaxTicks = 64;

std::shared_ptr<BasicMaterial> MakeOverlayMaterial(const std::string& name, const glm::vec3& color)
{
    auto material = BasicMaterial::Create(name);
    material->SetColor(color);
    // Overlay drawing is never cut by the model's clipping planes.
    material->ClearTemplateOption(TEMPLATE_OPTION_CLIPPING);
    return material;
}

} // namespace

PaletteWidget::PaletteWidget() = default;

void PaletteWidget::SetTickCount(uint32_t count)
{
    if (count == 1 || count > kMaxTicks) {
        Logger::Instance().Waring("Tick count is out of range!");
        return;
    }
    m_TickCount = count;
}

void PaletteWidget::SetDecimals(int decimals)
{
    if (decimals < -1 || decimals > 9) {
        Logger::Instance().Waring("Decimals are out of range!");
        return;
    }
    m_Decimals = decimals;
}

std::wstring PaletteWidget::FormatValue(float value, int decimals)
{
    wchar_t text[64];
    std::swprintf(text, 64, L"%.*f", std::clamp(decimals, 0, 9), double(value));
    std::wstring result(text);
    // "-0.00": a negative value that rounds to zero reads as zero.
    if (!result.empty() && result[0] == L'-' &&
        result.find_first_not_of(L"-0.") == std::wstring::npos)
        result.erase(0, 1);
    return result;
}

std::vector<float> PaletteWidget::NiceTicks(float min, float max, uint32_t count)
{
    const double low = double(min), high = double(max), span = high - low;
    if (!(span > 0.0) || !std::isfinite(span) || count < 2)
        return {min};
    // Candidate steps around the even division, largest first; the one
    // giving the most ticks without exceeding the count wins (on a tie the
    // larger step).
    const double power = std::pow(10.0, std::floor(std::log10(span / double(count - 1))));
    double best = 0.0;
    int64_t bestCount = 1;
    for (double scale : {10.0, 1.0, 0.1})
        for (double m : {5.0, 2.5, 2.0, 1.0}) {
            const double step = m * power * scale;
            const double tolerance = step * 1e-6;
            const int64_t n = int64_t(std::floor((high + tolerance) / step)) -
                              int64_t(std::ceil((low - tolerance) / step)) + 1;
            if (n <= int64_t(count) && n > bestCount) {
                best = step;
                bestCount = n;
            }
        }
    if (best == 0.0)
        return {min, max};
    std::vector<float> ticks;
    const double tolerance = best * 1e-6;
    for (double k = std::ceil((low - tolerance) / best); k * best <= high + tolerance; k += 1.0) {
        const double v = k * best;
        ticks.push_back(float(std::fabs(v) < tolerance ? 0.0 : std::clamp(v, low, high)));
    }
    return ticks;
}

int PaletteWidget::ChooseDecimals(const std::vector<float>& values)
{
    std::vector<float> sorted;
    for (float v : values)
        if (std::isfinite(v))
            sorted.push_back(v);
    std::sort(sorted.begin(), sorted.end());
    float spacing = 0.0f;
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        const float gap = sorted[i] - sorted[i - 1];
        if (gap > 0.0f && (spacing == 0.0f || gap < spacing))
            spacing = gap;
    }
    if (!(spacing > 0.0f) || !std::isfinite(spacing))
        return 2;
    const int base = std::clamp(int(std::ceil(-std::log10(double(spacing)) - 1e-6)), 0, 6);
    const int last = std::min(base + 2, 6);
    for (int d = base; d < last; ++d) {
        const double scale = std::pow(10.0, d);
        bool exact = true;
        for (float v : sorted)
            exact = exact && std::fabs(std::round(double(v) * scale) / scale - double(v)) <= 1e-3 * double(spacing);
        if (exact)
            return d;
    }
    return last;
}

std::shared_ptr<TextSceneNode> PaletteWidget::MakeLabel(const std::wstring& text, const glm::vec3& color, float x,
                                                        float y)
{
    auto label = TextSceneNode::Create(text, color, kLabelHeight, true);
    if (const auto& material = label->GetMaterial())
        material->ClearTemplateOption(TEMPLATE_OPTION_CLIPPING);
    // Centred vertically on y: the fitted glyphs' middle is there.
    float middle = 0.5f * kLabelHeight;
    const AxisAlignedBox& box = label->GetPrimitive()->GetBoundingBox();
    if (box.isFinite())
        middle = 0.5f * (box.getMinimum().y + box.getMaximum().y) * label->GetScale()[1][1];
    label->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(x, y - middle, kFront)) * label->GetScale());
    label->RequstUpdate();
    return label;
}

bool PaletteWidget::Update(const std::shared_ptr<ColorLookupTable>& table)
{
    if (!table) {
        Logger::Instance().Waring("Color lookup table is null!");
        return false;
    }
    if (!(m_Width > 0.0f) || !(m_Height > 0.0f) || !std::isfinite(m_Width) || !std::isfinite(m_Height)) {
        Logger::Instance().Waring("Palette size is invalid!");
        return false;
    }
    auto plane = GeometryBuilder::CreatePlane(m_Width, m_Height, 1, 1);
    if (!plane)
        return false;

    if (!m_Material) {
        m_Material = MakeOverlayMaterial("palette-rainbow", glm::vec3(1.0f));
        m_Image = table->CreateImage();
        m_Material->AddTexture("map", m_Image);
    } else {
        table->CreateImage(*m_Image, 1);
    }

    auto group = std::make_shared<GroupSceneNode>();
    auto bar = std::make_shared<PrimitiveSceneNode>(plane, m_Material);
    bar->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(0.5f * m_Width, -0.5f * m_Height, 0.0f)));
    group->AddNode(bar);

    // Label positions along the bar (from its bottom) and their values.
    std::vector<float> offsets, positions, values;
    std::vector<glm::vec3> colors;
    const auto& map = table->GetColorMap();
    if (m_TickCount >= 2) {
        const float span = table->GetMaximum() - table->GetMinimum();
        for (float value : NiceTicks(table->GetMinimum(), table->GetMaximum(), m_TickCount)) {
            const float t = span > 0.0f ? (value - table->GetMinimum()) / span : 0.0f;
            values.push_back(value);
            offsets.push_back(t * m_Height);
            colors.push_back(table->GetTableColor(t));
        }
    } else if (map && map->GetCount() > 0) {
        const float h = m_Height / float(map->GetCount());
        std::size_t i = 0;
        for (const ColorMapEntry& entry : *map) {
            positions.push_back(entry.Position);
            offsets.push_back(float(i++) * h + h * 0.5f);
            colors.push_back(Math::colorFromHex(entry.Color));
        }
    }
    for (float t : positions)
        values.push_back(table->GetValue(t));
    const int decimals = m_Decimals >= 0 ? m_Decimals : ChooseDecimals(values);

    // The frame around the bar and the tick marks.
    std::vector<float> lines = {0, 0, kFront, m_Width, 0, kFront, m_Width, 0, kFront, m_Width, -m_Height, kFront,
                                m_Width, -m_Height, kFront, 0, -m_Height, kFront, 0, -m_Height, kFront, 0, 0, kFront};
    const float labelX = m_Width + kLabelGap + (m_TickCount >= 2 ? kTickLength : 0.0f);
    m_LabelTexts.clear();
    m_Labels.clear();
    for (std::size_t i = 0; i < values.size(); ++i) {
        const float y = offsets[i] - m_Height;
        if (m_TickCount >= 2)
            lines.insert(lines.end(), {m_Width, y, kFront, m_Width + kTickLength, y, kFront});
        m_LabelTexts.push_back(FormatValue(values[i], decimals));
        m_Labels.push_back(MakeLabel(m_LabelTexts.back(), m_ColoredLabels ? colors[i] : m_TextColor, labelX, y));
        group->AddNode(m_Labels.back());
    }
    group->AddNode(std::make_shared<PrimitiveSceneNode>(
        GeometryBuilder::CreateLines(Float32Array(lines.data(), lines.size())),
        MakeOverlayMaterial("sys.palette.line", m_TextColor)));

    m_TitleNode.reset();
    if (!m_Title.empty()) {
        m_TitleNode = TextSceneNode::Create(m_Title, m_TextColor, kTitleEm, false);
        if (const auto& material = m_TitleNode->GetMaterial())
            material->ClearTemplateOption(TEMPLATE_OPTION_CLIPPING);
        m_TitleNode->SetTransform(glm::scale(glm::translate(glm::mat4(1.0f), glm::vec3(0.0f, kTitleGap, kFront)),
                                             glm::vec3(kTitleEm, kTitleEm, 1.0f)));
        m_TitleNode->RequstUpdate();
        group->AddNode(m_TitleNode);
    }

    group->UpdateTransform(glm::mat4(1.0f));
    m_Extent = group->GetWorldBBox();
    SetNode(group);
    return true;
}

void PaletteWidget::UpdatePosition(const std::shared_ptr<Camera>& camera)
{
    if (!camera) {
        Logger::Instance().Waring("Camera is null!");
        return;
    }
    const auto& node = GetNode();
    if (!node)
        return;
    const glm::vec2 viewport(float(camera->GetWidth()), float(camera->GetHeight()));
    const glm::vec2 value = m_Position.GetValue();
    if (!std::isfinite(value.x) || !std::isfinite(value.y)) {
        Logger::Instance().Waring("View position is invalid!");
        return;
    }
    glm::vec2 origin = value; // offset mode: pixels from the viewport's centre
    if (m_Position.GetMode() == ViewPosition::VIEW_POSITION_ANCHOR) {
        // The extent's point at the anchor fraction goes to the viewport's
        // point at that fraction (from the bottom-left), inset by the margin
        // where the viewport has room for it.
        const glm::vec2 a = glm::clamp(value, glm::vec2(0.0f), glm::vec2(1.0f));
        const glm::vec2 low(m_Extent.getMinimum()), size(m_Extent.getSize());
        const glm::vec2 inset = glm::min(glm::vec2(kMargin), 0.5f * viewport);
        const glm::vec2 target = inset + a * (viewport - 2.0f * inset);
        origin = target - (low + a * size) - 0.5f * viewport;
    }
    // Whole pixels keep the glyph edges where the rasteriser samples them.
    origin = glm::floor(origin + 0.5f);
    node->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(origin, 0.0f)));
    node->RequstUpdate();
    node->UpdateTransform(glm::mat4(1.0f));
}

PaletteWidget* PaletteWidget::Cast(SceneNode2D* node) { return dynamic_cast<PaletteWidget*>(node); }
const PaletteWidget* PaletteWidget::Cast(const SceneNode2D* node) { return dynamic_cast<const PaletteWidget*>(node); }

} // namespace orvcore
