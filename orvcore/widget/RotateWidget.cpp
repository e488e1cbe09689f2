#include <orvcore/widget/RotateWidget.h>

#include <cmath>
#include <vector>

#include <orvcommon/Math.h>
#include <orvkernel/geometry/GeometryBuilder.h>

namespace orvcore {

std::shared_ptr<RotateWidget> RotateWidget::Create(float radius)
{
    if (!IsWidgetSize(radius))
        return nullptr;
    auto group = std::make_shared<GroupSceneNode>();
    for (int axis = 0; axis < 3; ++axis) {
        // The ring runs from the next axis towards the one after it, so
        // that it turns positively about its own axis.
        const glm::vec3 u = AxisDirection((axis + 1) % 3) * radius;
        const glm::vec3 v = AxisDirection((axis + 2) % 3) * radius;
        std::vector<float> positions;
        positions.reserve(kSegments * 6);
        for (unsigned int i = 0; i < kSegments; ++i) {
            for (unsigned int k : {i, i + 1}) {
                const float angle = float(Math::TWO_PI) * float(k % kSegments) / float(kSegments);
                const glm::vec3 p = u * std::cos(angle) + v * std::sin(angle);
                positions.insert(positions.end(), {p.x, p.y, p.z});
            }
        }
        auto material = AxisMaterial("sys.line.ring", axis, true);
        material->LineWidth = 3;
        material->RequestUpdate();
        AddPart(*group, axis, GeometryBuilder::CreateLines(Float32Array(positions.data(), positions.size())),
                material, glm::mat4(1.0f));
    }
    auto widget = std::make_shared<RotateWidget>(group, radius);
    widget->AdoptGroupBox();
    return widget;
}

RotateWidget::RotateWidget(const std::shared_ptr<GroupSceneNode>& nodes, float radius)
    : CoordinateWidget(nodes, radius)
{
}

std::shared_ptr<SceneNode> RotateWidget::Clone() const { return CloneRotateWidget(); }

std::shared_ptr<RotateWidget> RotateWidget::CloneRotateWidget() const
{
    auto copy = Create(GetRadius());
    if (copy)
        copy->CopyBaseProperties(*this);
    return copy;
}

RotateWidget* RotateWidget::Cast(SceneNode* node) { return dynamic_cast<RotateWidget*>(node); }
const RotateWidget* RotateWidget::Cast(const SceneNode* node) { return dynamic_cast<const RotateWidget*>(node); }
RotateWidget* RotateWidget::Cast(CoordinateWidget* node) { return dynamic_cast<RotateWidget*>(node); }
const RotateWidget* RotateWidget::Cast(const CoordinateWidget* node)
{
    return dynamic_cast<const RotateWidget*>(node);
}

} // namespace orvcore
