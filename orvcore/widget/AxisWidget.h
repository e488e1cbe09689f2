#pragma once

#include <memory>
#include <string>

#include <glm/vec3.hpp>

#include <orvcore/widget/CoordinateWidget.h>

namespace orvcore {

class TextSceneNode;

/// An axis triad: three arrows along the widget's X, Y and Z axes, red,
/// green and blue, each labelled at its tip ("X", "Y", "Z" unless set
/// otherwise). Every arrow is a shaft (a line from the origin) and a cone
/// head `size` long sitting on the end of the shaft; the label is a
/// billboard text `size` * 2.2 high beyond the tip, so it reads from any
/// side. Shaft, head and label carry the axis's user id (120, 121, 122).
///
/// Unlike the manipulators it is drawn with the depth test like any other
/// part of the model (a frame marker on a robot joint is hidden by the
/// links in front of it); the view-axis overlay draws it over the scene.
class AxisWidget : public CoordinateWidget {
public:
    /// A triad with heads `size` long and arrows `lengths` long (x, y, z).
    /// A size or length that is not a positive finite number logs "Widget
    /// size is invalid!" and gives an empty pointer.
    static std::shared_ptr<AxisWidget> Create(float size, const glm::vec3& lengths);
    /// Wraps a group built by `Create`.
    AxisWidget(const std::shared_ptr<GroupSceneNode>& nodes, float size, const glm::vec3& lengths);

    float GetSize() const { return m_Size; }
    const glm::vec3& GetLength() const { return m_Length; }

    /// Replaces the three labels' texts.
    void SetLabels(const std::wstring& x, const std::wstring& y, const std::wstring& z);
    /// The label of axis 0, 1 or 2 (null for other values).
    TextSceneNode* GetLabel(int axis) const;

    std::shared_ptr<SceneNode> Clone() const override;
    std::shared_ptr<AxisWidget> CloneAxisWidget() const;

    static AxisWidget* Cast(SceneNode* node);
    static const AxisWidget* Cast(const SceneNode* node);
    static AxisWidget* Cast(CoordinateWidget* node);
    static const AxisWidget* Cast(const CoordinateWidget* node);

private:
    float m_Size;
    glm::vec3 m_Length;
    std::wstring m_Labels[3] = {L"X", L"Y", L"Z"};
};

} // namespace orvcore
