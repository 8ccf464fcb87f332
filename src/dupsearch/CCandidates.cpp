#include "dupsearch/CCandidates.h"

#include <algorithm>
#include <climits>
#include <numeric>

namespace dupsearch {

namespace {

constexpr uint32_t kUncounted = 0xFFFFFFFF;

/// A value of an item, and how many profiles share it.
struct TShared {
    uint32_t count;
    size_t property;
};

uint64_t BitOf(size_t property) {
    return property < 64 ? uint64_t{1} << property : 0;
}

}  // namespace

std::vector<uint32_t> CCandidates::Find(const TMatchedItem& item) {
    ++m_nRound;
    std::vector<uint32_t> found;
    if (item.bAlone) {
        found.resize(m_profiles.Count());
        std::iota(found.begin(), found.end(), 0u);
    } else if (m_rules.nCompareAlgorithm == saIdentical) {
        FindIdentical(item, found);
    } else {
        FindSimilar(item, found);
    }
    return found;
}

/// How many profiles share the item's value or emptiness; a range of times is not counted.
uint32_t CCandidates::CountAt(const TMatchedItem& item, size_t property) const {
    if (!item.IsFiled(property)) return m_profiles.CountAt(property, item.states[property]);
    if (m_rules.compareData[property]->IsRange()) return kUncounted;
    uint32_t count = 0;
    for (const uint32_t node : m_profiles.Nodes(property, item.states[property])) {
        count += m_profiles.CountAt(property, node);
    }
    return count;
}

void CCandidates::Collect(size_t property, uint32_t node, uint64_t withoutFilled,
                          std::vector<uint32_t>& found) {
    m_collected.resize(m_profiles.Count());
    m_profiles.VisitAt(property, node, withoutFilled, [&](uint32_t profile) {
        if (m_collected[profile] == m_nRound) return;
        m_collected[profile] = m_nRound;
        found.push_back(profile);
    });
}

void CCandidates::CollectEquals(const TMatchedItem& item, size_t property, uint64_t withoutFilled,
                                std::vector<uint32_t>& found) {
    if (!item.IsFiled(property)) {
        Collect(property, CProfiles::kEmpty, withoutFilled, found);
    } else if (m_rules.compareData[property]->IsRange()) {
        FindEqualsInRange(m_rules, item, property, [&](uint32_t node) {
            Collect(property, node, withoutFilled, found);
            return true;
        });
    } else {
        for (const uint32_t node : m_profiles.Nodes(property, item.states[property])) {
            Collect(property, node, withoutFilled, found);
        }
    }
}

// An equal agrees in every property up to the group that decides, so those that agree in the rarest value do.
void CCandidates::FindIdentical(const TMatchedItem& item, std::vector<uint32_t>& found) {
    // The first group in which a value is filled decides, or an earlier one says no.
    int deciding = INT_MAX;
    for (size_t p = 0; p < m_rules.Properties(); ++p) {
        if (item.IsFiled(p))
            deciding = std::min(deciding, m_rules.bGrouped ? m_rules.compareData[p]->Definition().nGroup : 0);
    }
    if (deciding == INT_MAX) return;

    size_t rarest = 0;
    uint32_t fewest = kUncounted;
    std::vector<size_t> ranges;
    // One is few enough to look no further.
    for (size_t p = 0; p < m_rules.Properties() && fewest > 1; ++p) {
        if (m_rules.bGrouped && m_rules.compareData[p]->Definition().nGroup > deciding) continue;
        if (const uint32_t count = CountAt(item, p); count < fewest) {
            if (count == 0) return;  // nobody shares it
            rarest = p;
            fewest = count;
        } else if (count == kUncounted) {
            ranges.push_back(p);
        }
    }
    // A range is worth its search only while it holds fewer.
    for (const size_t p : ranges) {
        uint32_t count = 0;
        FindEqualsInRange(m_rules, item, p, [&](uint32_t node) {
            count += m_profiles.CountAt(p, node);
            return count < fewest;
        });
        if (count < fewest) {
            rarest = p;
            fewest = count;
        }
    }
    const bool isRange = item.IsFiled(rarest) && m_rules.compareData[rarest]->IsRange();
    if (isRange || (item.IsFiled(rarest) && m_profiles.Nodes(rarest, item.states[rarest]).size() > 1)) {
        CollectEquals(item, rarest, 0, found);
    } else {
        // A profile is listed once at a node.
        m_profiles.VisitAt(rarest, item.states[rarest], 0,
                           [&](uint32_t profile) { found.push_back(profile); });
    }
}

// An equal agrees in at least one value of the first group in which it has any of the item's. Taking the
// values from the rarest on, it lacks those before the first that it shares, and all of earlier groups.
void CCandidates::FindSimilar(const TMatchedItem& item, std::vector<uint32_t>& found) {
    uint64_t passed = 0;
    for (int group = 0; group < (m_rules.bGrouped ? m_rules.nGroups : 1); ++group) {
        std::pmr::vector<TShared> values(item.states.get_allocator());
        for (size_t p = 0; p < m_rules.Properties(); ++p) {
            if (item.IsFiled(p) && m_rules.IsInGroup(p, m_rules.bGrouped ? group : -1))
                values.push_back({CountAt(item, p), p});
        }
        std::sort(values.begin(), values.end(),
                  [](const TShared& a, const TShared& b) { return a.count < b.count; });
        for (const TShared& value : values) {
            CollectEquals(item, value.property, passed, found);
            // Nobody lacks this value: everybody left has another one.
            if (m_profiles.CountAt(value.property, CProfiles::kEmpty) == 0) return;
            passed |= BitOf(value.property);
        }
    }
}

}  // namespace dupsearch
