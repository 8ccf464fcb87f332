#include "dupsearch/CMatching.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "compare/CDefinitions.h"
#include "log/CLog.h"

namespace {

constexpr char kTag[] = "CDuplicateSearch.FindDuplicates";
constexpr char kIdenticalTag[] = "CDuplicateSearch.FindDuplicates_Identical_";
constexpr char kSimilarTag[] = "CDuplicateSearch.FindDuplicates_Similar_";
constexpr int kAllGroups = -1;

efd GroupNotFound(const char* routine, int group) {
    g_Log.Error(routine, "group(%d) not found\n", group);
    return efdNO;
}

}  // namespace

/// Whether a profile's value of one property equals the item's, or is empty.
class CMatching::CEqualsTest {
  public:
    CEqualsTest(const CMatching& matching, size_t property)
        : m_profiles(matching.m_profiles),
          m_data(*matching.m_compareData[property]),
          m_property(property),
          m_state(matching.m_states[property]),
          m_own(matching.m_profiles.Nodes(property, m_state)),
          m_range(m_data.IsRange()),
          m_searched(m_range && !matching.HasOnlyTimes(property)),
          m_value(m_range ? matching.m_values[property] : nullptr) {
        if (!m_searched) return;
        matching.FindEqualsInRange(property, [this](uint32_t node) {
            m_found.push_back(node);
            return true;
        });
        std::sort(m_found.begin(), m_found.end());
    }
    CEqualsTest(const CEqualsTest&) = delete;

    bool IsEmpty(uint32_t profile) const {
        return m_profiles.State(profile, m_property) == CProfiles::kEmpty;
    }

    bool IsEqual(uint32_t profile) const {
        const uint32_t state = m_profiles.State(profile, m_property);
        if (state == m_state) return true;
        if (state >= CProfiles::kUnfiled) return false;
        if (m_searched) return std::binary_search(m_found.begin(), m_found.end(), state);
        if (m_range) {
            return CompareApproxStart(m_value->Value.ft, m_data.NodeValue(state).Value.ft) == 0;
        }
        return m_data.IsMultiTree() &&
               std::ranges::find_first_of(m_profiles.Nodes(m_property, state), m_own) !=
                   m_profiles.Nodes(m_property, state).end();
    }

  private:
    const CProfiles& m_profiles;
    const CCmpData& m_data;
    const size_t m_property;
    const uint32_t& m_state;
    const std::span<const uint32_t> m_own;
    const bool m_range;
    const bool m_searched;  // the nodes in range, where a comparison of values can fail
    const SPropValue* const m_value;
    std::vector<uint32_t> m_found;
};

CMatching::CMatching(const CProfiles::CompareData& compareData, unsigned nCompareAlgorithm, bool bGrouped,
                     int nGroups)
    : m_compareData(compareData),
      m_nCompareAlgorithm(nCompareAlgorithm),
      m_bGrouped(bGrouped),
      m_nGroups(nGroups),
      m_bWritesLines(nCompareAlgorithm > saIdentical),
      m_profiles(compareData) {
    for (int group = 0; bGrouped && group < nGroups; ++group) {
        if (std::ranges::none_of(compareData, [&](const auto& d) { return d->Definition().nGroup == group; }))
            m_bWritesLines = true;
    }
    for (size_t p = 0; p < m_compareData.size(); ++p) {
        if (m_compareData[p]->IsRange()) m_ranges.push_back(p);
    }
}

void CMatching::SetItem(const TItem& item, std::span<const TFiling> filings, CTuples::Tuple ruleFacts) {
    m_item = &item;
    m_profiles.GetStates(filings, ruleFacts, m_states);
    m_values.assign(Properties(), nullptr);
    for (const size_t p : m_ranges) {
        const auto filing = std::ranges::find(filings, m_compareData[p].get(), &TFiling::data);
        if (filing != filings.end() && filing->value) m_values[p] = &*filing->value;
    }
    m_bAlone = IsTroubled();
    m_profile = m_bAlone ? kNone : m_profiles.Find(m_states);
}

void CMatching::Append() noexcept {
    if (m_bAlone) {
        m_profiles.AppendAlone(m_item->nIndex, m_states);
    } else {
        m_profiles.Append(m_item->nIndex, m_profile, m_states);
    }
}

void CMatching::FindDuplicates(std::vector<uint32_t>& equals) {
    // Most sets are made in the memory of the last one.
    m_candidates.swap(equals);
    m_candidates.clear();
    if (m_nCompareAlgorithm <= saIdentical) FindCandidates();
    FindEquals(equals);
}

void CMatching::FindDuplicatesAmong(std::vector<uint32_t> candidates, std::vector<uint32_t>& equals) {
    m_candidates = std::move(candidates);
    FindEquals(equals);
}

void CMatching::FindEquals(std::vector<uint32_t>& equals) {
    TOptionalSet found;
    const bool any = RunAlgorithm(found);
    if (found) equals.swap(found->others);
    if (!any) equals.clear();
}

void CMatching::AddProperties(int nGroups) {
    const size_t before = m_profiles.Properties();
    base::MakeRoom(m_ranges, m_compareData.size());
    m_profiles.AddProperties();
    m_nGroups = nGroups;
    for (size_t p = before; p < m_compareData.size(); ++p) {
        if (m_compareData[p]->IsRange()) m_ranges.push_back(p);
    }
}

