#include <orvkernel/geometry/AttributeUpdateLog.h>

#include <algorithm>

namespace orvcore {

void AttributeUpdateLog::Record(uint32_t version, std::size_t first, std::size_t count)
{
    if (count == 0)
        return;
    if (m_Size > 0) {
        Run& last = m_Runs[m_Size - 1];
        // The next item, one version later: the run keeps its item versions.
        if (first == last.first + last.count && count == 1 && last.stepwise &&
            version == last.version + 1u) {
            ++last.count;
            last.version = version;
            return;
        }
    }
    if (m_Size == kCapacity) {
        // The two oldest runs become the one run spanning both.
        const Run& a = m_Runs[0];
        const Run& b = m_Runs[1];
        const std::size_t lo = std::min(a.first, b.first);
        const std::size_t hi = std::max(a.first + a.count, b.first + b.count);
        m_Runs[0] = Run{a.firstVersion, b.version, lo, hi - lo, false};
        std::copy(m_Runs.begin() + 2, m_Runs.end(), m_Runs.begin() + 1);
        --m_Size;
    }
    m_Runs[m_Size++] = Run{version, version, first, count, count == 1};
}

void AttributeUpdateLog::Reset(uint32_t version)
{
    m_Size = 0;
    m_Base = version;
}

bool AttributeUpdateLog::Collect(uint32_t since, uint32_t current, std::vector<ItemRange>& ranges) const
{
    ranges.clear();
    // Versions count modulo 2^32: distances from the base order them.
    const uint32_t age = current - since;
    if (since - m_Base > current - m_Base)
        return false;
    for (std::size_t i = 0; i < m_Size; ++i) {
        const Run& run = m_Runs[i];
        const uint32_t after = run.version - since;
        if (after == 0 || after > age)
            continue; // written before the copy was taken
        // A stepwise run written partly before the copy: only its tail.
        const uint32_t written = run.version - run.firstVersion; // versions of the run after its first item
        if (run.stepwise && after <= written) {
            const std::size_t skip = std::size_t(written - after) + 1;
            ranges.push_back(ItemRange{run.first + skip, run.count - skip});
        } else {
            ranges.push_back(ItemRange{run.first, run.count});
        }
    }
    std::sort(ranges.begin(), ranges.end(),
              [](const ItemRange& a, const ItemRange& b) { return a.first < b.first; });
    std::size_t out = 0;
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        if (out > 0 && ranges[i].first <= ranges[out - 1].first + ranges[out - 1].count) {
            ItemRange& merged = ranges[out - 1];
            merged.count = std::max(merged.first + merged.count, ranges[i].first + ranges[i].count) - merged.first;
        } else {
            ranges[out++] = ranges[i];
        }
    }
    ranges.resize(out);
    return true;
}

} // namespace orvcore
