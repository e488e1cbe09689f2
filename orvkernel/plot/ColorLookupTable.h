#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <glm/vec3.hpp>

#include <orvkernel/plot/ColorMapKeyword.h>
#include <orvkernel/texture/ImageTexture2D.h>

namespace orvcore {

/// Colours for values: a colour map sampled into a table of `GetSize()`
/// evenly spaced colours over the value range [Minimum, Maximum].
///
/// A value is normalised to t = (value - Minimum) / (Maximum - Minimum),
/// clamped to [0, 1] (a NaN, or any value when the range is a single point,
/// reads as 0), and its colour is interpolated linearly between the two
/// nearest table colours. A new table uses the "rainbow" map over [0, 1]
/// with 256 colours.
class ColorLookupTable {
public:
    static constexpr uint32_t kDefaultSize = 256;
    static constexpr uint32_t kMaxSize = 4096;

    ColorLookupTable();

    /// Samples `map` into the table and keeps it (the palette's labels come
    /// from its entries). An empty pointer logs "Color map is null!", a map
    /// without entries "Color map is empty!"; the table is kept then and the
    /// call returns false.
    bool SetColorMap(const std::shared_ptr<ColorMapKeyword>& map);
    const std::shared_ptr<ColorMapKeyword>& GetColorMap() const { return m_ColorMap; }

    /// The value range. Bounds that are not finite, or a maximum below the
    /// minimum, log "Value range is not valid!" and keep the old range.
    bool SetRange(float minimum, float maximum);
    float GetMinimum() const { return m_Minimum; }
    float GetMaximum() const { return m_Maximum; }
    /// The value at position t of the map: minimum + t x (maximum - minimum).
    float GetValue(float t) const { return m_Minimum + t * (m_Maximum - m_Minimum); }

    /// Number of table colours, 2 to `kMaxSize`; others log "Table size is
    /// out of range!" and keep the table.
    bool SetSize(uint32_t size);
    uint32_t GetSize() const { return uint32_t(m_Colors.size()); }

    /// The colour of a value (see the class comment), components in [0, 1].
    glm::vec3 GetColor(float value) const
    {
        float t = (value - m_Minimum) * m_Scale;
        if (!(t > 0.0f))
            t = 0.0f;
        if (t > 1.0f)
            t = 1.0f;
        const float x = t * float(m_Colors.size() - 1);
        const uint32_t i = uint32_t(x);
        if (i + 1 >= m_Colors.size())
            return m_Colors.back();
        const float f = x - float(i);
        return m_Colors[i] + (m_Colors[i + 1] - m_Colors[i]) * f;
    }
    /// The table colour nearest to position t in [0, 1] (clamped).
    glm::vec3 GetTableColor(float t) const;

    /// Writes the table into `image` as a vertical strip `width` texels wide
    /// and `GetSize()` high, opaque, the maximum in the top row (rows run
    /// from the top, as images do): drawn on a plane whose v runs upwards it
    /// reads from the minimum at the bottom. The image's version is raised.
    /// A width of 0 or above `ImageTexture2D::kMaxSize` logs "Image size is
    /// invalid!" and returns false.
    bool CreateImage(ImageTexture2D& image, uint32_t width = 1) const;
    /// The same into a new texture (clamped, linear filtering).
    std::shared_ptr<ImageTexture2D> CreateImage() const;

private:
    void Rebuild();
    void UpdateScale();

    std::shared_ptr<ColorMapKeyword> m_ColorMap;
    std::vector<glm::vec3> m_Colors;
    float m_Minimum = 0.0f;
    float m_Maximum = 1.0f;
    float m_Scale = 1.0f; // 1 / (maximum - minimum), 0 for a single point
};

} // namespace orvcore
