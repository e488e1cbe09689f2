#include <orvcore/widget/MoveWidget.h>

#include <algorithm>

#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/geometry/GeometryBuilder.h>

namespace orvcore {

std::shared_ptr<MoveWidget> MoveWidget::Create(const glm::vec3& length)
{
    if (!IsWidgetSize(length))
        return nullptr;
    auto group = std::make_shared<GroupSceneNode>();
    for (int axis : {2, 0, 1}) {
        auto material = AxisMaterial("sys.line.arrow", axis, true);
        const glm::vec3 end = AxisDirection(axis) * length[axis];
        AddPart(*group, axis, GeometryBuilder::CreateArrowHead(), material,
                glm::translate(glm::mat4(1.0f), end) * AxisRotation(axis));
        AddPart(*group, axis, GeometryBuilder::CreateLine(glm::vec3(0.0f), end), material, glm::mat4(1.0f));
    }
    auto widget = std::make_shared<MoveWidget>(group, length);
    widget->AdoptGroupBox();
    return widget;
}

MoveWidget::MoveWidget(const std::shared_ptr<GroupSceneNode>& nodes, glm::vec3 length)
    : CoordinateWidget(nodes, std::max({length.x, length.y, length.z})), m_Length(length)
{
}

std::shared_ptr<SceneNode> MoveWidget::Clone() const { return CloneMoveWidget(); }

std::shared_ptr<MoveWidget> MoveWidget::CloneMoveWidget() const
{
    auto copy = Create(m_Length);
    if (copy)
        copy->CopyBaseProperties(*this);
    return copy;
}

MoveWidget* MoveWidget::Cast(SceneNode* node) { return dynamic_cast<MoveWidget*>(node); }
const MoveWidget* MoveWidget::Cast(const SceneNode* node) { return dynamic_cast<const MoveWidget*>(node); }
MoveWidget* MoveWidget::Cast(CoordinateWidget* node) { return dynamic_cast<MoveWidget*>(node); }
const MoveWidget* MoveWidget::Cast(const CoordinateWidget* node) { return dynamic_cast<const MoveWidget*>(node); }

} // namespace orvcore
