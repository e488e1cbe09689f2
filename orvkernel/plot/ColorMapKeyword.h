#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <glm/vec3.hpp>

namespace orvcore {

/// One control point of a colour map: a position t in [0, 1] along the map
/// and a colour as 0xRRGGBB (read with `Math::colorFromHex`).
struct ColorMapEntry {
    float Position = 0.0f;
    uint32_t Color = 0;
};

/// A colour map: control points ordered by position, with colours linearly
/// interpolated (in sRGB components) between them. Below the first and above
/// the last point the end colours hold.
///
/// Named maps (`Create`) cover what a scientist expects by name:
/// - the perceptually uniform sequential maps "viridis", "plasma", "magma"
///   and "inferno", and the rainbow-like "turbo": each is the published
///   256-colour table sampled at 65 points (every fourth colour and the
///   last), so the interpolated map stays within 1.5/255 of the table;
/// - "cividis" (colour-vision-deficiency friendly): 17 points of its authors'
///   table, within about 3/255 of it;
/// - "cool-warm": Moreland's diverging smooth cool-warm map, his 33-point
///   table;
/// - "jet" (dark blue, blue, cyan, yellow, red, dark red at 0, 1/8, 3/8,
///   5/8, 7/8, 1), "rainbow" (blue, cyan, green, yellow, red in quarters)
///   and "grayscale" (black to white).
/// Names are matched ignoring case, '-', '_' and spaces ("CoolWarm",
/// "cool_warm"); "gray", "grey" and "greyscale" name the grey map.
class ColorMapKeyword {
public:
    using const_iterator = std::vector<ColorMapEntry>::const_iterator;

    ColorMapKeyword() = default;
    explicit ColorMapKeyword(const std::string& name) : m_Name(name) {}

    /// A new copy of a named map, or an empty pointer after the warning
    /// "Color map is unknown!".
    static std::shared_ptr<ColorMapKeyword> Create(const std::string& name);
    /// Whether `Create` knows the name (quietly).
    static bool IsNamed(const std::string& name);
    /// The canonical names of the built-in maps.
    static const std::vector<std::string>& GetNames();

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }

    /// Inserts a control point after any with the same position (two points
    /// at one position make a hard step). A position outside [0, 1] or not a
    /// number logs "Color map position is out of range!", a colour above
    /// 0xFFFFFF "Color is out of range!"; both return false and change
    /// nothing.
    bool AddEntry(float position, uint32_t color);
    void Clear() { m_Entries.clear(); }

    std::size_t GetCount() const { return m_Entries.size(); }
    bool IsEmpty() const { return m_Entries.empty(); }
    /// Entry i (unchecked).
    const ColorMapEntry& GetEntry(std::size_t i) const { return m_Entries[i]; }
    const_iterator begin() const { return m_Entries.begin(); }
    const_iterator end() const { return m_Entries.end(); }

    /// The map's colour at t, components in [0, 1]. t is clamped to [0, 1]
    /// and a NaN reads as 0; an empty map gives black.
    glm::vec3 GetColor(float t) const;

    /// A map of `count` (at least 2) evenly spaced points carrying this map's
    /// colours at those positions, rounded to 8 bits: the points of a legend
    /// with `count` labels. A count below 2 logs "Color map needs at least two
    /// entries!" and gives an empty pointer.
    std::shared_ptr<ColorMapKeyword> Resample(uint32_t count) const;

private:
    std::string m_Name;
    std::vector<ColorMapEntry> m_Entries;
};

} // namespace orvcore
