#pragma once

#include <orvcore/pick/PickedItem.h>

namespace orvcore {

class SelectionManager;

/// What a pick listener is told: the item concerned (count 1) or nothing
/// (count 0), whether the pick is a multi-pick, and the manager raising it.
class PickedResult {
public:
    PickedResult() = default;
    PickedResult(const PickedItem& item, unsigned int count, bool multiPick, SelectionManager* manager)
        : m_Item(item), m_Count(count), m_MultiPick(multiPick), m_Manager(manager)
    {
    }

    const PickedItem& GetItem() const { return m_Item; }
    unsigned int GetCount() const { return m_Count; }
    bool GetMulitPick() const { return m_MultiPick; }
    SelectionManager* GetSelectionSet() const { return m_Manager; }
    bool IsEmpty() const { return m_Count == 0; }

private:
    PickedItem m_Item;
    unsigned int m_Count = 0;
    bool m_MultiPick = false;
    SelectionManager* m_Manager = nullptr;
};

} // namespace orvcore
