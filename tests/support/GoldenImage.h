#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/texture/ImageDecoder.h>
#include <orvkernel/texture/ImageTexture2D.h>

namespace orvtest {

/// Golden-image comparison: a pixel differs when a channel is off by more
/// than `kTolerance`; an image matches when at most `kMaxDifferingFraction`
/// of its pixels differ. On failure the actual image and a difference image
/// (differing pixels red over a dimmed copy) are written to
/// ORVCORE_GOLDEN_FAILURE_DIR (golden-failures/ in the build's tests folder)
/// and both paths are printed. With ORVCORE_UPDATE_GOLDENS=1 the golden is
/// rewritten and the test skipped.
// Frames are multisampled: anti-aliased edge pixels may move by a shade
// between drivers, hence the margins.
constexpr int kTolerance = 16;
constexpr double kMaxDifferingFraction = 0.01;

inline void ExpectMatchesGolden(const std::string& golden, const std::string& name, const orvcore::ImageTexture2D& image)
{
    const char* update = std::getenv("ORVCORE_UPDATE_GOLDENS");
    if (update && std::string(update) == "1") {
        ASSERT_TRUE(orvcore::GlRenderDevice::SavePng(golden, image.GetWidth(), image.GetHeight(),
                                                     image.GetPixels().data()));
        GTEST_SKIP() << "golden rewritten: " << golden;
    }
    unsigned int w = 0, h = 0;
    std::vector<uint8_t> expected;
    ASSERT_TRUE(orvcore::ImageDecoder::Decode(golden, w, h, expected)) << "missing golden " << golden;
    ASSERT_EQ(w, image.GetWidth());
    ASSERT_EQ(h, image.GetHeight());
    const std::vector<uint8_t>& actual = image.GetPixels();
    std::vector<uint8_t> diff(actual.size());
    std::size_t differing = 0;
    for (std::size_t i = 0; i + 3 < actual.size(); i += 4) {
        int worst = 0;
        for (int k = 0; k < 4; ++k)
            worst = std::max(worst, std::abs(int(actual[i + k]) - int(expected[i + k])));
        const bool differs = worst > kTolerance;
        differing += differs ? 1 : 0;
        const uint8_t grey = uint8_t((actual[i] + actual[i + 1] + actual[i + 2]) / 12);
        diff[i] = differs ? 255 : grey;
        diff[i + 1] = diff[i + 2] = differs ? 0 : grey;
        diff[i + 3] = 255;
    }
    const double fraction = double(differing) / double(w * h);
    if (fraction > kMaxDifferingFraction) {
        const std::filesystem::path dir = ORVCORE_GOLDEN_FAILURE_DIR;
        std::error_code ignored;
        std::filesystem::create_directories(dir, ignored);
        const std::string actualPath = (dir / (name + ".actual.png")).string();
        const std::string diffPath = (dir / (name + ".diff.png")).string();
        const bool saved = orvcore::GlRenderDevice::SavePng(actualPath, w, h, actual.data()) &&
                           orvcore::GlRenderDevice::SavePng(diffPath, w, h, diff.data());
        ADD_FAILURE() << name << ": " << differing << " pixels differ (" << fraction * 100.0 << "%)"
                      << (saved ? "" : ", and the images below could not be written") << "\n  actual image: "
                      << actualPath << "\n  difference image: " << diffPath;
    }
}

} // namespace orvtest
