#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <orvkernel/device/GfxObject.h>
#include <orvcore/animation/PropertyBinding.h>

namespace orvcore {

/// Blends what several actions contribute to one property. The work buffer
/// of a concrete mixer holds five regions of `ValueSize` floats: 0 to 2 for
/// the caller's work (the animation mixer evaluates into 0 and accumulates
/// in 1), `OrigIndex` (3) the property's rest value and `AddIndex` (4) the
/// additive accumulator. Offsets given to `Lerp` are float indices.
///
/// The counters are the animation mixer's bookkeeping: how many playing
/// actions use the mixer, how many refer to it, its slot, and the weights
/// blended so far this frame.
class PropertyMixer : public GfxObject {
public:
    PropertyMixer(const std::shared_ptr<PropertyBinding>& binding, unsigned int valueSize);
    ~PropertyMixer() override;

    /// A mixer for a track's values. Every value kind is blended as floats,
    /// so this is always a `NumberPropertyMixer` whatever `typeName` says.
    static std::shared_ptr<PropertyMixer> Create(const std::string& typeName,
                                                 const std::shared_ptr<PropertyBinding>& binding,
                                                 unsigned int valueSize);

    /// buffer[dst + i] = buffer[dst + i] * (1 - t) + buffer[src + i] * t for i < stride.
    virtual void Lerp(unsigned int dstOffset, unsigned int srcOffset, float t, unsigned int stride) = 0;
    /// buffer[dst + i] = buffer[src + i] * t + buffer[dst + i] for i < stride.
    virtual void LerpAdditive(unsigned int dstOffset, unsigned int srcOffset, float t, unsigned int stride) = 0;
    /// Zeroes the additive region.
    virtual void SetAdditiveIdentity() = 0;

    /// Does nothing: the rest value is not read from the scene here (the
    /// animation mixer's playback saves it from the resolved property).
    void SaveOriginalState() {}
    void AddReferenceCount() { ++m_ReferenceCount; }

    const std::shared_ptr<PropertyBinding>& GetBinding() const { return m_Binding; }
    void SetBinding(const std::shared_ptr<PropertyBinding>& binding) { m_Binding = binding; }
    const uint32_t& GetValueSize() const { return m_ValueSize; }
    void SetValueSize(const uint32_t& size) { m_ValueSize = size; }
    const uint32_t& GetOrigIndex() const { return m_OrigIndex; }
    void SetOrigIndex(const uint32_t& index) { m_OrigIndex = index; }
    const uint32_t& GetAddIndex() const { return m_AddIndex; }
    void SetAddIndex(const uint32_t& index) { m_AddIndex = index; }
    const float& GetCumulativeWeight() const { return m_CumulativeWeight; }
    void SetCumulativeWeight(const float& weight) { m_CumulativeWeight = weight; }
    const float& GetCumulativeWeightAdditive() const { return m_CumulativeWeightAdditive; }
    void SetCumulativeWeightAdditive(const float& weight) { m_CumulativeWeightAdditive = weight; }
    const uint32_t& GetUseCount() const { return m_UseCount; }
    void SetUseCount(const uint32_t& count) { m_UseCount = count; }
    const uint32_t& GetReferenceCount() const { return m_ReferenceCount; }
    void SetReferenceCount(const uint32_t& count) { m_ReferenceCount = count; }
    const uint32_t& GetCacheIndex() const { return m_CacheIndex; }
    void SetCacheIndex(const uint32_t& index) { m_CacheIndex = index; }

    static PropertyMixer* Cast(GfxObject* object);
    static const PropertyMixer* Cast(const GfxObject* object);

private:
    std::shared_ptr<PropertyBinding> m_Binding;
    uint32_t m_ValueSize;
    uint32_t m_OrigIndex = 3;
    uint32_t m_AddIndex = 4;
    float m_CumulativeWeight = 0.0f;
    float m_CumulativeWeightAdditive = 0.0f;
    uint32_t m_UseCount = 0;
    uint32_t m_ReferenceCount = 0;
    uint32_t m_CacheIndex = 0;
};

} // namespace orvcore
