#include <orvkernel/texture/TextureTarget.h>

#include <orvkernel/texture/TargetTexture.h>

namespace orvcore {

TextureTarget::TextureTarget(unsigned int width, unsigned int height, const TextureDesc& desc)
    : RenderTarget(width, height, 1), m_Desc(desc)
{
}

TextureTarget::~TextureTarget() = default;

std::shared_ptr<TextureTarget> TextureTarget::Create(unsigned int width, unsigned int height, const TextureDesc& desc)
{
    return std::make_shared<TextureTarget>(width, height, desc);
}

const std::shared_ptr<TargetTexture>& TextureTarget::GetTexture() const
{
    if (!m_Texture)
        m_Texture = std::make_shared<TargetTexture>(
            std::const_pointer_cast<TextureTarget>(weak_from_this().lock()));
    return m_Texture;
}

TextureTarget* TextureTarget::Cast(RenderTarget* target) { return dynamic_cast<TextureTarget*>(target); }
const TextureTarget* TextureTarget::Cast(const RenderTarget* target)
{
    return dynamic_cast<const TextureTarget*>(target);
}

} // namespace orvcore
