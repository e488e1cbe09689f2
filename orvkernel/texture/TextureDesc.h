#pragma once

#include <cstdint>

namespace orvcore {

/// How the colour texture of a `TextureTarget` is made, as the OpenGL
/// values: kind, internal format, pixel format and type, minification and
/// magnification filters, wrap modes along s and t. The defaults are a 2D
/// RGBA8 texture, linearly filtered and clamped to its edge.
struct TextureDesc {
    uint32_t Target = 0x0DE1;         ///< GL_TEXTURE_2D
    uint32_t InternalFormat = 0x8058; ///< GL_RGBA8
    uint32_t Format = 0x1908;         ///< GL_RGBA
    uint32_t Type = 0x1401;           ///< GL_UNSIGNED_BYTE
    uint32_t MinFilter = 0x2601;      ///< GL_LINEAR
    uint32_t MagFilter = 0x2601;      ///< GL_LINEAR
    uint32_t WrapS = 0x812F;          ///< GL_CLAMP_TO_EDGE
    uint32_t WrapT = 0x812F;          ///< GL_CLAMP_TO_EDGE

    bool operator==(const TextureDesc& o) const
    {
        return Target == o.Target && InternalFormat == o.InternalFormat && Format == o.Format && Type == o.Type &&
               MinFilter == o.MinFilter && MagFilter == o.MagFilter && WrapS == o.WrapS && WrapT == o.WrapT;
    }
    bool operator!=(const TextureDesc& o) const { return !(*this == o); }
};

} // namespace orvcore
