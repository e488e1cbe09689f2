#include <orvkernel/texture/TargetTexture.h>

#include <orvkernel/texture/TextureTarget.h>

namespace orvcore {

TargetTexture::TargetTexture(const std::weak_ptr<TextureTarget>& target) : m_Target(target) {}

TargetTexture::~TargetTexture() = default;

unsigned int TargetTexture::GetWidth() const
{
    const auto target = m_Target.lock();
    return target ? target->GetWidth() : 0u;
}

unsigned int TargetTexture::GetHeight() const
{
    const auto target = m_Target.lock();
    return target ? target->GetHeight() : 0u;
}

TargetTexture* TargetTexture::Cast(Texture* texture) { return dynamic_cast<TargetTexture*>(texture); }
const TargetTexture* TargetTexture::Cast(const Texture* texture) { return dynamic_cast<const TargetTexture*>(texture); }

} // namespace orvcore
