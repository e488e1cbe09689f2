#pragma once

#include <memory>
#include <string>

// FreeType's face record, named here only so that the font kinds of the
// kernel can share the faces the manager opened.
struct FT_FaceRec_;

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
    ///
    /// Triangles are non-indexed and counter-clockwise seen from +Z. A '\n'
    /// starts a new line 1.2 em below the previous one, back at x = 0; a
    /// '\r' is ignored.
    std::shared_ptr<BufferGeometry> CreateMesh(const std::wstring& text);

    /// Path of the default face.
    const std::string& GetDefaultFontPath() const;

    ~FontManager();

    class Impl;

private:
    FontManager();
    FontManager(const FontManager&) = delete;
    FontManager& operator=(const FontManager&) = delete;

    /// The default face, opened on first use; null once it failed to open
    /// (the failure is logged once).
    FT_FaceRec_* GetDefaultFace();
    /// The face of a font file, opened on first use and kept; null, with a
    /// warning, when the file cannot be opened as a font.
    FT_FaceRec_* GetFace(const std::string& path);

    std::unique_ptr<Impl> m_Impl;

    friend class FontMaterial;
};

} // namespace orvcore
