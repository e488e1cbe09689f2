#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct GifFileType;

namespace orvrender {

/// Writes an animated GIF (giflib): frames of RGBA pixels, each quantised to
/// a palette of its own, shown in a loop that never ends.
class GifWriter {
public:
    GifWriter() = default;
    ~GifWriter();
    GifWriter(const GifWriter&) = delete;
    GifWriter& operator=(const GifWriter&) = delete;

    /// Creates the file; false with the reason in `error`.
    bool Open(const std::string& path, unsigned int width, unsigned int height, std::string& error);
    /// Appends a frame of width x height RGBA8 pixels (rows from the top),
    /// shown for `delayCentiseconds`.
    bool AddFrame(const uint8_t* rgba, unsigned int delayCentiseconds, std::string& error);
    /// Finishes the file; false when it could not be written completely.
    bool Close(std::string& error);

private:
    GifFileType* m_File = nullptr;
    unsigned int m_Width = 0;
    unsigned int m_Height = 0;
    std::vector<uint8_t> m_Red, m_Green, m_Blue, m_Indices;
};

} // namespace orvrender
