#pragma once

#include <unordered_set>

#include <orvcore/pick/PickedItem.h>

namespace orvcore {

/// Forward cursor over a `PickedItemSet`; invalidated by changes to the set.
class PickedItemIterator {
public:
    using Position = std::unordered_set<PickedItem>::const_iterator;

    PickedItemIterator(Position current, Position end) : m_Current(current), m_End(end) {}

    bool More() const { return m_Current != m_End; }
    void Next()
    {
        if (m_Current != m_End)
            ++m_Current;
    }
    /// Copy of the item at the cursor; only valid while `More()` is true.
    PickedItem Current() const { return *m_Current; }

private:
    Position m_Current;
    Position m_End;
};

} // namespace orvcore
