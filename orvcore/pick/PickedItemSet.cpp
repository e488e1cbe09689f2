#include <orvcore/pick/PickedItemSet.h>

namespace orvcore {

PickedItemSet::PickedItemSet() : m_Items(8) { m_Items.max_load_factor(1.0f); }

bool PickedItemSet::Add(const PickedItem& item, bool toggle)
{
    if (item.IsNull())
        return false;
    auto it = m_Items.find(item);
    if (it != m_Items.end()) {
        if (toggle)
            m_Items.erase(it);
        return false;
    }
    m_Items.insert(item);
    return true;
}

bool PickedItemSet::Set(const PickedItem& item)
{
    if (m_Items.find(item) != m_Items.end())
        return false;
    const bool hadItems = !m_Items.empty();
    m_Items.clear();
    if (item.IsNull())
        return hadItems;
    m_Items.insert(item);
    return true;
}

void PickedItemSet::Set(const std::vector<PickedItem>& items)
{
    m_Items.clear();
    m_Items.insert(items.begin(), items.end());
}

void PickedItemSet::Remove(const PickedItem& item) { m_Items.erase(item); }

void PickedItemSet::RemoveById(const ElementId& id)
{
    for (auto it = m_Items.begin(); it != m_Items.end();) {
        if (it->GetElementId() == id)
            it = m_Items.erase(it);
        else
            ++it;
    }
}

void PickedItemSet::RemoveById(unsigned int nodeId)
{
    for (auto it = m_Items.begin(); it != m_Items.end();) {
        if (it->GetNodeId() == nodeId)
            it = m_Items.erase(it);
        else
            ++it;
    }
}

std::size_t PickedItemSet::Clear()
{
    const std::size_t count = m_Items.size();
    m_Items.clear();
    return count;
}

void PickedItemSet::Emplace(PickedItemSet& other, bool move)
{
    if (&other == this) {
        m_Items.clear();
        return;
    }
    if (move)
        m_Items.swap(other.m_Items);
    else
        m_Items.insert(other.m_Items.begin(), other.m_Items.end());
    other.m_Items.clear();
}

std::optional<PickedItem> PickedItemSet::GetTopItem()
{
    if (m_Items.empty())
        return std::nullopt;
    return *m_Items.begin();
}

std::shared_ptr<PickedItemIterator> PickedItemSet::CreateIterator()
{
    return std::make_shared<PickedItemIterator>(m_Items.cbegin(), m_Items.cend());
}

} // namespace orvcore
