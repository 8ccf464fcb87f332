// TGroups from the pairs found, their originals, and what changed since the build before.

#include <algorithm>
#include <utility>

#include "compare/CThreadLocale.h"
#include "dupsearch/CDuplicateSearch.h"
#include "dupsearch/original_compare.h"
#include "log/CLog.h"

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
        ++m_round;
        for (size_t i = 1; i < before.size(); ++i) m_mark[before[i]] = m_round;
        for (size_t i = 1; i < group.size(); ++i) {
            if (m_mark[group[i]] != m_round) {
                changes.push_back({scJoined, original, group[i], static_cast<int>(i - 1)});
            }
            m_mark[group[i]] = 0;
        }
        Group left;
        for (size_t i = 1; i < before.size(); ++i) {
            if (m_mark[before[i]] == m_round) left.push_back(before[i]);
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
    uint32_t m_round = 0;
};

}  // namespace

/// The items with equals, the best original first.
std::vector<uint32_t> CDuplicateSearch::RankOriginals(const std::vector<uint32_t>& keys) const {
    const size_t sizes = m_plan->plainTags.Count() + m_plan->streamTags.Count();
    // The comparator is no order that a sort could rely on: the tree and the order of insertion are the
    // ranking.
    CPtrTree tree;
    for (const uint32_t item : keys) {
        tree.Insert(item, [&](uint32_t node, bool&) {
            return -fnCompareOriginal(m_items[item], m_items[tree.FirstOf(node)], m_original.nKind, sizes);
        });
    }
    std::vector<uint32_t> ranked = tree.NodesInOrder();
    for (uint32_t& node : ranked) node = tree.FirstOf(node);
    return ranked;
}

int CDuplicateSearch::Build() {
    const CThreadLocale locale(m_locale);
    TGroups groups;
    std::vector<TBuildChange> changes;
    COldGroups old(m_groups, m_items.Count());
    if (m_matching) {
        const CDuplicateMap::CView equals(m_duplicates, m_matching->Profiles(), m_items.Count());
        const std::vector<uint32_t> ranked = RankOriginals(equals.Keys());
        std::vector<uint32_t> nBuildIndex(m_items.Count(), kNone);
        for (uint32_t i = 0; i < ranked.size(); ++i) nBuildIndex[ranked[i]] = i;
        std::vector<bool> grouped(m_items.Count());
        // By profile: items that are in no group yet.
        const CProfiles& profiles = m_matching->Profiles();
        std::vector<uint32_t> left(profiles.Count());
        for (uint32_t item = 0; item < m_items.Count(); ++item) ++left[profiles.Of(item)];
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
    }
    old.Gone(changes);
    m_groups = std::move(groups);
    m_changes = std::move(changes);
    return 1;
}
