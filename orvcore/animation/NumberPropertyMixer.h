#pragma once

#include <cstdint>

#include <orvcommon/TypedBuffer.h>
#include <orvcore/animation/PropertyMixer.h>

namespace orvcore {

/// The mixer of float values, over a buffer of `ValueSize * 5` floats made
/// with it. A call whose regions would leave the buffer logs "Index is out
/// of range!" and changes nothing.
class NumberPropertyMixer final : public PropertyMixer {
public:
    NumberPropertyMixer(const std::shared_ptr<PropertyBinding>& binding, unsigned int valueSize);

    void Lerp(unsigned int dstOffset, unsigned int srcOffset, float t, unsigned int stride) override
    {
        if (!Inside(dstOffset, srcOffset, stride))
            return;
        float* buffer = m_Data;
        const float s = 1.0f - t;
        for (unsigned int i = 0; i < stride; ++i)
            buffer[dstOffset + i] = buffer[dstOffset + i] * s + buffer[srcOffset + i] * t;
    }
    void LerpAdditive(unsigned int dstOffset, unsigned int srcOffset, float t, unsigned int stride) override
    {
        if (!Inside(dstOffset, srcOffset, stride))
            return;
        float* buffer = m_Data;
        for (unsigned int i = 0; i < stride; ++i)
            buffer[dstOffset + i] = buffer[srcOffset + i] * t + buffer[dstOffset + i];
    }
    void SetAdditiveIdentity() override;

    /// The work buffer; read-only, so that it keeps its size.
    std::shared_ptr<const Float32Buffer> GetBuffer() const { return m_Buffer; }
    /// The buffer's floats, for writing values into a region.
    float* GetData() { return m_Data; }

    static NumberPropertyMixer* Cast(PropertyMixer* mixer);
    static const NumberPropertyMixer* Cast(const PropertyMixer* mixer);

private:
    bool Inside(unsigned int dstOffset, unsigned int srcOffset, unsigned int stride) const
    {
        const uint64_t end = static_cast<uint64_t>(dstOffset > srcOffset ? dstOffset : srcOffset) + stride;
        if (end <= m_Count)
            return true;
        LogIndexOutOfRange();
        return false;
    }

    std::shared_ptr<Float32Buffer> m_Buffer;
    float* m_Data;
    uint64_t m_Count;
};

} // namespace orvcore
