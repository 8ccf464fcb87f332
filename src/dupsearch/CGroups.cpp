#include "dupsearch/CGroups.h"

#include <algorithm>
#include <utility>

#include "base/room.h"
#include "log/CLog.h"

namespace dupsearch {

using logging::g_Log;

namespace {

constexpr char kTag[] = "CDuplicateSearch.Build";
constexpr int kMissingFromMapLine = 2622;

using Group = std::vector<uint32_t>;
using TGroups = std::vector<Group>;

/// Compares two items by their place in the ranking.
bool IsRankedBefore(const std::vector<uint32_t>& nBuildIndex, uint32_t a, uint32_t b) {
    if (a != b && nBuildIndex[a] == nBuildIndex[b]) g_Log.Error(kTag, "Assert - equal nBuildIndexes");
    return nBuildIndex[a] < nBuildIndex[b];
}

/// The groups of the build before, by original.
class COldGroups {
  public:
    COldGroups(const TGroups& groups, uint32_t nItems)
        : m_groups(groups), m_headed(nItems, kNone), m_mark(nItems) {
        for (uint32_t g = 0; g < groups.size(); ++g) m_headed[groups[g][0]] = g;
    }

    /// Writes what is new about a group and forgets the old group of its original.
    void Change(const Group& group, std::vector<TBuildChange>& changes) {
        const uint32_t original = group[0];
        const uint32_t old = std::exchange(m_headed[original], kNone);
        if (old == kNone) changes.push_back({scNewGroup, original, kNone, -1});
        const Group none;
        const Group& before = old == kNone ? none : m_groups[old];
        ++m_nRound;
        for (size_t i = 1; i < before.size(); ++i) m_mark[before[i]] = m_nRound;
        for (size_t i = 1; i < group.size(); ++i) {
            if (m_mark[group[i]] != m_nRound) {
                changes.push_back({scJoined, original, group[i], static_cast<int>(i - 1)});
            }
            m_mark[group[i]] = 0;
        }
        Group left;
        for (size_t i = 1; i < before.size(); ++i) {
            if (m_mark[before[i]] == m_nRound) left.push_back(before[i]);
        }
        std::sort(left.begin(), left.end());
        for (const uint32_t item : left) changes.push_back({scLeft, original, item, -1});
    }

    /// Writes the groups that are gone.
    void Gone(std::vector<TBuildChange>& changes) const {
        for (uint32_t item = 0; item < m_headed.size(); ++item) {
            if (m_headed[item] != kNone) changes.push_back({scGoneGroup, item, kNone, -1});
        }
    }

