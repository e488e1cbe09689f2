#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

#include <orvcore/pick/PickedItem.h>
#include <orvcore/pick/PickedItemIterator.h>

namespace orvcore {

/// Hashed set of picked items: the selection, the highlight. Holds copies.
class PickedItemSet {
public:
    using Container = std::unordered_set<PickedItem>;

    PickedItemSet();

    /// Inserts an item unless an equal one is present. With `toggle`, a
    /// present equal item is removed instead. Null items are refused.
    /// Returns true only when the item was inserted.
    bool Add(const PickedItem& item, bool toggle);
    /// Makes the set hold only this item. Returns false when an equal item is
    /// already present (nothing changes then, even if others are present).
    /// For a null item the set is cleared and the result says whether it
    /// held anything.
    bool Set(const PickedItem& item);
    /// Replaces the contents by the items (duplicates skipped, nulls kept).
    void Set(const std::vector<PickedItem>& items);
    void Remove(const PickedItem& item);
    /// Removes every item carrying this element id.
    void RemoveById(const ElementId& id);
    /// Removes every item of the node with this object id.
    void RemoveById(unsigned int nodeId);
    /// Empties the set; returns how many items it held.
    std::size_t Clear();
    /// Moves the items of `other` here and empties `other`. Without `move`
    /// they are merged (equal items already here win); with `move` this set
    /// ends up holding exactly other's former items. Emplacing a set into
    /// itself empties it.
    void Emplace(PickedItemSet& other, bool move);

    bool IsExsiting(const PickedItem& item) const { return m_Items.find(item) != m_Items.end(); }
    /// The first item in iteration order, if any.
    std::optional<PickedItem> GetTopItem();
    std::shared_ptr<PickedItemIterator> CreateIterator();

    const Container& GetPickedItems() const { return m_Items; }
    std::size_t GetCount() const { return m_Items.size(); }
    bool IsEmpty() const { return m_Items.empty(); }

private:
    Container m_Items;
};

} // namespace orvcore
