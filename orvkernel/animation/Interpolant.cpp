#include <orvkernel/animation/Interpolant.h>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace orvcore {

Interpolant::Interpolant(const std::shared_ptr<Float32Buffer>& times, const std::shared_ptr<Float32Buffer>& values,
                         unsigned int valueSize, const std::shared_ptr<Float32Buffer>& result)
    : m_ValueSize(valueSize), m_Times(times), m_Values(values),
      m_Result(result ? result : std::make_shared<Float32Buffer>(valueSize, 0.0f))
{
}

Interpolant::~Interpolant() = default;

unsigned int Interpolant::GetKeyCount() const
{
    if (!m_Times || !m_Values || m_ValueSize == 0)
        return 0;
    const std::size_t keys = std::min(m_Times->GetCount(), m_Values->GetCount() / m_ValueSize);
    return static_cast<unsigned int>(std::min<std::size_t>(keys, std::numeric_limits<unsigned int>::max() - 1u));
}

const float* Interpolant::Evaluate(float t)
{
    if (m_Result->GetCount() < m_ValueSize)
        return nullptr;
    Evaluate(t, m_Result->GetData());
    return m_Result->GetData();
}

bool Interpolant::Locate(float t, float* out)
{
    m_Inside = false;
    const unsigned int n = GetKeyCount();
    if (n == 0)
        return false;
    const float* times = m_Times->GetData();
    const float* values = m_Values->GetData();
    // The interval ending at key i1 holds t when times[i1 - 1] <= t < times[i1]
    // (no lower bound for i1 = 0, no upper one for i1 = n).
    const auto holds = [times, n, t](unsigned int i1) {
        return (i1 == 0 || times[i1 - 1] <= t) && (i1 == n || t < times[i1]);
    };
    unsigned int i1 = std::min(m_CachedIndex, n);
    if (!holds(i1)) {
        if (i1 < n && holds(i1 + 1)) {
            ++i1; // playing forward: the next interval
        } else {
            // A jump: bisect for the first key after t. Every step keeps
            // times[lo - 1] <= t and t < times[hi], so the interval found
            // has t0 <= t < t1 even when the times are not sorted.
            unsigned int lo = 0, hi = n;
            while (lo < hi) {
                const unsigned int mid = lo + (hi - lo) / 2;
                if (t < times[mid])
                    hi = mid;
                else
                    lo = mid + 1;
            }
            i1 = lo;
        }
    }
    m_CachedIndex = i1;
    const std::size_t size = m_ValueSize;
    const bool keep = size <= kKeptFloats;
    m_Output = out;
    if (i1 == 0 || i1 == n) {
        // Before the first key or from the last on: that key's values.
        const float* key = values + (i1 == 0 ? 0 : (n - 1) * size);
        for (std::size_t i = 0; i < size; ++i)
            out[i] = key[i];
        if (keep) {
            for (std::size_t i = 0; i < size; ++i)
                m_KeptValues[i] = key[i];
            m_Low = i1 == 0 ? -std::numeric_limits<float>::infinity() : times[n - 1];
            m_High = i1 == 0 ? times[0] : std::numeric_limits<float>::infinity();
            m_Constant = true;
            m_Inside = true;
        }
        return true;
    }
    const float* key0 = values + (i1 - 1) * size;
    m_Key0 = key0;
    if (keep) {
        // The interval's two keys and the next ones while their times rise.
        unsigned int count = 2;
        while (count < kKeptKeys && i1 - 1 + count < n && times[i1 - 2 + count] < times[i1 - 1 + count])
            ++count;
        for (unsigned int k = 0; k < count; ++k)
            m_KeptTimes[k] = times[i1 - 1 + k];
        for (std::size_t i = 0; i < count * size; ++i)
            m_KeptValues[i] = key0[i];
        m_KeptFirst = i1 - 1;
        m_Low = times[i1 - 1];
        m_High = times[i1 - 2 + count];
        m_Constant = false;
        m_Inside = true;
    }
    Compute(i1, times[i1 - 1], t, times[i1]);
    return true;
}

} // namespace orvcore
