#include <orvkernel/texture/ImageDecoder.h>

#include <orvcommon/Logger.h>

// stb_image's implementation lives in this one file; its header is a
// system header, so its own warnings stay out of the build.
#define STB_IMAGE_IMPLEMENTATION
#include <stb/stb_image.h>

namespace orvcore {

namespace {

/// Copies and frees what stb decoded (four channels); false, having freed
/// it, when nothing usable came out.
bool TakePixels(stbi_uc* data, int w, int h, unsigned int& width, unsigned int& height, std::vector<uint8_t>& rgba)
{
    if (!data || w <= 0 || h <= 0) {
        if (data)
            stbi_image_free(data);
        return false;
    }
    width = unsigned(w);
    height = unsigned(h);
    rgba.assign(data, data + std::size_t(w) * std::size_t(h) * 4u);
    stbi_image_free(data);
    return true;
}

} // namespace

bool ImageDecoder::Decode(const std::string& path, unsigned int& width, unsigned int& height,
                          std::vector<uint8_t>& rgba)
{
    int w = 0, h = 0, channels = 0;
    stbi_uc* data = stbi_load(path.c_str(), &w, &h, &channels, 4);
    if (!TakePixels(data, w, h, width, height, rgba)) {
        Logger::Instance().Waring("Image file cannot be read: " + path + "!");
        return false;
    }
    return true;
}

bool ImageDecoder::DecodeMemory(const uint8_t* bytes, std::size_t size, unsigned int& width, unsigned int& height,
                                std::vector<uint8_t>& rgba, unsigned int maxSide)
{
    if (!bytes || size == 0 || size > std::size_t(0x7fffffff))
        return false;
    int w = 0, h = 0, channels = 0;
    if (!stbi_info_from_memory(bytes, int(size), &w, &h, &channels) || w <= 0 || h <= 0 || unsigned(w) > maxSide ||
        unsigned(h) > maxSide)
        return false;
    return TakePixels(stbi_load_from_memory(bytes, int(size), &w, &h, &channels, 4), w, h, width, height, rgba);
}

} // namespace orvcore
