#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <orvkernel/texture/Texture.h>

namespace orvcore {

/// A cube-map texture of six square RGBA8 faces in the order +X, -X, +Y,
/// -Y, +Z, -Z as they are given, kept on the CPU (the device uploads it).
class ImageTextureCube : public Texture {
public:
    uint32_t GetTextureType() const override { return TEXTURE_CUBE_MAP; }
    unsigned int GetWidth() const override;
    unsigned int GetHeight() const override;

    /// Decodes six files now; all faces must have one size. On failure the
    /// cube is left empty with a warning and false is returned.
    bool Load(const std::array<std::string, 6>& paths);
    /// Remembers the files and decodes them when the faces are first needed.
    void LoadAsync(const std::array<std::string, 6>& paths);
    bool IsPending() const { return !m_PendingPaths[0].empty(); }

    /// Face i (0..5); empty when not loaded.
    const std::vector<uint8_t>& GetFace(unsigned int index) const;
    bool IsEmpty() const;

private:
    void Resolve() const;
    bool Decode(const std::array<std::string, 6>& paths) const;

    mutable unsigned int m_Size = 0;
    mutable std::array<std::vector<uint8_t>, 6> m_Faces;
    mutable std::array<std::string, 6> m_PendingPaths;
};

} // namespace orvcore
