#include <orvcore/animation/PropertyMixer.h>

#include <orvcore/animation/NumberPropertyMixer.h>

namespace orvcore {

PropertyMixer::PropertyMixer(const std::shared_ptr<PropertyBinding>& binding, unsigned int valueSize)
    : m_Binding(binding), m_ValueSize(valueSize)
{
}

PropertyMixer::~PropertyMixer() = default;

std::shared_ptr<PropertyMixer> PropertyMixer::Create(const std::string& /*typeName*/,
                                                     const std::shared_ptr<PropertyBinding>& binding,
                                                     unsigned int valueSize)
{
    return std::make_shared<NumberPropertyMixer>(binding, valueSize);
}

PropertyMixer* PropertyMixer::Cast(GfxObject* object) { return dynamic_cast<PropertyMixer*>(object); }
const PropertyMixer* PropertyMixer::Cast(const GfxObject* object) { return dynamic_cast<const PropertyMixer*>(object); }

} // namespace orvcore
