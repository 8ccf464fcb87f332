#include "dupsearch/CMatching.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/text.h"
#include "compare/CDefinitions.h"
#include "log/CLog.h"

namespace dupsearch {

using base::CTuples;
using logging::g_Log;

namespace {

constexpr char kTag[] = "CDuplicateSearch.FindDuplicates";
constexpr char kIdenticalTag[] = "CDuplicateSearch.FindDuplicates_Identical_";
constexpr char kSimilarTag[] = "CDuplicateSearch.FindDuplicates_Similar_";
constexpr int kAllGroups = -1;

/// Outcome of one pass over a group of properties.
enum efd {
    efdNO = 0,      // no other item is equal
    efdYES = 1,     // the equals set holds the item and its equals
    efdUNKNOWN = 2  // all values are empty, or only items that lack the values are left
};

efd GroupNotFound(const char* routine, int group) {
    g_Log.Error(routine, "group(%d) not found\n", group);
    return efdNO;
}

/// Whether a search of the range cannot fail.
bool HasOnlyTimes(const TMatchRules& rules, const TMatchedItem& item, size_t property) {
    return rules.compareData[property]->HasOnlyTimes() &&
           PROP_TYPE(item.values[property]->ulPropTag) == PT_SYSTIME;
}

/// Whether a profile's value of one property equals the item's, or is empty.
class CEqualsTest {
  public:
    CEqualsTest(const TMatchRules& rules, const CProfiles& profiles, const TMatchedItem& item,
                size_t property)
        : m_profiles(profiles),
          m_data(*rules.compareData[property]),
          m_nProperty(property),
          m_state(item.states[property]),
          m_own(profiles.Nodes(property, m_state)),
          m_bRange(m_data.IsRange()),
          m_bSearched(m_bRange && !HasOnlyTimes(rules, item, property)),
          m_pValue(m_bRange ? item.values[property] : nullptr) {
        if (!m_bSearched) return;
        FindEqualsInRange(rules, item, property, [this](uint32_t node) {
            m_found.push_back(node);
            return true;
        });
        std::sort(m_found.begin(), m_found.end());
    }
    CEqualsTest(const CEqualsTest&) = delete;

    bool IsEmpty(uint32_t profile) const {
        return m_profiles.State(profile, m_nProperty) == CProfiles::kEmpty;
    }

    bool IsEqual(uint32_t profile) const {
        const uint32_t state = m_profiles.State(profile, m_nProperty);
        if (state == m_state) return true;
        if (state >= CProfiles::kUnfiled) return false;
        if (m_bSearched) return std::binary_search(m_found.begin(), m_found.end(), state);
        if (m_bRange) {
            return CompareApproxStart(m_pValue->Value.ft, m_data.NodeValue(state).Value.ft) == 0;
        }
        return m_data.IsMultiTree() &&
               std::ranges::find_first_of(m_profiles.Nodes(m_nProperty, state), m_own) !=
                   m_profiles.Nodes(m_nProperty, state).end();
    }

  private:
    const CProfiles& m_profiles;
    const CCmpData& m_data;
    const size_t m_nProperty;
    const uint32_t& m_state;
    const std::span<const uint32_t> m_own;
    const bool m_bRange;
    const bool m_bSearched;  // the nodes in range, where a comparison of values can fail
    const SPropValue* const m_pValue;
    std::vector<uint32_t> m_found;
};

/// One matching of an item: the two algorithms, over candidates.
class CAlgorithm {
  public:
    CAlgorithm(const TMatchRules& rules, const CProfiles& profiles, const TMatchedItem& item,
               std::vector<uint32_t> candidates)
        : m_rules(rules), m_profiles(profiles), m_item(item), m_candidates(std::move(candidates)) {}

    std::vector<uint32_t> Equals() {
        TOptionalSet found;
        return Run(found) && found ? std::move(found->others) : std::vector<uint32_t>();
    }

