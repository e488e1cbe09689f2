#pragma once

#include <memory>
#include <string>
#include <vector>

#include <glm/vec3.hpp>

#include <orvcore/dimension/DimensionNode.h>

namespace orvcore {

/// A dimension measuring along one axis of its plane (horizontal or
/// vertical in a drawing), through two or more points: each consecutive
/// pair is one measured stretch with its own label, all on one dimension
/// line (a chain). Two points make the ordinary linear dimension.
///
/// The frame: origin at the first point, x along `Axis` (made perpendicular
/// to the plane normal `Direction`), z the normal, y = z x x. Every point is
/// projected into the plane through the first point; its extension line runs
/// across from there to the dimension line. The dimension line lies
/// `Distance` beyond the outermost point: above the highest point (in y) for
/// a positive distance, below the lowest otherwise. Labels read along +x.
///
/// Stretch i shows `GetTexts()[i]` when present, following the base's rules
/// (empty: the formatted length; "<>": the length in its place).
class LinearDimensionNode : public DimensionNode {
public:
    /// No points, distance 0, plane XY measured along X.
    LinearDimensionNode();
    LinearDimensionNode(const glm::vec3& start, const glm::vec3& end, float distance, const glm::vec3& direction,
                        const glm::vec3& axis);
    LinearDimensionNode(const std::vector<glm::vec3>& points, float distance, const glm::vec3& direction,
                        const glm::vec3& axis);

    const std::vector<glm::vec3>& GetPoints() const { return m_Points; }
    void SetPoints(const std::vector<glm::vec3>& points) { m_Points = points; }
    const float& GetDistance() const { return m_Distance; }
    void SetDistance(const float& distance) { m_Distance = distance; }
    const glm::vec3& GetDirection() const { return m_Direction; }
    void SetDirection(const glm::vec3& direction) { m_Direction = direction; }
    const glm::vec3& GetAxis() const { return m_Axis; }
    void SetAxis(const glm::vec3& axis) { m_Axis = axis; }

    /// The measured length of every stretch (empty while the axis or the
    /// plane is unusable).
    std::vector<float> GetLengths() const;

    /// Rebuilds the children: a label per stretch, one line node, and the
    /// end marks (one arrowhead node, or a tick node per point). Input that
    /// cannot be drawn logs one warning and leaves the node without
    /// children: "Dimension needs at least two points!", "Value is not
    /// finite!", "Dimension direction is invalid!" (a zero normal or axis,
    /// or an axis along the normal), "Dimension points coincide!" (a stretch
    /// of no length along the axis), and the base's checks.
    void Update();

    /// A full copy: parameters, base properties and the material (shared);
    /// rebuilt when this one has children.
    std::shared_ptr<SceneNode> Clone() const override;

    static LinearDimensionNode* Cast(SceneNode* node);
    static const LinearDimensionNode* Cast(const SceneNode* node);
    static LinearDimensionNode* Cast(DimensionNode* node);
    static const LinearDimensionNode* Cast(const DimensionNode* node);

private:
    /// The frame's axes (x, y, z), or false when the plane is unusable.
    bool Axes(glm::vec3 axes[3]) const;

    std::vector<glm::vec3> m_Points;
    float m_Distance = 0.0f;
    glm::vec3 m_Direction{0.0f, 0.0f, 1.0f};
    glm::vec3 m_Axis{1.0f, 0.0f, 0.0f};
};

} // namespace orvcore
