#pragma once

#include <memory>

#include <orvkernel/texture/Texture.h>

namespace orvcore {

class TextureTarget;

/// The colour texture of a `TextureTarget` as a texture that materials hold.
/// It has no pixels of its own: the device samples the target's colour
/// attachment (resolved first when the target is multisampled).
class TargetTexture : public Texture {
public:
    explicit TargetTexture(const std::weak_ptr<TextureTarget>& target);
    ~TargetTexture() override;

    uint32_t GetTextureType() const override { return TEXTURE_2D; }
    /// The target's size (0 once it is gone).
    unsigned int GetWidth() const override;
    unsigned int GetHeight() const override;
    /// The target, or empty once it is gone.
    std::shared_ptr<TextureTarget> GetTarget() const { return m_Target.lock(); }

    static TargetTexture* Cast(Texture* texture);
    static const TargetTexture* Cast(const Texture* texture);

private:
    std::weak_ptr<TextureTarget> m_Target;
};

} // namespace orvcore
