#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <orvkernel/texture/Texture.h>

namespace orvcore {

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

private:
    /// Decodes a pending file (the image is a cache of it until then).
    void Resolve() const;

    mutable unsigned int m_Width = 0;
    mutable unsigned int m_Height = 0;
    mutable std::vector<uint8_t> m_Pixels;
    mutable std::string m_PendingPath;
};

} // namespace orvcore
