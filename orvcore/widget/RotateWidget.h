#pragma once

#include <memory>

#include <orvcore/widget/CoordinateWidget.h>

namespace orvcore {

/// The rotation manipulator: three rings of one radius around the widget's
/// origin, each in the plane normal to its axis: red about X (in YZ), green
/// about Y (in ZX), blue about Z (in XY), drawn over the model like the
/// move widget's arrows. Each ring is one line node of 64 segments carrying
/// its axis's user id, so a pick reports the ring and `GetDirection` the
/// axis to turn about; the caller turns the mouse motion into an angle
/// (docs/widgets.md).
class RotateWidget : public CoordinateWidget {
public:
    static constexpr unsigned int kSegments = 64;

    /// Rings of the given radius. A radius that is not a positive finite
    /// number logs "Widget size is invalid!" and gives an empty pointer.
    static std::shared_ptr<RotateWidget> Create(float radius);
    /// Wraps a group built by `Create`.
    RotateWidget(const std::shared_ptr<GroupSceneNode>& nodes, float radius);

    std::shared_ptr<SceneNode> Clone() const override;
    std::shared_ptr<RotateWidget> CloneRotateWidget() const;

    static RotateWidget* Cast(SceneNode* node);
    static const RotateWidget* Cast(const SceneNode* node);
    static RotateWidget* Cast(CoordinateWidget* node);
    static const RotateWidget* Cast(const CoordinateWidget* node);
};

} // namespace orvcore