/// Whether there are others in the set.
bool CMatching::RunAlgorithm(TOptionalSet& equals) {
    efd found = efdNO;
    switch (m_nCompareAlgorithm) {
        case saIdentical:
            found = FindDuplicates_Identical(equals);
            break;
        case saSimilar:
            found = FindDuplicates_Similar(equals);
            break;
        default:
            g_Log.Error(kTag, "Invalid CompareAlgorithm(%d)", m_nCompareAlgorithm);
    }
    if (found != efdYES || !equals) return false;
    if (equals->holdsItem) return !equals->others.empty();
    g_Log.Error(kTag, "pItem not in equals!\n");
    return false;
}

efd CMatching::FindDuplicates_Identical(TOptionalSet& equals) {
    bool allEmpty = true;
    if (!m_bGrouped) return FindDuplicates_Identical_(kAllGroups, equals, allEmpty);
    for (int group = 0; group < m_nGroups; ++group) {
        const efd nFound = FindDuplicates_Identical_(group, equals, allEmpty);
        if (nFound != efdUNKNOWN) return nFound;
    }
    return efdUNKNOWN;
}

efd CMatching::FindDuplicates_Similar(TOptionalSet& equals) {
    TOptionalSet pEquals_, pEmpties;
    if (!m_bGrouped) return FindDuplicates_Similar_(kAllGroups, equals, pEmpties);
    const auto size = [](const TOptionalSet& set) { return set ? set->size() : 0; };
    for (int group = 0; group < m_nGroups; ++group) {
        const efd nFound = FindDuplicates_Similar_(group, pEquals_, pEmpties);
        if (nFound == efdNO) {
            g_Log.Assert(size(pEquals_) <= 1, kTag, __LINE__, "nFound == efdNO:  pEquals_->size() <= 1");
            g_Log.Assert(size(pEmpties) == 0, kTag, __LINE__, "nFound == efdNO:  pEmpties->size() == 0");
            break;
        }
        if (nFound == efdUNKNOWN) {
            g_Log.Assert(size(pEquals_) <= 1, kTag, __LINE__, "nFound == efdUNKNOWN:  pEquals_->size() <= 1");
            continue;
        }
        g_Log.Assert(size(pEquals_) >= 2, kTag, __LINE__, "nFound == efdYES: pEquals_->size() >= 2");
        if (!equals) equals.emplace();
        equals->holdsItem |= pEquals_->holdsItem;
        equals->others.insert(equals->others.end(), pEquals_->others.begin(), pEquals_->others.end());
        if (size(pEmpties) == 0) break;
        pEquals_ = TItemSet{true, {}};
    }
    return equals ? efdYES : efdNO;
}

/// Whether the item's value is filed or empty; an item that a comparator could not place is neither.
bool CMatching::IsConsistent(size_t property, const char* routine) const {
    if (m_states[property] != CProfiles::kUnfiled) return true;
    g_Log.ErrorW(routine, L"IsPropEmpty == IsPropNotEmpty, for pItem(%s), Prop(%s)\n",
                 base::Widen(m_item->EntryID).c_str(), KeyOf(m_compareData[property]->Definition()));
    return false;
}

efd CMatching::FindDuplicates_Identical_(int group, TOptionalSet& pEquals, bool& allEmpty) {
    bool groupFound = false;
    for (size_t p = 0; p < m_compareData.size(); ++p) {
        if (!IsInGroup(p, group)) continue;
        groupFound = true;
        if (!IsConsistent(p, kIdenticalTag)) continue;
        if (!pEquals) pEquals = TItemSet{true, std::exchange(m_candidates, {})};
        std::vector<uint32_t>& others = pEquals->others;
        if (m_states[p] == CProfiles::kEmpty) {
            std::erase_if(others, [&](uint32_t y) { return m_profiles.State(y, p) != CProfiles::kEmpty; });
        } else {
            allEmpty = false;
            const CEqualsTest test(*this, p);
            std::erase_if(others, [&](uint32_t y) { return !test.IsEqual(y); });
        }
        if (pEquals->size() < 2) return efdNO;
    }
    if (!groupFound) return GroupNotFound(kIdenticalTag, group);
    return allEmpty ? efdUNKNOWN : efdYES;
}

efd CMatching::FindDuplicates_Similar_(int group, TOptionalSet& pEquals, TOptionalSet& pEmpties) {
    bool groupFound = false;
    for (size_t p = 0; p < m_compareData.size(); ++p) {
        if (!IsInGroup(p, group)) continue;
        groupFound = true;
        if (!IsConsistent(p, kSimilarTag) || m_states[p] == CProfiles::kEmpty) continue;
        const CEqualsTest test(*this, p);
        const bool first = !pEquals;
        if (first) {
            // All candidates lack the values before this one, where there were none.
            pEquals = TItemSet{true, {}};
            pEmpties = TItemSet{false, std::exchange(m_candidates, {})};
        }
        TItemSet& equals = *pEquals;
        TItemSet& empties = *pEmpties;
        std::erase_if(equals.others, [&](uint32_t y) { return !test.IsEqual(y) && !test.IsEmpty(y); });
        std::erase_if(empties.others, [&](uint32_t y) {
            if (test.IsEqual(y)) equals.others.push_back(y);
            return !test.IsEmpty(y);
        });
        if (!first && equals.size() < 2 && empties.size() == 0) break;
    }
    if (!groupFound) return GroupNotFound(kSimilarTag, group);
    if (pEquals) {
        if (pEquals->size() >= 2) return efdYES;
        g_Log.Assert(pEquals->size() == 1, kSimilarTag, __LINE__, "pEquals->size() == 1");
        return pEmpties && pEmpties->size() != 0 ? efdUNKNOWN : efdNO;
    }
    g_Log.Assert(!pEmpties, kSimilarTag, __LINE__, "pEmpties == NULL");
    return efdUNKNOWN;
}
