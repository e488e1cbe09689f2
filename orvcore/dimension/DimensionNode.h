#pragma once

#include <memory>
#include <string>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>

#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/dimension/EnumDimensionArrowStyle.h>
#include <orvcore/dimension/EnumDimensionLabelFacing.h>
#include <orvcore/scene/GroupSceneNode.h>

namespace orvcore {

/// Base of the dimension annotations: a group whose children (labels, one
/// line node holding the dimension line and the extension lines, and the end
/// marks) are rebuilt from the parameters by the derived kind's `Update`.
/// The children are ordinary primitive and text nodes, so a dimension is
/// drawn, picked and culled like any group.
///
/// Setters only store; nothing changes on screen until `Update`. A dimension
/// casts no shadow (its group's flag is cleared at construction).
///
/// Besides the sizes, a dimension formats its measured length: a label whose
/// text is empty shows the length with `Precision` digits after the point
/// followed by `Unit` (appended as given, e.g. L" mm"); a text holding "<>"
/// shows it in place of the first "<>"; any other text is shown as it is.
class DimensionNode : public GroupSceneNode {
public:
    DimensionNode();
    ~DimensionNode() override;

    /// Dimensions are not carried into a group's clone: the base gives an
    /// empty pointer (derived kinds decide for themselves).
    std::shared_ptr<SceneNode> Clone() const override;

    const std::vector<std::wstring>& GetTexts() const { return m_Texts; }
    void SetTexts(const std::vector<std::wstring>& texts) { m_Texts = texts; }
    const float& GetFontHeight() const { return m_FontHeight; }
    void SetFontHeight(const float& height) { m_FontHeight = height; }
    const float& GetExtensionBeyond() const { return m_ExtensionBeyond; }
    void SetExtensionBeyond(const float& length) { m_ExtensionBeyond = length; }
    const float& GetExtensionOffset() const { return m_ExtensionOffset; }
    void SetExtensionOffset(const float& length) { m_ExtensionOffset = length; }
    const EnumDimensionArrowStyle& GetArrowStyle() const { return m_ArrowStyle; }
    void SetArrowStyle(const EnumDimensionArrowStyle& style) { m_ArrowStyle = style; }
    const float& GetArrowLength() const { return m_ArrowLength; }
    void SetArrowLength(const float& length) { m_ArrowLength = length; }
    const std::shared_ptr<MaterialInstance>& GetMaterial() const { return m_Material; }
    void SetMaterial(const std::shared_ptr<MaterialInstance>& material) { m_Material = material; }

    /// Digits after the decimal point of a formatted length (0 to 9; others
    /// are clamped at `Update` with a warning). Default 2.
    const int& GetPrecision() const { return m_Precision; }
    void SetPrecision(const int& digits) { m_Precision = digits; }
    /// Suffix of a formatted length, appended as given. Default empty.
    const std::wstring& GetUnit() const { return m_Unit; }
    void SetUnit(const std::wstring& unit) { m_Unit = unit; }
    const EnumDimensionLabelFacing& GetLabelFacing() const { return m_LabelFacing; }
    void SetLabelFacing(const EnumDimensionLabelFacing& facing) { m_LabelFacing = facing; }

    /// The length as a label shows it: fixed notation with `precision`
    /// digits (clamped to 0..9), then `unit`. Not finite gives "?".
    static std::wstring FormatLength(float length, int precision, const std::wstring& unit);
    /// A new black "basic" material named "dimension" that draws both faces.
    static std::shared_ptr<MaterialInstance> CreateDefaultMaterial();

    static DimensionNode* Cast(SceneNode* node);
    static const DimensionNode* Cast(const SceneNode* node);
    static DimensionNode* Cast(GroupSceneNode* node);
    static const DimensionNode* Cast(const GroupSceneNode* node);

protected:
    /// What a derived kind measured, in the dimension's own frame: x runs
    /// along the dimension line, y across it in the dimension's plane.
    struct Layout {
        glm::mat4 frame{1.0f};         ///< the frame in this node's coordinates (a rotation and a translation)
        std::vector<glm::vec2> feet;   ///< where each extension line starts, in measuring order
        float line = 0.0f;             ///< y of the dimension line
        bool beyondPositive = true;    ///< extension lines run past the line towards +y
        std::vector<std::wstring> labels; ///< one per consecutive pair of feet
    };

    /// Checks the sizes and the material, warning once for the first fault
    /// ("Material is null!", "Dimension size is invalid!").
    bool CheckParameters() const;
    /// The text a label shows for a measured length (see the class comment).
    std::wstring LabelText(const std::wstring& text, float length) const;
    /// Removes every child (and requests an update), leaving an empty group.
    void ClearChildren();
    /// Replaces the children by the labels, lines and end marks of a layout,
    /// then requests an update.
    void Build(const Layout& layout);
    /// Whether text along the frame's x reads backwards (right to left, or
    /// top to bottom) in the plane's own view (see `DIMENSION_LABEL_UPRIGHT`).
    static bool ReadsBackwards(const glm::mat4& frame);
    /// Whether two measured positions along a line lie too close to tell
    /// apart (relative to the coordinates involved).
    static bool Coincide(float length, float magnitude);

private:
    std::vector<std::wstring> m_Texts;
    float m_FontHeight = 5.0f;
    float m_ExtensionBeyond = 4.0f;
    float m_ExtensionOffset = 0.0f;
    EnumDimensionArrowStyle m_ArrowStyle = DIMENSION_ARROW_FILLED;
    float m_ArrowLength = 3.0f;
    std::shared_ptr<MaterialInstance> m_Material;
    int m_Precision = 2;
    std::wstring m_Unit;
    EnumDimensionLabelFacing m_LabelFacing = DIMENSION_LABEL_IN_PLANE;
};

} // namespace orvcore
