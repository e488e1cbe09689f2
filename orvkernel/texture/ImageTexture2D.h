#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <orvkernel/texture/Texture.h>

namespace orvcore {

/// How a 2D texture repeats outside [0, 1], as the OpenGL values.
enum EnumTextureWrap : uint32_t {
    TEXTURE_WRAP_REPEAT = 0x2901,
    TEXTURE_WRAP_CLAMP = 0x812F, ///< clamp to the edge texels
    TEXTURE_WRAP_MIRROR = 0x8370,
};

/// How a 2D texture is sampled between texels, as the OpenGL values.
enum EnumTextureFilter : uint32_t {
    TEXTURE_FILTER_NEAREST = 0x2600,
    TEXTURE_FILTER_LINEAR = 0x2601,
};

/// A 2D texture over an RGBA image with 8 bits per channel, rows from the
/// top, kept on the CPU (the device uploads it).
class ImageTexture2D : public Texture {
public:
    static constexpr unsigned int kMaxSize = 16384;

    ImageTexture2D() = default;
    ImageTexture2D(unsigned int width, unsigned int height, const uint8_t* rgba = nullptr);

    uint32_t GetTextureType() const override { return TEXTURE_2D; }
    unsigned int GetWidth() const override
    {
        Resolve();
        return m_Width;
    }
    unsigned int GetHeight() const override
    {
        Resolve();
        return m_Height;
    }

    /// Decodes an image file (PNG, JPEG) now. A file that cannot be read logs
    /// a warning, leaves an empty image and returns false.
    bool Load(const std::string& path);
    /// Remembers the file and decodes it when the image is first needed (the
    /// size or the pixels are asked for); raises the version at once so that
    /// the device fetches it.
    void LoadAsync(const std::string& path);
    bool IsPending() const { return !m_PendingPath.empty(); }

    /// Replaces the image with a copy of `width * height * 4` bytes (a null
    /// `rgba` gives transparent black); raises the version. Sizes of 0 give an
    /// empty image; a side over `kMaxSize` logs "Image size is invalid!" and
    /// keeps the old image.
    void SetImage(unsigned int width, unsigned int height, const uint8_t* rgba);
    const std::vector<uint8_t>& GetPixels() const
    {
        Resolve();
        return m_Pixels;
    }
    std::vector<uint8_t>& GetPixels()
    {
        Resolve();
        return m_Pixels;
    }
    bool IsEmpty() const { return GetPixels().empty(); }

    /// Wrap modes along u and v (`EnumTextureWrap`; default clamp) and the
    /// magnifying and minifying filters (`EnumTextureFilter`; default
    /// linear). A change raises the version; an unknown value logs
    /// "Texture mode is invalid!" and is ignored.
    void SetWrap(uint32_t wrapU, uint32_t wrapV);
    void SetFilter(uint32_t magnify, uint32_t minify);
    uint32_t GetWrapU() const { return m_WrapU; }
    uint32_t GetWrapV() const { return m_WrapV; }
    uint32_t GetMagFilter() const { return m_MagFilter; }
    uint32_t GetMinFilter() const { return m_MinFilter; }

private:
    /// Decodes a pending file (the image is a cache of it until then).
    void Resolve() const;

    mutable unsigned int m_Width = 0;
    mutable unsigned int m_Height = 0;
    mutable std::vector<uint8_t> m_Pixels;
    mutable std::string m_PendingPath;
    uint32_t m_WrapU = TEXTURE_WRAP_CLAMP;
    uint32_t m_WrapV = TEXTURE_WRAP_CLAMP;
    uint32_t m_MagFilter = TEXTURE_FILTER_LINEAR;
    uint32_t m_MinFilter = TEXTURE_FILTER_LINEAR;
};

} // namespace orvcore
