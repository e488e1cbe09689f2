#pragma once

#include <cstdint>
#include <memory>

#include <orvcommon/TypedBuffer.h>

namespace orvcore {

/// Evaluates keyframed values at a time: `times` holds one key time per key
/// (non-decreasing), `values` `valueSize` floats per key, key after key.
/// Each evaluation writes one value group into the result buffer (or into
/// the caller's array).
///
/// `Evaluate` finds the keys around the time and hands them to the kind's
/// `Compute`. Before the first key the first key's values are the result, at
/// or after the last key the last key's. Keys at equal times make a jump:
/// from that time on the later key holds. Only the first
/// min(count(times), count(values) / valueSize) keys are used.
///
/// The interval found last is remembered, so time that stays in it or moves
/// on to the next costs a comparison or two; a jump anywhere else is a
/// binary search. For values of up to four floats the interpolant also keeps
/// a copy of up to four keys from the interval's start on, so that
/// evaluating within them reads no buffer. The buffers are shared with the
/// caller and read again whenever the time leaves the kept keys: after
/// editing keys in place while playing, `Refresh` makes the change count at
/// once.
class alignas(64) Interpolant {
public:
    /// An empty `result` makes the interpolant own a buffer of `valueSize`
    /// floats; a given one needs at least `valueSize` floats.
    Interpolant(const std::shared_ptr<Float32Buffer>& times, const std::shared_ptr<Float32Buffer>& values,
                unsigned int valueSize, const std::shared_ptr<Float32Buffer>& result);
    virtual ~Interpolant();
    Interpolant(const Interpolant&) = delete;
    Interpolant& operator=(const Interpolant&) = delete;

    /// The values at time `t`, written to the result buffer and returned
    /// (`valueSize` floats). Without keys, or with a result buffer too small,
    /// nothing is written and the result's start (or null) is returned.
    const float* Evaluate(float t);
    /// The values at time `t` written to `out` (`valueSize` floats) instead
    /// of the result buffer; false, writing nothing, without keys.
    bool Evaluate(float t, float* out)
    {
        if (m_Inside && m_Low <= t && t < m_High) {
            m_Output = out;
            if (m_Constant) {
                for (unsigned int i = 0; i < m_ValueSize; ++i)
                    out[i] = m_KeptValues[i];
                return true;
            }
            // The kept times rise, and t lies below the last one.
            unsigned int j = 1;
            while (t >= m_KeptTimes[j])
                ++j;
            m_CachedIndex = m_KeptFirst + j;
            m_Key0 = m_KeptValues + (j - 1) * m_ValueSize;
            Compute(m_CachedIndex, m_KeptTimes[j - 1], t, m_KeptTimes[j]);
            return true;
        }
        return Locate(t, out);
    }
    /// Forgets the kept interval and its keys.
    void Refresh() { m_Inside = false; }

    /// Writes the value between key `i1 - 1` (at `t0`, values at `m_Key0`)
    /// and key `i1` (at `t1`, values right after) at time `t` to `m_Output`,
    /// with t0 < t1. `i1` is at least 1 and below the key count.
    virtual void Compute(unsigned int i1, float t0, float t, float t1) = 0;

    const std::shared_ptr<Float32Buffer>& GetTimes() const { return m_Times; }
    const std::shared_ptr<Float32Buffer>& GetValues() const { return m_Values; }
    const std::shared_ptr<Float32Buffer>& GetResult() const { return m_Result; }
    unsigned int GetValueSize() const { return m_ValueSize; }
    /// The number of keys evaluations use.
    unsigned int GetKeyCount() const;

    /// Index of the key that ends the interval found last (0: before the
    /// first key; the key count: at or after the last).
    unsigned int GetCachedIndex() const { return m_CachedIndex; }

    /// Slot of the interpolant in an owner's list (a mixer's control
    /// interpolants); -1 while it has none.
    int32_t GetCacheIndex() const { return m_CacheIndex; }
    void SetCacheIndex(int32_t index) { m_CacheIndex = index; }

protected:
    /// Keys are kept when they have at most this many floats, this many.
    static constexpr unsigned int kKeptFloats = 4;
    static constexpr unsigned int kKeptKeys = 4;

    // Read by every evaluation: first, in the object's first two cache
    // lines (the class is aligned to them).
    float m_Low = 0.0f;  ///< the kept keys answer times in [m_Low, m_High)
    float m_High = 0.0f;
    unsigned int m_CachedIndex = 0;
    unsigned int m_ValueSize;
    unsigned int m_KeptFirst = 0; ///< index of the first kept key
    bool m_Inside = false;        ///< keys are kept
    bool m_Constant = false;      ///< ... one value for the whole range
    float m_KeptTimes[kKeptKeys] = {};
    /// Where the evaluation under way writes, and the first key it blends.
    float* m_Output = nullptr;
    const float* m_Key0 = nullptr;
    float m_KeptValues[kKeptKeys * kKeptFloats] = {};

    std::shared_ptr<Float32Buffer> m_Times;
    std::shared_ptr<Float32Buffer> m_Values;
    std::shared_ptr<Float32Buffer> m_Result;

private:
    /// Finds the interval of `t` in the buffers, keeps it and evaluates.
    bool Locate(float t, float* out);

    int32_t m_CacheIndex = -1;
};

} // namespace orvcore
