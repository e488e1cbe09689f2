#include <orvkernel/ImageTexture2D.h>

#include <orvcommon/Logger.h>

#include <cstring>

namespace orvcore {

ImageTexture2D::ImageTexture2D(unsigned int width, unsigned int height, const uint8_t* rgba)
{
    SetImage(width, height, rgba);
}

void ImageTexture2D::SetImage(unsigned int width, unsigned int height, const uint8_t* rgba)
{
    if (width > kMaxSize || height > kMaxSize) {
        Logger::Instance().Waring("Image size is invalid!");
        return;
    }
    if (width == 0 || height == 0) {
        m_Width = 0;
        m_Height = 0;
        m_Pixels.clear();
        RaiseVersion();
        return;
    }
    // At most 16384^2 * 4 bytes: fits a size_t on every 64-bit target.
    const std::size_t bytes = std::size_t(width) * std::size_t(height) * 4u;
    if (rgba)
        m_Pixels.assign(rgba, rgba + bytes);
    else
        m_Pixels.assign(bytes, 0u);
    m_Width = width;
    m_Height = height;
    RaiseVersion();
}

} // namespace orvcore
