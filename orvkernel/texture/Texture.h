#pragma once

#include <cstdint>

#include <orvkernel/device/GfxObject.h>

namespace orvcore {

/// Texture kinds, as the OpenGL target values.
enum EnumTextureType : uint32_t {
    TEXTURE_2D = 0x0DE1,
    TEXTURE_CUBE_MAP = 0x8513,
};

/// Base of the textures a material samples. The device uploads a texture
/// again when its version moved.
class Texture : public GfxObject {
public:
    ~Texture() override;

    virtual uint32_t GetTextureType() const = 0;
    virtual unsigned int GetWidth() const = 0;
    virtual unsigned int GetHeight() const = 0;

    uint32_t GetVersion() const { return m_Version; }
    void RaiseVersion() { ++m_Version; }

private:
    uint32_t m_Version = 0;
};

} // namespace orvcore
