#pragma once

#include <memory>

#include <glm/vec3.hpp>

#include <orvcore/widget/CoordinateWidget.h>

namespace orvcore {

/// The scale manipulator: three handles along the widget's X (red), Y
/// (green) and Z (blue) axes, each a shaft from the origin ending in a cube
/// `kHandleSize` wide centred on the shaft's end, drawn over the model like
/// the move widget's arrows. Shaft and cube carry the axis's user id; a pick
/// reports one, `GetDirection` the axis to scale along, and the caller turns
/// the mouse motion into a factor (docs/widgets.md).
class ScaleWidget : public CoordinateWidget {
public:
    /// Edge of the handle cubes, in the widget's units (as wide as the move
    /// widget's arrow heads).
    static constexpr float kHandleSize = 2.0f;

    /// Handles `length` long (x, y, z). A length that is not a positive
    /// finite number logs "Widget size is invalid!" and gives an empty
    /// pointer.
    static std::shared_ptr<ScaleWidget> Create(const glm::vec3& length);
    /// Wraps a group built by `Create`; the radius is the longest handle.
    ScaleWidget(const std::shared_ptr<GroupSceneNode>& nodes, glm::vec3 length);

    const glm::vec3& GetLength() const { return m_Length; }

    std::shared_ptr<SceneNode> Clone() const override;
    std::shared_ptr<ScaleWidget> CloneScaleWidget() const;

    static ScaleWidget* Cast(SceneNode* node);
    static const ScaleWidget* Cast(const SceneNode* node);
    static ScaleWidget* Cast(CoordinateWidget* node);
    static const ScaleWidget* Cast(const CoordinateWidget* node);

private:
    glm::vec3 m_Length;
};

} // namespace orvcore
