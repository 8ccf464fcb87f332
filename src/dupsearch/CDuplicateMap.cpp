#include "dupsearch/CDuplicateMap.h"

void CDuplicateMap::Add(uint32_t item, const TEquals& equals) {
    const auto begin = static_cast<uint32_t>(m_numbers.size());
    m_numbers.insert(m_numbers.end(), equals.profiles.begin(), equals.profiles.end());
    m_numbers.insert(m_numbers.end(), equals.items.begin(), equals.items.end());
    m_entries.push_back({item, begin, static_cast<uint32_t>(equals.profiles.size()),
                         static_cast<uint32_t>(equals.items.size())});
}

CDuplicateMap::CView::CView(const CDuplicateMap& map, const CProfiles& profiles, uint32_t nItems)
    : m_map(map), m_profiles(profiles), m_entryOf(nItems, kNone) {
    for (uint32_t e = 0; e < m_map.m_entries.size(); ++e) m_entryOf[m_map.m_entries[e].item] = e;
    m_byProfile = Reverse(profiles.Count(), [&](const Entry& e) { return m_map.ProfilesOf(e); });
    m_byItem = Reverse(nItems, [&](const Entry& e) { return m_map.ItemsOf(e); });
    FindKeys(nItems);
}

template <typename Select>
CDuplicateMap::CView::Lists CDuplicateMap::CView::Reverse(size_t keys, Select&& select) const {
    Lists lists;
    lists.begins.resize(keys + 1);
    for (const Entry& entry : m_map.m_entries) {
        for (const uint32_t key : select(entry)) ++lists.begins[key + 1];
    }
    for (size_t key = 0; key < keys; ++key) lists.begins[key + 1] += lists.begins[key];
    lists.numbers.resize(lists.begins[keys]);
    std::vector<uint32_t> ends(lists.begins.begin(), lists.begins.end() - 1);
    for (const Entry& entry : m_map.m_entries) {
        for (const uint32_t key : select(entry)) lists.numbers[ends[key]++] = entry.item;
    }
    return lists;
}

void CDuplicateMap::CView::FindKeys(uint32_t nItems) {
    for (uint32_t item = 0; item < nItems; ++item) {
        const auto byProfile = m_byProfile.Of(m_profiles.Of(item));
        const bool hasLater = !byProfile.empty() && byProfile.back() > item;
        if (m_entryOf[item] != kNone || hasLater || !m_byItem.Of(item).empty()) m_keys.push_back(item);
    }
}
