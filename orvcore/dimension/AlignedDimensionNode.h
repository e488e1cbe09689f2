#pragma once

#include <memory>
#include <string>

#include <glm/vec3.hpp>

#include <orvcore/dimension/DimensionNode.h>

namespace orvcore {

/// A dimension measuring the straight distance from a start point to an end
/// point. The dimension line runs parallel to the measured line, `Distance`
/// away from it across the dimension's plane, whose normal is `Direction`.
///
/// The frame: x along the measured line (start at the origin, end at
/// (L, 0, 0)), z the plane normal (Direction made perpendicular to x), y
/// = z x x. The label reads from the start towards the end, seen from the
/// side the normal points to.
class AlignedDimensionNode : public DimensionNode {
public:
    /// Points, distance and direction are zero: set them before `Update`.
    AlignedDimensionNode();
    /// Stores the values and gives the node a new black "dimension"
    /// material; does not build the children (call `Update`).
    AlignedDimensionNode(const glm::vec3& start, const glm::vec3& end, float distance, const glm::vec3& direction,
                         const std::wstring& text);

    const std::wstring& GetText() const { return m_Text; }
    void SetText(const std::wstring& text) { m_Text = text; }
    const glm::vec3& GetStartPoint() const { return m_StartPoint; }
    void SetStartPoint(const glm::vec3& point) { m_StartPoint = point; }
    const glm::vec3& GetEndPoint() const { return m_EndPoint; }
    void SetEndPoint(const glm::vec3& point) { m_EndPoint = point; }
    const float& GetDistance() const { return m_Distance; }
    void SetDistance(const float& distance) { m_Distance = distance; }
    const glm::vec3& GetDirection() const { return m_Direction; }
    void SetDirection(const glm::vec3& direction) { m_Direction = direction; }

    /// The measured length |EndPoint - StartPoint|.
    float GetLength() const;

    /// Rebuilds the children: label, lines (dimension line and both
    /// extension lines), and the end marks (one arrowhead node, or two tick
    /// nodes). Input that cannot be drawn logs one warning and leaves the
    /// node without children: "Value is not finite!" (points, distance or
    /// direction), "Dimension points coincide!", "Dimension direction is
    /// invalid!" (zero, or along the measured line), and the base's checks.
    void Update();

    /// A new node made by the default constructor: nothing of this one is
    /// copied (build a copy from the accessors when one is needed).
    std::shared_ptr<SceneNode> Clone() const override;

    static AlignedDimensionNode* Cast(SceneNode* node);
    static const AlignedDimensionNode* Cast(const SceneNode* node);
    static AlignedDimensionNode* Cast(DimensionNode* node);
    static const AlignedDimensionNode* Cast(const DimensionNode* node);

private:
    std::wstring m_Text;
    glm::vec3 m_StartPoint{0.0f};
    glm::vec3 m_EndPoint{0.0f};
    float m_Distance = 0.0f;
    glm::vec3 m_Direction{0.0f};
};

} // namespace orvcore
