// The profiles that can come out equal to an item.

#include <algorithm>
#include <climits>
#include <numeric>

#include "dupsearch/CMatching.h"

namespace {

constexpr uint32_t kUncounted = 0xFFFFFFFF;

uint64_t BitOf(size_t property) {
    return property < 64 ? uint64_t{1} << property : 0;
}

}  // namespace

/// Whether matching this item can write a line.
bool CMatching::IsTroubled() const {
    if (m_bWritesLines) return true;
    if (std::ranges::find(m_states, CProfiles::kUnfiled) != m_states.end()) return true;
    return std::ranges::any_of(m_ranges, [this](size_t p) { return IsFiled(p) && !HasOnlyTimes(p); });
}

void CMatching::FindCandidates() {
    ++m_round;
    if (m_bAlone) {
        m_candidates.resize(m_profiles.Count());
        std::iota(m_candidates.begin(), m_candidates.end(), 0u);
    } else if (m_nCompareAlgorithm == saIdentical) {
        FindCandidatesIdentical();
    } else {
        FindCandidatesSimilar();
    }
}

/// How many profiles share the item's value or emptiness; a range of times is not counted.
uint32_t CMatching::CountAt(size_t property) const {
    if (!IsFiled(property)) return m_profiles.CountAt(property, m_states[property]);
    if (m_compareData[property]->IsRange()) return kUncounted;
    uint32_t count = 0;
    for (const uint32_t node : m_profiles.Nodes(property, m_states[property])) {
        count += m_profiles.CountAt(property, node);
    }
    return count;
}

void CMatching::Collect(size_t property, uint32_t node, uint64_t withoutFilled) {
    m_collected.resize(m_profiles.Count());
    m_profiles.VisitAt(property, node, withoutFilled, [&](uint32_t profile) {
        if (m_collected[profile] == m_round) return;
        m_collected[profile] = m_round;
        m_candidates.push_back(profile);
    });
}

void CMatching::CollectEquals(size_t property, uint64_t withoutFilled) {
    if (!IsFiled(property)) {
        Collect(property, CProfiles::kEmpty, withoutFilled);
    } else if (m_compareData[property]->IsRange()) {
        FindEqualsInRange(property, [&](uint32_t node) {
            Collect(property, node, withoutFilled);
            return true;
        });
    } else {
        for (const uint32_t node : m_profiles.Nodes(property, m_states[property])) {
            Collect(property, node, withoutFilled);
        }
    }
}

// An equal agrees in every property up to the group that decides, so those that agree in the rarest value do.
void CMatching::FindCandidatesIdentical() {
    // The first group in which a value is filled decides, or an earlier one says no.
    int deciding = INT_MAX;
    for (size_t p = 0; p < Properties(); ++p) {
        if (IsFiled(p)) deciding = std::min(deciding, m_bGrouped ? m_compareData[p]->Definition().nGroup : 0);
    }
    if (deciding == INT_MAX) return;

    size_t rarest = 0;
    uint32_t fewest = kUncounted;
    std::vector<size_t> ranges;
    // One is few enough to look no further.
    for (size_t p = 0; p < Properties() && fewest > 1; ++p) {
        if (m_bGrouped && m_compareData[p]->Definition().nGroup > deciding) continue;
        if (const uint32_t count = CountAt(p); count < fewest) {
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
        FindEqualsInRange(p, [&](uint32_t node) {
            count += m_profiles.CountAt(p, node);
            return count < fewest;
        });
        if (count < fewest) {
            rarest = p;
            fewest = count;
        }
    }
    const bool isRange = IsFiled(rarest) && m_compareData[rarest]->IsRange();
    if (isRange || (IsFiled(rarest) && m_profiles.Nodes(rarest, m_states[rarest]).size() > 1)) {
        CollectEquals(rarest, 0);
    } else {
        // A profile is listed once at a node.
        m_profiles.VisitAt(rarest, m_states[rarest], 0,
                           [&](uint32_t profile) { m_candidates.push_back(profile); });
    }
}

// An equal agrees in at least one value of the first group in which it has any of the item's. Taking the
// values from the rarest on, it lacks those before the first that it shares, and all of earlier groups.
void CMatching::FindCandidatesSimilar() {
    uint64_t passed = 0;
    for (int group = 0; group < (m_bGrouped ? m_nGroups : 1); ++group) {
        std::vector<Shared>& values = m_shared;
        values.clear();
        for (size_t p = 0; p < Properties(); ++p) {
            if (IsFiled(p) && IsInGroup(p, m_bGrouped ? group : -1)) values.push_back({CountAt(p), p});
        }
        std::sort(values.begin(), values.end(),
                  [](const Shared& a, const Shared& b) { return a.count < b.count; });
        for (const Shared& value : values) {
            CollectEquals(value.property, passed);
            // Nobody lacks this value: everybody left has another one.
            if (m_profiles.CountAt(value.property, CProfiles::kEmpty) == 0) return;
            passed |= BitOf(value.property);
        }
    }
}
