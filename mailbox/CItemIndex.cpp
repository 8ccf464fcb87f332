#include "mailbox/CItemIndex.h"

#include <algorithm>
#include <functional>

#include "mailbox/CDatabase.h"

namespace mailbox {

uint32_t CItemIndex::HashOf(std::string_view id) {
    return static_cast<uint32_t>(std::hash<std::string_view>()(id));
}

/// The place of the item's slot in m_slots, kNone when there is none.
size_t CItemIndex::SlotOf(std::string_view id) const {
    if (m_slots.empty()) return kNone;
    const uint32_t hash = HashOf(id);
    const size_t mask = m_slots.size() - 1;
    for (size_t i = hash & mask; m_slots[i].number != kNone; i = (i + 1) & mask) {
        if (m_slots[i].hash != hash) continue;
        const std::shared_ptr<TItem>& item = m_items[m_slots[i].number];
        if (item && item->id == id) return i;
    }
    return kNone;
}

std::shared_ptr<TItem> CItemIndex::Find(std::string_view id) const {
    const size_t slot = SlotOf(id);
    return slot == kNone ? nullptr : m_items[m_slots[slot].number];
}

bool CItemIndex::Add(const std::shared_ptr<TItem>& item) {
    if (Contains(item->id)) return false;
    if ((m_items.size() + 1) * 8 > m_slots.size() * 7) Grow();
    m_items.push_back(item);
    Enter({HashOf(item->id), static_cast<uint32_t>(m_items.size() - 1)});
    return true;
}

void CItemIndex::Remove(std::string_view id) {
    // The slot stays taken: others may have been put behind it.
    const size_t slot = SlotOf(id);
    if (slot != kNone) m_items[m_slots[slot].number] = nullptr;
}

void CItemIndex::Enter(TSlot slot) {
    const size_t mask = m_slots.size() - 1;
    size_t i = slot.hash & mask;
    while (m_slots[i].number != kNone) i = (i + 1) & mask;
    m_slots[i] = slot;
}

void CItemIndex::Grow() {
    const size_t count = m_items.size() - static_cast<size_t>(std::ranges::count(m_items, nullptr));
    size_t size = 16;
    // Room for some more, so that what is removed and added in turns does not end up here each time.
    while (count * 4 >= size * 3) size *= 2;
    std::vector<TSlot> slots(size);
    m_slots.swap(slots);
    std::erase(m_items, nullptr);
    for (uint32_t number = 0; number < m_items.size(); ++number) Enter({HashOf(m_items[number]->id), number});
}

}  // namespace mailbox
