#pragma once

#include <orvkernel/device/GfxObject.h>

namespace orvcore {

/// An off-screen drawing target (colour and depth). The OpenGL device gives
/// it framebuffer objects; the CPU side only knows its size.
class RenderTarget : public GfxObject {
public:
    RenderTarget(unsigned int width, unsigned int height) : m_Width(width), m_Height(height) {}
    ~RenderTarget() override;

    unsigned int GetWidth() const { return m_Width; }
    unsigned int GetHeight() const { return m_Height; }
    void Resize(unsigned int width, unsigned int height)
    {
        m_Width = width;
        m_Height = height;
    }

private:
    unsigned int m_Width;
    unsigned int m_Height;
};

} // namespace orvcore
