#pragma once

#include <memory>

#include <glm/vec3.hpp>

#include <orvcore/widget/CoordinateWidget.h>

namespace orvcore {

/// The translation manipulator: three arrows along the widget's X (red),
/// Y (green) and Z (blue) axes, drawn over the model (their materials have
/// no depth test and are drawn after the opaque model).
///
/// Each arrow is a shaft, a line from the origin to (length along the
/// axis), and the shared arrow head (`GeometryBuilder::CreateArrowHead`)
/// placed at that point, turned from +Z onto the axis; head and shaft share
/// one "sys.line.arrow" material and carry the axis's user id. They are
/// built in the order z, x, y.
///
/// The widget does not move anything: a pick on it reports a head or a
/// shaft, `GetDirection` of its user id gives the axis to drag along, and
/// the caller turns the mouse motion into a translation (docs/widgets.md).
class MoveWidget : public CoordinateWidget {
public:
    /// A widget with arrows `length` long (x, y, z). A length that is not a
    /// positive finite number logs "Widget size is invalid!" and gives an
    /// empty pointer.
    static std::shared_ptr<MoveWidget> Create(const glm::vec3& length);
    /// Wraps a group built by `Create`; the radius is the longest arrow.
    MoveWidget(const std::shared_ptr<GroupSceneNode>& nodes, glm::vec3 length);

    const glm::vec3& GetLength() const { return m_Length; }

    std::shared_ptr<SceneNode> Clone() const override;
    std::shared_ptr<MoveWidget> CloneMoveWidget() const;

    static MoveWidget* Cast(SceneNode* node);
    static const MoveWidget* Cast(const SceneNode* node);
    static MoveWidget* Cast(CoordinateWidget* node);
    static const MoveWidget* Cast(const CoordinateWidget* node);

private:
    glm::vec3 m_Length;
};

} // namespace orvcore
