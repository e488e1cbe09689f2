#include <orvcore/widget/AxisWidget.h>

#include <algorithm>

#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvcore/scene/TextSceneNode.h>

namespace orvcore {

namespace {

constexpr float kLabelHeight = 2.2f; // label height per head length

std::shared_ptr<TextSceneNode> MakeLabel(const std::wstring& text, float size, float length, int axis)
{
    glm::vec3 color(0.0f);
    color[axis] = 1.0f;
    const float height = size * kLabelHeight;
    auto label = std::make_shared<TextSceneNode>(text, height, color * 0.85f, glm::vec3(-1.0f), true);
    glm::vec3 at(0.0f);
    at[axis] = length + size + height * 0.75f;
    label->SetTransform(glm::translate(glm::mat4(1.0f), at));
    label->SetUserId(CoordinateWidget::kAxisX + uint64_t(axis));
    return label;
}

} // namespace

std::shared_ptr<AxisWidget> AxisWidget::Create(float size, const glm::vec3& lengths)
{
    if (!IsWidgetSize(size) || !IsWidgetSize(lengths))
        return nullptr;
    auto group = std::make_shared<GroupSceneNode>();
    // The cone of the shared arrow head is 1 wide at its base and 3 long.
    const glm::mat4 headScale = glm::scale(glm::mat4(1.0f), glm::vec3(size * 0.4f, size * 0.4f, size / 3.0f));
    for (int axis = 0; axis < 3; ++axis) {
        auto material = AxisMaterial("sys.axis.arrow", axis, false);
        material->LineWidth = 2;
        material->RequestUpdate();
        const glm::vec3 tip = AxisDirection(axis) * lengths[axis];
        AddPart(*group, axis, GeometryBuilder::CreateLine(glm::vec3(0.0f), tip), material, glm::mat4(1.0f));
        AddPart(*group, axis, GeometryBuilder::CreateArrowHead(), material,
                glm::translate(glm::mat4(1.0f), tip) * AxisRotation(axis) * headScale);
        group->AddNode(MakeLabel(std::wstring(1, wchar_t(L'X' + axis)), size, lengths[axis], axis));
    }
    auto widget = std::make_shared<AxisWidget>(group, size, lengths);
    widget->AdoptGroupBox();
    return widget;
}

AxisWidget::AxisWidget(const std::shared_ptr<GroupSceneNode>& nodes, float size, const glm::vec3& lengths)
    : CoordinateWidget(nodes, std::max({lengths.x, lengths.y, lengths.z}) + size), m_Size(size), m_Length(lengths)
{
}

void AxisWidget::SetLabels(const std::wstring& x, const std::wstring& y, const std::wstring& z)
{
    const std::wstring* texts[3] = {&x, &y, &z};
    for (int axis = 0; axis < 3; ++axis) {
        if (TextSceneNode* old = GetLabel(axis))
            GetNodes()->RemoveNode(old->GetId());
        m_Labels[axis] = *texts[axis];
        GetNodes()->AddNode(MakeLabel(m_Labels[axis], m_Size, m_Length[axis], axis));
    }
    AdoptGroupBox();
    RequstUpdate();
}

TextSceneNode* AxisWidget::GetLabel(int axis) const
{
    if (axis < 0 || axis > 2)
        return nullptr;
    for (const auto& entry : GetNodes()->GetChildren()) {
        TextSceneNode* text = TextSceneNode::Cast(entry.second.get());
        if (text && text->GetUserId() == AxisId(axis))
            return text;
    }
    return nullptr;
}

std::shared_ptr<SceneNode> AxisWidget::Clone() const { return CloneAxisWidget(); }

std::shared_ptr<AxisWidget> AxisWidget::CloneAxisWidget() const
{
    auto copy = Create(m_Size, m_Length);
    if (!copy)
        return copy;
    if (m_Labels[0] != L"X" || m_Labels[1] != L"Y" || m_Labels[2] != L"Z")
        copy->SetLabels(m_Labels[0], m_Labels[1], m_Labels[2]);
    copy->CopyBaseProperties(*this);
    return copy;
}

AxisWidget* AxisWidget::Cast(SceneNode* node) { return dynamic_cast<AxisWidget*>(node); }
const AxisWidget* AxisWidget::Cast(const SceneNode* node) { return dynamic_cast<const AxisWidget*>(node); }
AxisWidget* AxisWidget::Cast(CoordinateWidget* node) { return dynamic_cast<AxisWidget*>(node); }
const AxisWidget* AxisWidget::Cast(const CoordinateWidget* node) { return dynamic_cast<const AxisWidget*>(node); }

} // namespace orvcore
