#pragma once

#include <memory>
#include <string>

namespace orvcore {

class BufferGeometry;

/// Glyph outlines and rasters from FreeType. The default face is DejaVu Sans
/// (Debian's fonts-dejavu-core); a missing font file logs a warning and
/// yields empty results.
class FontManager {
public:
    static FontManager& Instance();

    /// The string as a triangle mesh in the XY plane: glyph outlines
    /// flattened and triangulated, baseline along +X from the origin, one
    /// unit per em, normals +Z. Glyphs the face lacks use its missing-glyph
    /// outline; an empty string gives an empty geometry.
    std::shared_ptr<BufferGeometry> CreateMesh(const std::wstring& text);

    /// Path of the default face.
    const std::string& GetDefaultFontPath() const;

    ~FontManager();

    class Impl;

private:
    FontManager();
    FontManager(const FontManager&) = delete;
    FontManager& operator=(const FontManager&) = delete;
    std::unique_ptr<Impl> m_Impl;

    friend class FontMaterial;
};

} // namespace orvcore
