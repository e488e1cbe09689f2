#pragma once

#include <orvkernel/device/GfxObject.h>

namespace orvcore {

/// An off-screen drawing target (colour and depth). The OpenGL device gives
/// it framebuffer objects; the CPU side only knows its size and how many
/// samples per pixel it is drawn with.
class RenderTarget : public GfxObject {
public:
    RenderTarget(unsigned int width, unsigned int height, unsigned int samples = 0)
        : m_Width(width), m_Height(height), m_Samples(samples)
    {
    }
    ~RenderTarget() override;

    unsigned int GetWidth() const { return m_Width; }
    unsigned int GetHeight() const { return m_Height; }
    void Resize(unsigned int width, unsigned int height)
    {
        m_Width = width;
        m_Height = height;
    }

    /// Samples per pixel: 0 takes the device's default for targets, 1 draws
    /// single-sampled (depth maps, targets read pixel by pixel), more draws
    /// multisampled; the device resolves into the target's textures before
    /// they are sampled or read back.
    unsigned int GetSamples() const { return m_Samples; }
    void SetSamples(unsigned int samples) { m_Samples = samples; }

private:
    unsigned int m_Width;
    unsigned int m_Height;
    unsigned int m_Samples;
};

} // namespace orvcore
