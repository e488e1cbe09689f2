#include <orvcore/dimension/AlignedDimensionNode.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>

#include <orvcommon/Logger.h>

namespace orvcore {

namespace {

bool IsFinite(const glm::vec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

float Magnitude(const glm::vec3& v) { return std::max({std::fabs(v.x), std::fabs(v.y), std::fabs(v.z)}); }

} // namespace

AlignedDimensionNode::AlignedDimensionNode() = default;

AlignedDimensionNode::AlignedDimensionNode(const glm::vec3& start, const glm::vec3& end, float distance,
                                           const glm::vec3& direction, const std::wstring& text)
    : m_Text(text), m_StartPoint(start), m_EndPoint(end), m_Distance(distance), m_Direction(direction)
{
    SetMaterial(CreateDefaultMaterial());
}

float AlignedDimensionNode::GetLength() const { return glm::length(m_EndPoint - m_StartPoint); }

void AlignedDimensionNode::Update()
{
    if (!IsFinite(m_StartPoint) || !IsFinite(m_EndPoint) || !std::isfinite(m_Distance) || !IsFinite(m_Direction)) {
        Logger::Instance().Waring("Value is not finite!");
        ClearChildren();
        return;
    }
    const glm::vec3 d = m_EndPoint - m_StartPoint;
    const float L = glm::length(d);
    if (!std::isfinite(L)) { // finite points too far apart for a float length
        Logger::Instance().Waring("Value is not finite!");
        ClearChildren();
        return;
    }
    if (Coincide(L, std::max(Magnitude(m_StartPoint), Magnitude(m_EndPoint)))) {
        Logger::Instance().Waring("Dimension points coincide!");
        ClearChildren();
        return;
    }
    const glm::vec3 x = d / L;
    // The plane's normal, made perpendicular to the measured line. For a
    // direction already perpendicular to it this is the frame that turning
    // +Z onto the direction and then +X onto the line gives.
    const float n = glm::length(m_Direction);
    const glm::vec3 normal = n > 0.0f ? m_Direction / n : glm::vec3(0.0f);
    const glm::vec3 across = normal - glm::dot(normal, x) * x;
    const float z = glm::length(across);
    if (!(z > 1e-4f)) {
        Logger::Instance().Waring("Dimension direction is invalid!");
        ClearChildren();
        return;
    }
    if (!CheckParameters()) {
        ClearChildren();
        return;
    }

    Layout layout;
    const glm::vec3 zAxis = across / z;
    layout.frame[0] = glm::vec4(x, 0.0f);
    layout.frame[1] = glm::vec4(glm::cross(zAxis, x), 0.0f);
    layout.frame[2] = glm::vec4(zAxis, 0.0f);
    layout.frame[3] = glm::vec4(m_StartPoint, 1.0f);
    layout.feet = {glm::vec2(0.0f), glm::vec2(L, 0.0f)};
    layout.line = m_Distance;
    layout.beyondPositive = m_Distance > 0.0f;
    layout.labels = {LabelText(m_Text, L)};
    Build(layout);
}

std::shared_ptr<SceneNode> AlignedDimensionNode::Clone() const { return std::make_shared<AlignedDimensionNode>(); }

AlignedDimensionNode* AlignedDimensionNode::Cast(SceneNode* node) { return dynamic_cast<AlignedDimensionNode*>(node); }
const AlignedDimensionNode* AlignedDimensionNode::Cast(const SceneNode* node)
{
    return dynamic_cast<const AlignedDimensionNode*>(node);
}
AlignedDimensionNode* AlignedDimensionNode::Cast(DimensionNode* node)
{
    return dynamic_cast<AlignedDimensionNode*>(node);
}
const AlignedDimensionNode* AlignedDimensionNode::Cast(const DimensionNode* node)
{
    return dynamic_cast<const AlignedDimensionNode*>(node);
}

} // namespace orvcore
