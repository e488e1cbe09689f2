#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvcore {

/// Reads PNG and JPEG files (and the other formats stb_image knows) into
/// RGBA8 pixels, rows from the top.
struct ImageDecoder {
    /// False with "Image file cannot be read: <path>!" when the file is
    /// missing or not an image; the outputs are then left alone.
    static bool Decode(const std::string& path, unsigned int& width, unsigned int& height,
                       std::vector<uint8_t>& rgba);
};

} // namespace orvcore
