#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <glm/vec3.hpp>
#include <gtest/gtest.h>

namespace orvtest {

/// A folder of this process's own for the files a test writes: ctest runs
/// each test in its own process, several at once.
inline const std::string& Scratch()
{
    static const std::string dir = [] {
        const std::string path = ::testing::TempDir() + "orvtest-" + std::to_string(::getpid()) + "/";
        std::filesystem::create_directories(path);
        return path;
    }();
    return dir;
}

/// Writes a file into the scratch folder; its path.
inline std::string Write(const std::string& name, const std::string& content)
{
    const std::string path = Scratch() + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

/// A small binary PPM image whose pixel (x, y), rows from the top, is colour(x, y).
template <typename Colour>
void WritePpm(const std::string& path, unsigned int w, unsigned int h, Colour colour)
{
    std::ofstream out(path, std::ios::binary);
    out << "P6\n" << w << " " << h << "\n255\n";
    for (unsigned int y = 0; y < h; ++y)
        for (unsigned int x = 0; x < w; ++x) {
            const glm::ivec3 c = colour(x, y);
            out.put(char(c.r)).put(char(c.g)).put(char(c.b));
        }
}

} // namespace orvtest
