#include <orvcore/widget/ScaleWidget.h>

#include <algorithm>

#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/geometry/GeometryBuilder.h>

namespace orvcore {

std::shared_ptr<ScaleWidget> ScaleWidget::Create(const glm::vec3& length)
{
    if (!IsWidgetSize(length))
        return nullptr;
    auto group = std::make_shared<GroupSceneNode>();
    const auto cube = GeometryBuilder::CreateBox(glm::vec3(kHandleSize));
    for (int axis = 0; axis < 3; ++axis) {
        auto material = AxisMaterial("sys.line.scale", axis, true);
        material->LineWidth = 2;
        material->RequestUpdate();
        const glm::vec3 end = AxisDirection(axis) * length[axis];
        AddPart(*group, axis, GeometryBuilder::CreateLine(glm::vec3(0.0f), end), material, glm::mat4(1.0f));
        AddPart(*group, axis, cube, material, glm::translate(glm::mat4(1.0f), end));
    }
    auto widget = std::make_shared<ScaleWidget>(group, length);
    widget->AdoptGroupBox();
    return widget;
}

ScaleWidget::ScaleWidget(const std::shared_ptr<GroupSceneNode>& nodes, glm::vec3 length)
    : CoordinateWidget(nodes, std::max({length.x, length.y, length.z})), m_Length(length)
{
}

std::shared_ptr<SceneNode> ScaleWidget::Clone() const { return CloneScaleWidget(); }

std::shared_ptr<ScaleWidget> ScaleWidget::CloneScaleWidget() const
{
    auto copy = Create(m_Length);
    if (copy)
        copy->CopyBaseProperties(*this);
    return copy;
}

ScaleWidget* ScaleWidget::Cast(SceneNode* node) { return dynamic_cast<ScaleWidget*>(node); }
const ScaleWidget* ScaleWidget::Cast(const SceneNode* node) { return dynamic_cast<const ScaleWidget*>(node); }
ScaleWidget* ScaleWidget::Cast(CoordinateWidget* node) { return dynamic_cast<ScaleWidget*>(node); }
const ScaleWidget* ScaleWidget::Cast(const CoordinateWidget* node) { return dynamic_cast<const ScaleWidget*>(node); }

} // namespace orvcore
