#include <orvcore/dimension/DimensionNode.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include <orvcommon/Logger.h>
#include <orvcommon/TypedBuffer.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/text/FontManager.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/TextSceneNode.h>

namespace orvcore {

namespace {

constexpr int kMaxPrecision = 9;

bool IsSize(float value) { return std::isfinite(value) && value > 0.0f; }
bool IsLength(float value) { return std::isfinite(value) && value >= 0.0f; }

glm::mat4 Translation(float x, float y) { return glm::translate(glm::mat4(1.0f), glm::vec3(x, y, 0.0f)); }

// A label in the dimension's plane: the glyph mesh scaled to the font
// height, centred between lo and hi, a tenth of the font height above the
// line; turned half round about the line's middle when `turned`, which puts
// it as far below the line, reading along -x. Empty when the text has no
// height to fit (blank text).
std::shared_ptr<SceneNode> PlaneLabel(const std::wstring& text, const std::shared_ptr<MaterialInstance>& material,
                                      float fontHeight, float lo, float hi, float line, bool turned)
{
    auto mesh = FontManager::Instance().CreateMesh(text);
    if (!mesh)
        return nullptr;
    const AxisAlignedBox& box = mesh->GetSafeBoudingBox();
    const glm::vec3 size = box.isFinite() ? box.getSize() : glm::vec3(0.0f);
    const float s = fontHeight / size.y;
    if (!(size.y > 0.0f) || !std::isfinite(s))
        return nullptr;
    const float w = size.x * s;
    auto label = std::make_shared<TextSceneNode>(mesh, material, fontHeight, false);
    const glm::mat4 scale = glm::scale(glm::mat4(1.0f), glm::vec3(s, s, 1.0f));
    if (!turned) {
        label->SetTransform(Translation((lo + hi - w) * 0.5f, line + 0.1f * fontHeight) * scale);
    } else {
        glm::mat4 halfTurn(1.0f);
        halfTurn[0][0] = -1.0f;
        halfTurn[1][1] = -1.0f;
        label->SetTransform(Translation((lo + hi + w) * 0.5f, line - 0.1f * fontHeight) * halfTurn * scale);
    }
    return label;
}

// A label that faces the camera: a text rectangle in the label material's
// colour, centred over the middle of the stretch where the in-plane label's
// glyphs would stand.
std::shared_ptr<SceneNode> CameraLabel(const std::wstring& text, const MaterialInstance& material, float fontHeight,
                                       float lo, float hi, float line)
{
    auto label = std::make_shared<TextSceneNode>(text, fontHeight, material.GetColor(), glm::vec3(-1.0f), true);
    label->SetTransform(Translation((lo + hi) * 0.5f, line + 0.6f * fontHeight));
    return label;
}

} // namespace

DimensionNode::DimensionNode() : m_Material(CreateDefaultMaterial())
{
    // Annotations are not part of the model: no shadow of labels and arrows.
    SetCastShadow(false);
}

DimensionNode::~DimensionNode() = default;

std::shared_ptr<SceneNode> DimensionNode::Clone() const { return nullptr; }

std::shared_ptr<MaterialInstance> DimensionNode::CreateDefaultMaterial()
{
    auto material = BasicMaterial::Create("dimension");
    material->SetColor(glm::vec3(0.0f));
    // Labels and arrowheads are flat: they must show from behind too.
    material->SetFaceSide(FACE_DOUBLE);
    // Drawn with the transparent faces (at full opacity), after the opaque
    // model and without its polygon offset, so that labels and arrowheads
    // lying on a face show like the lines do instead of fighting with it.
    material->BlendingMode = BLENDING_TRANSPARENT;
    material->RequestUpdate();
    return material;
}

std::wstring DimensionNode::FormatLength(float length, int precision, const std::wstring& unit)
{
    if (!std::isfinite(length))
        return L"?" + unit;
    precision = std::clamp(precision, 0, kMaxPrecision);
    // Lengths are magnitudes: a rounded -0 would read oddly.
    const double value = std::fabs(static_cast<double>(length));
    char digits[64];
    const int count = std::snprintf(digits, sizeof(digits), "%.*f", precision, value);
    std::wstring text;
    if (count > 0 && static_cast<std::size_t>(count) < sizeof(digits))
        text.assign(digits, digits + count);
    return text + unit;
}

bool DimensionNode::CheckParameters() const
{
    if (!m_Material) {
        Logger::Instance().Waring("Material is null!");
        return false;
    }
    if (!IsSize(m_FontHeight) || !IsSize(m_ArrowLength) || !IsLength(m_ExtensionBeyond) ||
        !IsLength(m_ExtensionOffset)) {
        Logger::Instance().Waring("Dimension size is invalid!");
        return false;
    }
    if (m_Precision < 0 || m_Precision > kMaxPrecision)
        Logger::Instance().Waring("Dimension precision is out of range!");
    return true;
}

std::wstring DimensionNode::LabelText(const std::wstring& text, float length) const
{
    const std::wstring measured = FormatLength(length, m_Precision, m_Unit);
    if (text.empty())
        return measured;
    std::wstring result = text;
    const std::size_t at = result.find(L"<>");
    if (at != std::wstring::npos)
        result.replace(at, 2, measured);
    return result;
}

void DimensionNode::ClearChildren()
{
    std::vector<uint64_t> ids;
    ids.reserve(GetCount());
    for (const auto& entry : GetChildren()) {
        entry.second->SetParent(nullptr);
        ids.push_back(entry.first);
    }
    for (uint64_t id : ids)
        RemoveNode(id);
    RequstUpdate();
}

bool DimensionNode::ReadsBackwards(const glm::mat4& frame)
{
    const glm::vec3 x(frame[0]);
    const glm::vec3 normal(frame[2]);
    // The plane's own view: seen from its normal, world Z up (world Y for a
    // horizontal plane, as a plan is drawn).
    glm::vec3 up = glm::vec3(0.0f, 0.0f, 1.0f) - normal.z * normal;
    if (glm::length(up) < 1e-3f)
        up = glm::vec3(0.0f, 1.0f, 0.0f) - normal.y * normal;
    up = glm::normalize(up);
    const float right = glm::dot(x, glm::cross(up, normal));
    if (std::fabs(right) > 1e-3f)
        return right < 0.0f;
    return glm::dot(x, up) < 0.0f; // upright in the view: read from the bottom
}

bool DimensionNode::Coincide(float length, float magnitude)
{
    // Below a few float steps of the coordinates the direction is noise.
    return !(std::fabs(length) > 1e-6f * std::max(1.0f, magnitude));
}

void DimensionNode::Build(const Layout& layout)
{
    ClearChildren();
    if (layout.feet.size() < 2)
        return;
    const float F = m_FontHeight;
    const float A = m_ArrowLength;
    const float D = layout.line;
    const float e = layout.beyondPositive ? m_ExtensionBeyond : -m_ExtensionBeyond;
    const glm::mat4& M = layout.frame;

    float first = layout.feet[0].x;
    float last = first;
    for (const glm::vec2& foot : layout.feet) {
        first = std::min(first, foot.x);
        last = std::max(last, foot.x);
    }

    // Labels, one per measured stretch.
    const bool turned = m_LabelFacing == DIMENSION_LABEL_UPRIGHT && ReadsBackwards(M);
    bool blank = false;
    for (std::size_t i = 0; i + 1 < layout.feet.size(); ++i) {
        const float lo = std::min(layout.feet[i].x, layout.feet[i + 1].x);
        const float hi = std::max(layout.feet[i].x, layout.feet[i + 1].x);
        const std::wstring text = i < layout.labels.size() ? layout.labels[i] : std::wstring();
        auto label = m_LabelFacing == DIMENSION_LABEL_FACING_CAMERA ? CameraLabel(text, *m_Material, F, lo, hi, D)
                                                                   : PlaneLabel(text, m_Material, F, lo, hi, D, turned);
        if (!label) {
            blank = true;
            continue;
        }
        label->SetTransform(M * label->GetTransform());
        AddNode(label);
    }
    if (blank)
        Logger::Instance().Waring("Text cannot be fitted to its font height!");

    // The dimension line, then one extension line per foot, in one node.
    Float32Buffer points;
    points.Reserve((2 + 2 * layout.feet.size()) * 3);
    points.Push(glm::vec3(first - m_ExtensionOffset, D, 0.0f));
    points.Push(glm::vec3(last + m_ExtensionOffset, D, 0.0f));
    for (const glm::vec2& foot : layout.feet) {
        points.Push(glm::vec3(foot.x, D + e, 0.0f));
        points.Push(glm::vec3(foot.x, foot.y, 0.0f));
    }
    auto lines = std::make_shared<PrimitiveSceneNode>(GeometryBuilder::CreateLines(Float32Array(points)), m_Material);
    lines->SetTransform(M);
    AddNode(lines);

    if (m_ArrowStyle == DIMENSION_ARROW_FILLED) {
        // Two arrowheads per stretch, tips on the extension lines, pointing
        // outwards; where stretches meet, two tips meet back to back.
        const float h = A * 0.125f;
        Float32Buffer corners;
        Float32Buffer normals;
        const std::size_t count = (layout.feet.size() - 1) * 6;
        corners.Reserve(count * 3);
        normals.Reserve(count * 3);
        for (std::size_t i = 0; i + 1 < layout.feet.size(); ++i) {
            const float lo = std::min(layout.feet[i].x, layout.feet[i + 1].x);
            const float hi = std::max(layout.feet[i].x, layout.feet[i + 1].x);
            corners.Push(glm::vec3(lo, D, 0.0f));
            corners.Push(glm::vec3(lo + A, D - h, 0.0f));
            corners.Push(glm::vec3(lo + A, D + h, 0.0f));
            corners.Push(glm::vec3(hi, D, 0.0f));
            corners.Push(glm::vec3(hi - A, D + h, 0.0f));
            corners.Push(glm::vec3(hi - A, D - h, 0.0f));
        }
        for (std::size_t v = 0; v < count; ++v)
            normals.Push(glm::vec3(0.0f, 0.0f, 1.0f));
        auto arrows = std::make_shared<PrimitiveSceneNode>(
            GeometryBuilder::CreateGeometry(Float32Array(corners), Float32Array(normals), PRIMITIVE_TRIANGLES),
            m_Material);
        arrows->SetTransform(M);
        AddNode(arrows);
    } else {
        // An oblique tick on the line at every foot: the unit quad, A long
        // and A / 10 wide, turned 45 degrees about the plane's normal.
        const float c = 1.0f / std::sqrt(2.0f);
        glm::mat4 turn(1.0f);
        turn[0] = glm::vec4(c, c, 0.0f, 0.0f);
        turn[1] = glm::vec4(-c, c, 0.0f, 0.0f);
        const glm::mat4 shape = turn * glm::scale(glm::mat4(1.0f), glm::vec3(A, A * 0.1f, 1.0f));
        for (const glm::vec2& foot : layout.feet) {
            auto tick = std::make_shared<PrimitiveSceneNode>(GeometryBuilder::AtomQuadShape(), m_Material);
            tick->SetTransform(M * Translation(foot.x, D) * shape);
            AddNode(tick);
        }
    }
    RequstUpdate();
}

DimensionNode* DimensionNode::Cast(SceneNode* node) { return dynamic_cast<DimensionNode*>(node); }
const DimensionNode* DimensionNode::Cast(const SceneNode* node) { return dynamic_cast<const DimensionNode*>(node); }
DimensionNode* DimensionNode::Cast(GroupSceneNode* node) { return dynamic_cast<DimensionNode*>(node); }
const DimensionNode* DimensionNode::Cast(const GroupSceneNode* node)
{
    return dynamic_cast<const DimensionNode*>(node);
}

} // namespace orvcore
