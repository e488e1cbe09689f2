#pragma once

#include <memory>

#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/texture/TextureDesc.h>

namespace orvcore {

class TargetTexture;

/// A render target whose colour texture is described by a `TextureDesc` and
/// can be handed to materials like any texture (`GetTexture`): a pass draws
/// into the target, and a material samples what it drew.
///
/// The device makes the colour texture with the description: 2D only, with
/// one of the 8-bit formats the OpenGL device knows (RGBA8, RGB8, R8); any
/// other description is drawn as RGBA8 with the description's filters and
/// wrap modes, with a warning. Texture targets are drawn single-sampled
/// unless `SetSamples` asks for more.
class TextureTarget : public RenderTarget, public std::enable_shared_from_this<TextureTarget> {
public:
    TextureTarget(unsigned int width, unsigned int height, const TextureDesc& desc);
    ~TextureTarget() override;

    static std::shared_ptr<TextureTarget> Create(unsigned int width, unsigned int height, const TextureDesc& desc);

    const TextureDesc& GetDesc() const { return m_Desc; }
    /// The colour texture, for a material's texture list (made on the first
    /// call). It refers back to this target weakly: once the target is gone,
    /// or for a target not held by a shared pointer, it samples nothing.
    const std::shared_ptr<TargetTexture>& GetTexture() const;

    static TextureTarget* Cast(RenderTarget* target);
    static const TextureTarget* Cast(const RenderTarget* target);

private:
    TextureDesc m_Desc;
    mutable std::shared_ptr<TargetTexture> m_Texture;
};

} // namespace orvcore
