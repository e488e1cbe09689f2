#include <orvcore/dimension/LinearDimensionNode.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>

#include <orvcommon/Logger.h>

namespace orvcore {

namespace {

bool IsFinite(const glm::vec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

} // namespace

LinearDimensionNode::LinearDimensionNode() = default;

LinearDimensionNode::LinearDimensionNode(const glm::vec3& start, const glm::vec3& end, float distance,
                                         const glm::vec3& direction, const glm::vec3& axis)
    : LinearDimensionNode(std::vector<glm::vec3>{start, end}, distance, direction, axis)
{
}

LinearDimensionNode::LinearDimensionNode(const std::vector<glm::vec3>& points, float distance,
                                         const glm::vec3& direction, const glm::vec3& axis)
    : m_Points(points), m_Distance(distance), m_Direction(direction), m_Axis(axis)
{
}

bool LinearDimensionNode::Axes(glm::vec3 axes[3]) const
{
    const float n = glm::length(m_Direction);
    const float a = glm::length(m_Axis);
    if (!(n > 0.0f) || !(a > 0.0f) || !std::isfinite(n) || !std::isfinite(a))
        return false;
    const glm::vec3 normal = m_Direction / n;
    const glm::vec3 along = m_Axis / a - glm::dot(m_Axis / a, normal) * normal;
    const float length = glm::length(along);
    if (!(length > 1e-4f))
        return false;
    axes[0] = along / length;
    axes[2] = normal;
    axes[1] = glm::cross(normal, axes[0]);
    return true;
}

std::vector<float> LinearDimensionNode::GetLengths() const
{
    std::vector<float> lengths;
    glm::vec3 axes[3];
    if (!Axes(axes))
        return lengths;
    for (std::size_t i = 0; i + 1 < m_Points.size(); ++i)
        lengths.push_back(std::fabs(glm::dot(m_Points[i + 1] - m_Points[i], axes[0])));
    return lengths;
}

void LinearDimensionNode::Update()
{
    if (m_Points.size() < 2) {
        Logger::Instance().Waring("Dimension needs at least two points!");
        ClearChildren();
        return;
    }
    bool finite = std::isfinite(m_Distance) && IsFinite(m_Direction) && IsFinite(m_Axis);
    float magnitude = 0.0f;
    for (const glm::vec3& p : m_Points) {
        finite = finite && IsFinite(p);
        magnitude = std::max({magnitude, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
    }
    if (!finite) {
        Logger::Instance().Waring("Value is not finite!");
        ClearChildren();
        return;
    }
    glm::vec3 axes[3];
    if (!Axes(axes)) {
        Logger::Instance().Waring("Dimension direction is invalid!");
        ClearChildren();
        return;
    }

    Layout layout;
    const glm::vec3& origin = m_Points.front();
    float lowest = 0.0f;
    float highest = 0.0f;
    for (const glm::vec3& p : m_Points) {
        const glm::vec2 foot(glm::dot(p - origin, axes[0]), glm::dot(p - origin, axes[1]));
        if (!std::isfinite(foot.x) || !std::isfinite(foot.y)) { // finite points too far apart
            Logger::Instance().Waring("Value is not finite!");
            ClearChildren();
            return;
        }
        lowest = std::min(lowest, foot.y);
        highest = std::max(highest, foot.y);
        layout.feet.push_back(foot);
    }
    for (std::size_t i = 0; i + 1 < layout.feet.size(); ++i) {
        const float length = std::fabs(layout.feet[i + 1].x - layout.feet[i].x);
        if (Coincide(length, magnitude)) {
            Logger::Instance().Waring("Dimension points coincide!");
            ClearChildren();
            return;
        }
        const std::wstring& text = i < GetTexts().size() ? GetTexts()[i] : std::wstring();
        layout.labels.push_back(LabelText(text, length));
    }
    if (!CheckParameters()) {
        ClearChildren();
        return;
    }
    layout.frame[0] = glm::vec4(axes[0], 0.0f);
    layout.frame[1] = glm::vec4(axes[1], 0.0f);
    layout.frame[2] = glm::vec4(axes[2], 0.0f);
    layout.frame[3] = glm::vec4(origin, 1.0f);
    layout.beyondPositive = m_Distance > 0.0f;
    layout.line = layout.beyondPositive ? highest + m_Distance : lowest + m_Distance;
    Build(layout);
}

std::shared_ptr<SceneNode> LinearDimensionNode::Clone() const
{
    auto copy = std::make_shared<LinearDimensionNode>(m_Points, m_Distance, m_Direction, m_Axis);
    copy->SetTexts(GetTexts());
    copy->SetFontHeight(GetFontHeight());
    copy->SetExtensionBeyond(GetExtensionBeyond());
    copy->SetExtensionOffset(GetExtensionOffset());
    copy->SetArrowStyle(GetArrowStyle());
    copy->SetArrowLength(GetArrowLength());
    copy->SetMaterial(GetMaterial());
    copy->SetPrecision(GetPrecision());
    copy->SetUnit(GetUnit());
    copy->SetLabelFacing(GetLabelFacing());
    if (GetCount() > 0)
        copy->Update();
    copy->CopyBaseProperties(*this);
    return copy;
}

LinearDimensionNode* LinearDimensionNode::Cast(SceneNode* node) { return dynamic_cast<LinearDimensionNode*>(node); }
const LinearDimensionNode* LinearDimensionNode::Cast(const SceneNode* node)
{
    return dynamic_cast<const LinearDimensionNode*>(node);
}
LinearDimensionNode* LinearDimensionNode::Cast(DimensionNode* node)
{
    return dynamic_cast<LinearDimensionNode*>(node);
}
const LinearDimensionNode* LinearDimensionNode::Cast(const DimensionNode* node)
{
    return dynamic_cast<const LinearDimensionNode*>(node);
}

} // namespace orvcore
