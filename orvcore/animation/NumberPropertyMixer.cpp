#include <orvcore/animation/NumberPropertyMixer.h>

#include <cstddef>

namespace orvcore {

NumberPropertyMixer::NumberPropertyMixer(const std::shared_ptr<PropertyBinding>& binding, unsigned int valueSize)
    : PropertyMixer(binding, valueSize),
      m_Buffer(std::make_shared<Float32Buffer>(static_cast<std::size_t>(valueSize) * 5u, 0.0f)),
      m_Data(m_Buffer->GetData()), m_Count(m_Buffer->GetCount())
{
}

void NumberPropertyMixer::SetAdditiveIdentity()
{
    const uint32_t size = GetValueSize();
    const uint32_t start = size * GetAddIndex();
    const uint32_t end = start + size;
    for (uint32_t i = start; i < end && i < m_Count; ++i)
        m_Data[i] = 0.0f;
}

NumberPropertyMixer* NumberPropertyMixer::Cast(PropertyMixer* mixer)
{
    return dynamic_cast<NumberPropertyMixer*>(mixer);
}

const NumberPropertyMixer* NumberPropertyMixer::Cast(const PropertyMixer* mixer)
{
    return dynamic_cast<const NumberPropertyMixer*>(mixer);
}

} // namespace orvcore
