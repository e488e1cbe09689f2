#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <glm/vec3.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/camera/ViewPosition.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/plot/ColorLookupTable.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/SceneNode2D.h>
#include <orvcore/scene/TextSceneNode.h>

namespace orvcore {

/// A colour bar on the 2D overlay: the colours of a lookup table from its
/// minimum (bottom) to its maximum (top), with value labels to its right
/// and an optional title above it. Sizes are pixels.
///
/// The node drawn is a group whose origin is the bar's top-left corner: the
/// bar spans x in [0, Width] and y in [-Height, 0]. `Update` rebuilds it
/// from a table; changing sizes, title, ticks or colours takes effect at
/// the next `Update`.
///
/// Labels: by default one per entry of the table's colour map, in the
/// map's order, each showing the table's value at the entry's position t
/// (minimum + t x (maximum - minimum)) in the entry's colour; with h =
/// Height / entries, label i is centred on (Width, i h + h / 2 - Height).
/// With a tick count n >= 2 the bar gets up to n ticks at round values
/// instead (`NiceTicks`), labels beside them at their exact places,
/// coloured from the table.
/// Labels are glyph meshes 12 pixels high (the digits' height), written in
/// fixed-point notation.
class PaletteWidget : public SceneNode2D {
public:
    static constexpr float kLabelHeight = 12.0f;

    PaletteWidget();

    float GetWidth() const { return m_Width; }
    void SetWidth(float width) { m_Width = width; }
    float GetHeight() const { return m_Height; }
    void SetHeight(float height) { m_Height = height; }
    /// Where the widget sits. Anchor mode (the default, (1, 0.5)): the
    /// point at that fraction of the widget's extent (bar, labels and title)
    /// lies at the same fraction of the viewport inset by a 16-pixel margin,
    /// so any anchor in [0, 1] keeps the widget whole on screen. Offset
    /// mode: the bar's top-left corner lies that many pixels from the
    /// viewport's centre.
    const ViewPosition& GetPosition() const { return m_Position; }
    void SetPosition(const ViewPosition& position) { m_Position = position; }

    const std::wstring& GetTitle() const { return m_Title; }
    /// Drawn above the bar, 14 pixels per em, in the text colour; empty for
    /// none.
    void SetTitle(const std::wstring& title) { m_Title = title; }
    /// 0 (the default): one label per colour-map entry; n >= 2: up to n
    /// ticks at round values.
    /// A count of 1 or above 64 logs "Tick count is out of range!" and is
    /// ignored.
    void SetTickCount(uint32_t count);
    uint32_t GetTickCount() const { return m_TickCount; }
    /// Decimals of the labels; -1 (the default) picks the fewest that show
    /// the spacing of the labels' values (up to two more when the values need
    /// them, at most 6). Others outside [-1, 9] log "Decimals are out of
    /// range!" and are ignored.
    void SetDecimals(int decimals);
    int GetDecimals() const { return m_Decimals; }
    /// Colour of the title, frame and ticks, and of the labels when they are
    /// not coloured by the map. Default white.
    void SetTextColor(const glm::vec3& color) { m_TextColor = color; }
    const glm::vec3& GetTextColor() const { return m_TextColor; }
    /// Whether labels take their colour from the map (the default).
    void SetColoredLabels(bool colored) { m_ColoredLabels = colored; }
    bool GetColoredLabels() const { return m_ColoredLabels; }

    /// Rebuilds the bar, labels, ticks and title from the table. An empty
    /// table logs "Color lookup table is null!", a width or height that is
    /// not positive and finite "Palette size is invalid!"; both return false
    /// and keep what was built.
    bool Update(const std::shared_ptr<ColorLookupTable>& table);

    /// Places the group from the viewport size of the camera (see
    /// `SetPosition`), on whole pixels, and updates its world transforms.
    /// An empty camera logs "Camera is null!", a position that is not
    /// finite "View position is invalid!"; neither moves anything.
    void UpdatePosition(const std::shared_ptr<Camera>& camera) override;

    /// The label texts and nodes of the last update, bottom first.
    const std::vector<std::wstring>& GetLabelTexts() const { return m_LabelTexts; }
    const std::vector<std::shared_ptr<TextSceneNode>>& GetLabels() const { return m_Labels; }
    const std::shared_ptr<TextSceneNode>& GetTitleNode() const { return m_TitleNode; }
    /// The bar's material ("palette-rainbow", white, textured with the
    /// table's image), made by the first update.
    const std::shared_ptr<BasicMaterial>& GetMaterial() const { return m_Material; }
    /// Extent of the built group in its own coordinates (bar, labels, title).
    const AxisAlignedBox& GetExtent() const { return m_Extent; }

    /// "12.50" style text of a value with the given decimals; -0 prints as 0.
    static std::wstring FormatValue(float value, int decimals);
    /// Round tick values in [min, max]: the multiples, inside the range, of
    /// a step of 1, 2, 2.5 or 5 times a power of ten, the step chosen to give
    /// the most ticks not above `count` (the larger step on a tie). A range
    /// too narrow for two gives its ends; a range of one point (or not
    /// finite) its minimum alone.
    static std::vector<float> NiceTicks(float min, float max, uint32_t count);
    /// The decimals `SetDecimals(-1)` picks for these values.
    static int ChooseDecimals(const std::vector<float>& values);

    static PaletteWidget* Cast(SceneNode2D* node);
    static const PaletteWidget* Cast(const SceneNode2D* node);

private:
    std::shared_ptr<TextSceneNode> MakeLabel(const std::wstring& text, const glm::vec3& color, float x, float y);

    float m_Width = 24.0f;
    float m_Height = 240.0f;
    ViewPosition m_Position{ViewPosition::VIEW_POSITION_ANCHOR, glm::vec2(1.0f, 0.5f)};
    std::wstring m_Title;
    uint32_t m_TickCount = 0;
    int m_Decimals = -1;
    glm::vec3 m_TextColor{1.0f};
    bool m_ColoredLabels = true;

    std::shared_ptr<BasicMaterial> m_Material;
    std::shared_ptr<ImageTexture2D> m_Image;
    std::vector<std::wstring> m_LabelTexts;
    std::vector<std::shared_ptr<TextSceneNode>> m_Labels;
    std::shared_ptr<TextSceneNode> m_TitleNode;
    AxisAlignedBox m_Extent;
};

} // namespace orvcore
