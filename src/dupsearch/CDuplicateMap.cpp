#include "dupsearch/CDuplicateMap.h"

#include <algorithm>

std::vector<uint32_t> CDuplicateMap::Undecided(uint32_t profile) const {
    const TDecided& decided = m_decided[profile];
    std::vector<uint32_t> undecided(m_alone.begin() + decided.alone, m_alone.end());
    if (!decided.self) undecided.push_back(profile);
    return undecided;
}

void CDuplicateMap::MakeRoomFor(size_t equals) {
    base::MakeRoom(m_decided, m_decided.size() + 1);
    base::MakeRoom(m_alone, m_alone.size() + 1);
    base::MakeRoom(m_edges, m_edges.size() + 2 * equals);
}

void CDuplicateMap::AddProfile(std::span<const uint32_t> equals, bool alone) noexcept {
    const auto profile = static_cast<uint32_t>(m_decided.size());
    m_decided.emplace_back();
    for (const uint32_t other : equals) {
        AddEdge(profile, other);
        if (!alone && !IsAlone(other)) AddEdge(other, profile);
    }
    if (alone) m_alone.push_back(profile);
    m_decided[profile].alone = static_cast<uint32_t>(m_alone.size());
}

void CDuplicateMap::AddTo(uint32_t profile, std::span<const uint32_t> equals) noexcept {
    for (const uint32_t other : equals) AddEdge(profile, other);
    m_decided[profile].self = true;
    m_decided[profile].alone = static_cast<uint32_t>(m_alone.size());
}

bool CDuplicateMap::IsAlone(uint32_t profile) const {
    return std::ranges::binary_search(m_alone, profile);
}

void CDuplicateMap::AddEdge(uint32_t profile, uint32_t other) noexcept {
    m_edges.push_back({profile, other});
    m_decided[profile].hasEquals = true;
}

CDuplicateMap::CView::CView(const CDuplicateMap& map, const CProfiles& profiles, uint32_t nItems)
    : m_map(map),
      m_profiles(profiles),
      m_earlier(ListBy(profiles.Count(), &TEdge::profile, &TEdge::other)),
      m_later(ListBy(profiles.Count(), &TEdge::other, &TEdge::profile)) {
    for (uint32_t item = 0; item < nItems; ++item) {
        if (IsKey(item)) m_keys.push_back(item);
    }
}

template <typename Key, typename Other>
CDuplicateMap::CView::Lists CDuplicateMap::CView::ListBy(uint32_t profiles, Key&& key, Other&& other) const {
    Lists lists;
    lists.begins.resize(size_t{profiles} + 1);
    for (const TEdge& edge : m_map.m_edges) ++lists.begins[edge.*key + 1];
    for (uint32_t profile = 0; profile < profiles; ++profile)
        lists.begins[profile + 1] += lists.begins[profile];
    lists.numbers.resize(m_map.m_edges.size());
    std::vector<uint32_t> ends(lists.begins.begin(), lists.begins.end() - 1);
    for (const TEdge& edge : m_map.m_edges) lists.numbers[ends[edge.*key]++] = edge.*other;
    return lists;
}

bool CDuplicateMap::CView::IsKey(uint32_t item) const {
    const uint32_t own = m_profiles.Of(item);
    return std::ranges::any_of(m_earlier.Of(own), [&](uint32_t p) { return m_profiles.First(p) < item; }) ||
           std::ranges::any_of(m_later.Of(own), [&](uint32_t p) { return m_profiles.Last(p) > item; });
}
