#pragma once

#include <cstddef>
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
    /// As `Decode`, from the bytes of an image file in memory; false without
    /// a warning when they are not an image (or more than 2 GiB), or when
    /// the image is larger than `maxSide` on a side (checked before decoding).
    static bool DecodeMemory(const uint8_t* bytes, std::size_t size, unsigned int& width, unsigned int& height,
                             std::vector<uint8_t>& rgba, unsigned int maxSide = 16384);
};

} // namespace orvcore
