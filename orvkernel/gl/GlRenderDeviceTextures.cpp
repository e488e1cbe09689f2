#include <orvkernel/gl/GlRenderDevice.h>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/texture/ImageTexture2D.h>
#include <orvkernel/texture/ImageTextureCube.h>
#include <orvkernel/texture/TargetTexture.h>
#include <orvkernel/texture/TextureTarget.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include <epoxy/gl.h>

// Textures of the OpenGL device: image and cube textures uploaded when their
// version changes, and render targets' attachments bound for sampling.

namespace orvcore {

namespace {

constexpr unsigned int kColorAttachment = 0x8CE0;
constexpr unsigned int kDepthAttachment = 0x8D00;

} // namespace

unsigned int GlRenderDevice::SyncTexture(const std::shared_ptr<Texture>& texture, uint32_t unit)
{
    // A target's colour texture: what was drawn into it, resolved.
    if (const TargetTexture* drawn = TargetTexture::Cast(texture.get())) {
        const std::shared_ptr<TextureTarget> target = drawn->GetTarget();
        TargetEntry* entry = target ? SyncTarget(target) : nullptr;
        if (!entry)
            return 0;
        ResolveTarget(*entry, true, false);
        return entry->colorTexture;
    }
    const ImageTexture2D* image = dynamic_cast<const ImageTexture2D*>(texture.get());
    const ImageTextureCube* cube = dynamic_cast<const ImageTextureCube*>(texture.get());
    if (!image && !cube)
        return 0;
    TextureEntry& entry = m_Textures[texture->GetObjectId()];
    if (entry.texture != 0 && entry.version == texture->GetVersion())
        return entry.texture;
    if (entry.texture == 0) {
        entry.owner = texture;
        glGenTextures(1, &entry.texture);
    }
    entry.version = texture->GetVersion();
    const GLenum target = image ? GL_TEXTURE_2D : GL_TEXTURE_CUBE_MAP;
    m_State.BindTexture(unit, target, entry.texture);
    const uint8_t clear[4] = {0, 0, 0, 0};
    if (image && image->IsEmpty()) {
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, clear);
    } else if (image) {
        // Image rows run from the top; GL rows from the bottom (uv v = 0).
        const unsigned int width = image->GetWidth();
        const unsigned int height = image->GetHeight();
        const std::size_t rowBytes = std::size_t(width) * 4;
        const std::vector<uint8_t>& pixels = image->GetPixels();
        std::vector<uint8_t> flipped(pixels.size());
        for (unsigned int row = 0; row < height; ++row)
            std::memcpy(&flipped[std::size_t(height - 1 - row) * rowBytes], &pixels[std::size_t(row) * rowBytes],
                        rowBytes);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, GLsizei(width), GLsizei(height), 0, GL_RGBA, GL_UNSIGNED_BYTE,
                     flipped.data());
    } else {
        // Cube faces keep their rows from the top: that is how cube-map
        // faces are laid out (t grows downwards on every face).
        const unsigned int size = cube->IsEmpty() ? 0 : cube->GetWidth();
        for (unsigned int face = 0; face < 6; ++face) {
            const std::vector<uint8_t>& pixels = cube->GetFace(face);
            const bool whole = size != 0 && pixels.size() == std::size_t(size) * size * 4;
            glTexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + face, 0, GL_RGBA8, whole ? GLsizei(size) : 1,
                         whole ? GLsizei(size) : 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, whole ? pixels.data() : clear);
        }
    }
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, image ? GLint(image->GetMinFilter()) : GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, image ? GLint(image->GetMagFilter()) : GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, image ? GLint(image->GetWrapU()) : GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, image ? GLint(image->GetWrapV()) : GL_CLAMP_TO_EDGE);
    if (cube)
        glTexParameteri(target, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
    ++m_TextureUploadCount;
    return entry.texture;
}

void GlRenderDevice::ActiveTexture(uint32_t unit, const std::shared_ptr<Texture>& texture)
{
    if (unit >= GlStateCache::kTextureUnits) {
        Logger::Instance().Waring("Texture unit is out of range!");
        return;
    }
    if (!texture) {
        m_State.BindTexture(unit, GL_TEXTURE_2D, 0);
        return;
    }
    const unsigned int name = SyncTexture(texture, unit);
    if (name == 0) {
        WarnOnce(texture->GetObjectId(), "Texture type is not supported!");
        return;
    }
    m_State.BindTexture(unit, texture->GetTextureType() == TEXTURE_CUBE_MAP ? GL_TEXTURE_CUBE_MAP : GL_TEXTURE_2D,
                        name);
}

void GlRenderDevice::ActiveTexture(uint32_t unit, const std::shared_ptr<RenderTarget>& target, uint32_t attachment)
{
    if (unit >= GlStateCache::kTextureUnits) {
        Logger::Instance().Waring("Texture unit is out of range!");
        return;
    }
    if (!target) {
        Logger::Instance().Waring("Render target is null!");
        return;
    }
    if (attachment != kColorAttachment && attachment != kDepthAttachment) {
        Logger::Instance().Waring("Render target attachment is not supported!");
        return;
    }
    TargetEntry* entry = SyncTarget(target);
    if (!entry)
        return;
    ResolveTarget(*entry, attachment == kColorAttachment, attachment == kDepthAttachment);
    m_State.BindTexture(unit, GL_TEXTURE_2D, attachment == kColorAttachment ? entry->colorTexture : entry->depthTexture);
}

} // namespace orvcore