  private:
    /// A set of items: the new item itself or not, and profiles of others.
    struct TItemSet {
        bool holdsItem = false;
        std::vector<uint32_t> others;
        // A profile counts as one: only none, one and more are told apart.
        size_t size() const { return others.size() + holdsItem; }
    };
    using TOptionalSet = std::optional<TItemSet>;

    bool Run(TOptionalSet& equals);
    efd FindIdentical(TOptionalSet& equals);
    efd FindSimilar(TOptionalSet& equals);
    efd FindIdenticalIn(int group, TOptionalSet& pEquals, bool& allEmpty);
    efd FindSimilarIn(int group, TOptionalSet& pEquals, TOptionalSet& pEmpties);
    bool IsConsistent(size_t property, const char* routine) const;

    const TMatchRules& m_rules;
    const CProfiles& m_profiles;
    const TMatchedItem& m_item;
    std::vector<uint32_t> m_candidates;  // handed on when the first set is made of them
};

/// Whether there are others in the set.
bool CAlgorithm::Run(TOptionalSet& equals) {
    efd found = efdNO;
    switch (m_rules.nCompareAlgorithm) {
        case saIdentical:
            found = FindIdentical(equals);
            break;
        case saSimilar:
            found = FindSimilar(equals);
            break;
        default:
            g_Log.Error(kTag, "Invalid CompareAlgorithm(%d)", m_rules.nCompareAlgorithm);
    }
    if (found != efdYES || !equals) return false;
    if (equals->holdsItem) return !equals->others.empty();
    g_Log.Error(kTag, "pItem not in equals!\n");
    return false;
}

efd CAlgorithm::FindIdentical(TOptionalSet& equals) {
    bool allEmpty = true;
    if (!m_rules.bGrouped) return FindIdenticalIn(kAllGroups, equals, allEmpty);
    for (int group = 0; group < m_rules.nGroups; ++group) {
        const efd nFound = FindIdenticalIn(group, equals, allEmpty);
        if (nFound != efdUNKNOWN) return nFound;
    }
    return efdUNKNOWN;
}

efd CAlgorithm::FindSimilar(TOptionalSet& equals) {
    TOptionalSet pEquals_, pEmpties;
    if (!m_rules.bGrouped) return FindSimilarIn(kAllGroups, equals, pEmpties);
    const auto size = [](const TOptionalSet& set) { return set ? set->size() : 0; };
    for (int group = 0; group < m_rules.nGroups; ++group) {
        const efd nFound = FindSimilarIn(group, pEquals_, pEmpties);
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
bool CAlgorithm::IsConsistent(size_t property, const char* routine) const {
    if (m_item.states[property] != CProfiles::kUnfiled) return true;
    g_Log.ErrorW(routine, L"IsPropEmpty == IsPropNotEmpty, for pItem(%s), Prop(%s)\n",
                 base::Widen(m_item.item.EntryID).c_str(),
                 compare::KeyOf(m_rules.compareData[property]->Definition()));
    return false;
}

efd CAlgorithm::FindIdenticalIn(int group, TOptionalSet& pEquals, bool& allEmpty) {
    bool groupFound = false;
    for (size_t p = 0; p < m_rules.compareData.size(); ++p) {
        if (!m_rules.IsInGroup(p, group)) continue;
        groupFound = true;
        if (!IsConsistent(p, kIdenticalTag)) continue;
        if (!pEquals) pEquals = TItemSet{true, std::exchange(m_candidates, {})};
        std::vector<uint32_t>& others = pEquals->others;
        if (m_item.states[p] == CProfiles::kEmpty) {
            std::erase_if(others, [&](uint32_t y) { return m_profiles.State(y, p) != CProfiles::kEmpty; });
        } else {
            allEmpty = false;
            const CEqualsTest test(m_rules, m_profiles, m_item, p);
            std::erase_if(others, [&](uint32_t y) { return !test.IsEqual(y); });
        }
        if (pEquals->size() < 2) return efdNO;
    }
    if (!groupFound) return GroupNotFound(kIdenticalTag, group);
    return allEmpty ? efdUNKNOWN : efdYES;
}

efd CAlgorithm::FindSimilarIn(int group, TOptionalSet& pEquals, TOptionalSet& pEmpties) {
    bool groupFound = false;
    for (size_t p = 0; p < m_rules.compareData.size(); ++p) {
        if (!m_rules.IsInGroup(p, group)) continue;
        groupFound = true;
        if (!IsConsistent(p, kSimilarTag) || m_item.states[p] == CProfiles::kEmpty) continue;
        const CEqualsTest test(m_rules, m_profiles, m_item, p);
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

}  // namespace

CMatching::CMatching(const CProfiles::CompareData& compareData, unsigned nCompareAlgorithm, bool bGrouped,
                     int nGroups)
    : m_rules{compareData, nCompareAlgorithm, bGrouped, nGroups},
      m_bWritesLines(nCompareAlgorithm > saIdentical),
      m_profiles(compareData) {
    for (int group = 0; bGrouped && group < nGroups; ++group) {
        if (std::ranges::none_of(compareData, [&](const auto& d) { return d->Definition().nGroup == group; }))
            m_bWritesLines = true;
    }
    for (size_t p = 0; p < m_rules.Properties(); ++p) {
        if (compareData[p]->IsRange()) m_rules.ranges.push_back(p);
    }
}

TMatchedItem CMatching::Look(const TItem& item, std::span<const TFiling> filings, CTuples::Tuple ruleFacts,
                             std::pmr::memory_resource& memory) {
    TMatchedItem looked{item, m_profiles.StatesOf(filings, ruleFacts, memory),
                        std::pmr::vector<const SPropValue*>(&memory)};
    if (!m_rules.ranges.empty()) looked.values.resize(m_rules.Properties());
    for (const size_t p : m_rules.ranges) {
        const auto filing = std::ranges::find(filings, m_rules.compareData[p].get(), &TFiling::data);
        if (filing != filings.end() && filing->value) looked.values[p] = &*filing->value;
    }
    looked.bAlone = IsTroubled(looked);
    if (!looked.bAlone) looked.profile = m_profiles.Find(looked.states);
    return looked;
}

/// Whether matching this item can write a line.
bool CMatching::IsTroubled(const TMatchedItem& item) const {
    if (m_bWritesLines) return true;
    if (std::ranges::find(item.states, CProfiles::kUnfiled) != item.states.end()) return true;
    return std::ranges::any_of(m_rules.ranges,
                               [&](size_t p) { return item.IsFiled(p) && !HasOnlyTimes(m_rules, item, p); });
}

std::vector<uint32_t> CMatching::FindEquals(const TMatchedItem& item) {
    std::vector<uint32_t> candidates;
    if (m_rules.nCompareAlgorithm <= saIdentical) candidates = m_candidates.Find(item);
    return FindEqualsAmong(item, std::move(candidates));
}

std::vector<uint32_t> CMatching::FindEqualsAmong(const TMatchedItem& item,
                                                 std::vector<uint32_t> candidates) const {
    return CAlgorithm(m_rules, m_profiles, item, std::move(candidates)).Equals();
}

void CMatching::Append(const TMatchedItem& item) noexcept {
    if (item.bAlone) {
        m_profiles.AppendAlone(item.item.nIndex, item.states);
    } else {
        m_profiles.Append(item.item.nIndex, item.profile, item.states);
    }
}

void CMatching::AddProperties(int nGroups) {
    const size_t before = m_profiles.Properties();
    base::MakeRoom(m_rules.ranges, m_rules.Properties());
    m_profiles.AddProperties();
    m_rules.nGroups = nGroups;
    for (size_t p = before; p < m_rules.Properties(); ++p) {
        if (m_rules.compareData[p]->IsRange()) m_rules.ranges.push_back(p);
    }
}

}  // namespace dupsearch
