#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <orvkernel/Texture.h>

namespace orvcore {

/// A 2D texture over an RGBA image with 8 bits per channel, rows from the
/// top, kept on the CPU (the device uploads it).
class ImageTexture2D : public Texture {
public:
    static constexpr unsigned int kMaxSize = 16384;

    ImageTexture2D() = default;
    ImageTexture2D(unsigned int width, unsigned int height, const uint8_t* rgba = nullptr);

    uint32_t GetTextureType() const override { return TEXTURE_2D; }
    unsigned int GetWidth() const override { return m_Width; }
    unsigned int GetHeight() const override { return m_Height; }

    /// Replaces the image with a copy of `width * height * 4` bytes (a null
    /// `rgba` gives transparent black); raises the version. Sizes of 0 give an
    /// empty image; a side over `kMaxSize` logs "Image size is invalid!" and
    /// keeps the old image.
    void SetImage(unsigned int width, unsigned int height, const uint8_t* rgba);
    const std::vector<uint8_t>& GetPixels() const { return m_Pixels; }
    std::vector<uint8_t>& GetPixels() { return m_Pixels; }
    bool IsEmpty() const { return m_Pixels.empty(); }

private:
    unsigned int m_Width = 0;
    unsigned int m_Height = 0;
    std::vector<uint8_t> m_Pixels;
};

} // namespace orvcore