  private:
    const TGroups& m_groups;
    std::vector<uint32_t> m_headed;  // by item: the group it was the original of
    std::vector<uint32_t> m_mark;    // by item: the round that saw it as an old duplicate
    uint32_t m_nRound = 0;
};

}  // namespace

std::vector<uint32_t> CGroups::Undecided(uint32_t profile) const {
    const TDecided& decided = m_decided[profile];
    std::vector<uint32_t> undecided(m_alone.begin() + decided.alone, m_alone.end());
    if (!decided.self) undecided.push_back(profile);
    return undecided;
}

void CGroups::MakeRoomFor(size_t equals) {
    base::MakeRoom(m_decided, m_decided.size() + 1);
    base::MakeRoom(m_alone, m_alone.size() + 1);
    base::MakeRoom(m_edges, m_edges.size() + 2 * equals);
}

void CGroups::AddProfile(std::span<const uint32_t> equals, bool alone) noexcept {
    const auto profile = static_cast<uint32_t>(m_decided.size());
    m_decided.emplace_back();
    for (const uint32_t other : equals) {
        AddEdge(profile, other);
        if (!alone && !IsAlone(other)) AddEdge(other, profile);
    }
    if (alone) m_alone.push_back(profile);
    m_decided[profile].alone = static_cast<uint32_t>(m_alone.size());
}

void CGroups::AddTo(uint32_t profile, std::span<const uint32_t> equals) noexcept {
    for (const uint32_t other : equals) AddEdge(profile, other);
    m_decided[profile].self = true;
    m_decided[profile].alone = static_cast<uint32_t>(m_alone.size());
}

bool CGroups::IsAlone(uint32_t profile) const {
    return std::ranges::binary_search(m_alone, profile);
}

void CGroups::AddEdge(uint32_t profile, uint32_t other) noexcept {
    m_edges.push_back({profile, other});
    m_decided[profile].hasEquals = true;
}

CGroups::CView::CView(const CGroups& map, const CProfiles& profiles, uint32_t nItems)
    : m_map(map),
      m_profiles(profiles),
      m_earlier(ListBy(profiles.Count(), &TEdge::profile, &TEdge::other)),
      m_later(ListBy(profiles.Count(), &TEdge::other, &TEdge::profile)) {
    for (uint32_t item = 0; item < nItems; ++item) {
        if (IsKey(item)) m_keys.push_back(item);
    }
}

template <typename Key, typename Other>
CGroups::CView::TLists CGroups::CView::ListBy(uint32_t profiles, Key&& key, Other&& other) const {
    TLists lists;
    lists.begins.resize(size_t{profiles} + 1);
    for (const TEdge& edge : m_map.m_edges) ++lists.begins[edge.*key + 1];
    for (uint32_t profile = 0; profile < profiles; ++profile)
        lists.begins[profile + 1] += lists.begins[profile];
    lists.numbers.resize(m_map.m_edges.size());
    std::vector<uint32_t> ends(lists.begins.begin(), lists.begins.end() - 1);
    for (const TEdge& edge : m_map.m_edges) lists.numbers[ends[edge.*key]++] = edge.*other;
    return lists;
}

bool CGroups::CView::IsKey(uint32_t item) const {
    const uint32_t own = m_profiles.Of(item);
    return std::ranges::any_of(m_earlier.Of(own), [&](uint32_t p) { return m_profiles.First(p) < item; }) ||
           std::ranges::any_of(m_later.Of(own), [&](uint32_t p) { return m_profiles.Last(p) > item; });
}

void CGroups::Form(const CView& equals, const CProfiles& profiles, uint32_t nItems,
                   const std::vector<uint32_t>& ranked) {
    TGroups groups;
    std::vector<TBuildChange> changes;
    COldGroups old(m_groups, nItems);
    std::vector<uint32_t> nBuildIndex(nItems, kNone);
    for (uint32_t i = 0; i < ranked.size(); ++i) nBuildIndex[ranked[i]] = i;
    std::vector<bool> grouped(nItems);
    // By profile: items that are in no group yet.
    std::vector<uint32_t> left(profiles.Count());
    for (uint32_t item = 0; item < nItems; ++item) ++left[profiles.Of(item)];
    for (const uint32_t item : ranked) {
        if (grouped[item]) continue;
        Group group{item};
        equals.VisitEquals(
            item, [&](uint32_t profile) { return left[profile] != 0; },
            [&](uint32_t equal) {
                if (!grouped[equal]) group.push_back(equal);
            });
        if (!equals.IsKey(item)) {
            g_Log.Error(kTag, "ASSERT(line=%d)\n", kMissingFromMapLine);
            continue;
        }
        std::sort(group.begin(), group.end(),
                  [&](uint32_t a, uint32_t b) { return IsRankedBefore(nBuildIndex, a, b); });
        if (group[0] != item) g_Log.Error(kTag, "first element is not original!\n");
        if (group.size() < 2) continue;
        for (const uint32_t member : group) {
            grouped[member] = true;
            --left[profiles.Of(member)];
        }
        old.Change(group, changes);
        groups.push_back(std::move(group));
    }
    old.Gone(changes);
    m_groups = std::move(groups);
    m_changes = std::move(changes);
}

}  // namespace dupsearch
