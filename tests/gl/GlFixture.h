#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include <LogCapture.h>
#include <ShapeFactory.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/texture/ImageTexture2D.h>

namespace orvtest {

/// A colour read back from the framebuffer.
struct Rgba {
    int r = 0, g = 0, b = 0, a = 0;
};

inline std::ostream& operator<<(std::ostream& out, const Rgba& c)
{
    return out << "(" << c.r << "," << c.g << "," << c.b << "," << c.a << ")";
}

/// Whether two colours agree within `tolerance` on every channel.
inline bool Near(const Rgba& c, const Rgba& expected, int tolerance = 2)
{
    return std::abs(c.r - expected.r) <= tolerance && std::abs(c.g - expected.g) <= tolerance &&
           std::abs(c.b - expected.b) <= tolerance && std::abs(c.a - expected.a) <= tolerance;
}

/// A headless context of kSize x kSize pixels with a device on it, the log
/// captured. Every test ends with no GL error reported by the debug output
/// and none pending.
class GlTest : public ::testing::Test {
protected:
    static constexpr unsigned int kSize = 64;

    void SetUp() override
    {
        context = orvcore::EglContext::Create(kSize, kSize, 1);
        ASSERT_TRUE(context) << "no headless OpenGL context";
        device = std::make_unique<orvcore::GlRenderDevice>(context->GetFramebuffer(), kSize, kSize);
    }

    void TearDown() override
    {
        if (!context)
            return;
        device.reset();
        EXPECT_EQ(context->GetGlErrorCount(), 0u);
        EXPECT_EQ(context->TakeGlError(), 0u);
        for (const std::string& text : log.others)
            EXPECT_EQ(text.find("OpenGL error"), std::string::npos) << text;
    }

    /// Normalised device coordinates of a pixel position (bottom-left origin,
    /// integers at pixel corners) of the default framebuffer.
    static glm::vec3 Ndc(float x, float y, float z = 0.0f)
    {
        return glm::vec3(x / float(kSize) * 2.0f - 1.0f, y / float(kSize) * 2.0f - 1.0f, z);
    }

    /// Reads the current target once; `At` then answers from the copy.
    void Read() { image = device->ReadPixels(); }
    /// The pixel at column x, row y counted from the bottom.
    Rgba At(unsigned int x, unsigned int y) const
    {
        const unsigned int row = image->GetHeight() - 1 - y;
        const uint8_t* p = &image->GetPixels()[(std::size_t(row) * image->GetWidth() + x) * 4];
        return Rgba{p[0], p[1], p[2], p[3]};
    }
    /// Pixels of a row (or column) whose red, green or blue exceeds 127.
    int LitInRow(unsigned int y) const { return Lit(0, y, 1, 0, image->GetWidth()); }
    int LitInColumn(unsigned int x) const { return Lit(x, 0, 0, 1, image->GetHeight()); }
    int Lit(unsigned int x, unsigned int y, unsigned int dx, unsigned int dy, unsigned int n) const
    {
        int count = 0;
        for (unsigned int i = 0; i < n; ++i) {
            const Rgba c = At(x + i * dx, y + i * dy);
            count += (c.r > 127 || c.g > 127 || c.b > 127) ? 1 : 0;
        }
        return count;
    }

    void ClearBlack() { ClearTo(glm::vec4(0.0f, 0.0f, 0.0f, 1.0f)); }
    void ClearTo(const glm::vec4& colour)
    {
        device->SetClearColor(colour);
        device->ClearBuffers(orvcore::CLEAR_COLOR | orvcore::CLEAR_DEPTH);
    }

    /// Clears to black, draws all of the geometry with the material and reads
    /// the result; whether the material could be activated.
    bool Paint(const std::shared_ptr<orvcore::MaterialInstance>& m, const std::shared_ptr<orvcore::BufferGeometry>& g)
    {
        ClearBlack();
        const bool active = device->ActiveMaterial(m) != nullptr;
        device->Draw(g.get(), 0, 0);
        Read();
        return active;
    }

    LogCapture log;
    std::unique_ptr<orvcore::EglContext> context;
    std::unique_ptr<orvcore::GlRenderDevice> device;
    std::shared_ptr<orvcore::ImageTexture2D> image;
};

} // namespace orvtest
