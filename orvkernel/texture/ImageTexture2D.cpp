#include <orvkernel/texture/ImageTexture2D.h>

#include <orvcommon/Logger.h>
#include <orvkernel/texture/ImageDecoder.h>

#include <cstring>

namespace orvcore {

ImageTexture2D::ImageTexture2D(unsigned int width, unsigned int height, const uint8_t* rgba)
{
    SetImage(width, height, rgba);
}

bool ImageTexture2D::Load(const std::string& path)
{
    m_PendingPath.clear();
    unsigned int w = 0, h = 0;
    std::vector<uint8_t> pixels;
    if (!ImageDecoder::Decode(path, w, h, pixels) || w > kMaxSize || h > kMaxSize) {
        SetImage(0, 0, nullptr);
        return false;
    }
    m_Width = w;
    m_Height = h;
    m_Pixels = std::move(pixels);
    RaiseVersion();
    return true;
}

void ImageTexture2D::LoadAsync(const std::string& path)
{
    m_PendingPath = path;
    RaiseVersion();
}

void ImageTexture2D::Resolve() const
{
    if (m_PendingPath.empty())
        return;
    const std::string path = std::move(m_PendingPath);
    m_PendingPath.clear();
    unsigned int w = 0, h = 0;
    std::vector<uint8_t> pixels;
    if (ImageDecoder::Decode(path, w, h, pixels) && w <= kMaxSize && h <= kMaxSize) {
        m_Width = w;
        m_Height = h;
        m_Pixels = std::move(pixels);
    } else {
        m_Width = m_Height = 0;
        m_Pixels.clear();
    }
}

void ImageTexture2D::SetImage(unsigned int width, unsigned int height, const uint8_t* rgba)
{
    m_PendingPath.clear();
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

namespace {

bool IsWrap(uint32_t mode)
{
    return mode == TEXTURE_WRAP_REPEAT || mode == TEXTURE_WRAP_CLAMP || mode == TEXTURE_WRAP_MIRROR;
}

bool IsFilter(uint32_t mode) { return mode == TEXTURE_FILTER_NEAREST || mode == TEXTURE_FILTER_LINEAR; }

} // namespace

void ImageTexture2D::SetWrap(uint32_t wrapU, uint32_t wrapV)
{
    if (!IsWrap(wrapU) || !IsWrap(wrapV)) {
        Logger::Instance().Waring("Texture mode is invalid!");
        return;
    }
    if (wrapU != m_WrapU || wrapV != m_WrapV) {
        m_WrapU = wrapU;
        m_WrapV = wrapV;
        RaiseVersion();
    }
}

void ImageTexture2D::SetFilter(uint32_t magnify, uint32_t minify)
{
    if (!IsFilter(magnify) || !IsFilter(minify)) {
        Logger::Instance().Waring("Texture mode is invalid!");
        return;
    }
    if (magnify != m_MagFilter || minify != m_MinFilter) {
        m_MagFilter = magnify;
        m_MinFilter = minify;
        RaiseVersion();
    }
}

} // namespace orvcore
