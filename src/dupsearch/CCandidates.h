#pragma once
// The profiles that can come out equal to an item, found through the properties whose values fewest share.

#include <memory_resource>
#include <vector>

#include "dupsearch/CProfiles.h"

namespace dupsearch {

/// What matching goes by.
struct TMatchRules {
    const CProfiles::CompareData& compareData;
    unsigned nCompareAlgorithm;
    bool bGrouped;
    int nGroups;
    std::vector<size_t> ranges{};  // properties of which equality is a range

    size_t Properties() const { return compareData.size(); }
    /// A negative group: all properties.
    bool IsInGroup(size_t property, int group) const {
        return group < 0 || compareData[property]->Definition().nGroup == group;
    }
};

/// An item as matching sees it. One whose matching writes lines, or whose equals depend on more than profiles, is in
/// no profile with others and is matched alone.
struct TMatchedItem {
    const TItem& item;
    CProfiles::States states;
    std::pmr::vector<const SPropValue*> values;  // by property, of ranges alone
    bool bAlone = false;
    uint32_t profile = kNone;  // that it belongs to; kNone: none yet, or it is alone

    bool IsFiled(size_t property) const { return states[property] < CProfiles::kUnfiled; }
};

/// Visits the nodes in range of an item's value.
template <typename Visit>
void FindEqualsInRange(const TMatchRules& rules, const TMatchedItem& item, size_t property, Visit&& visit) {
    rules.compareData[property]->FindEqualsInRange(item.states[property], *item.values[property], visit);
}

class CCandidates {
  public:
    /// Both live as long as this.
    CCandidates(const TMatchRules& rules, const CProfiles& profiles) : m_rules(rules), m_profiles(profiles) {}
    CCandidates(const CCandidates&) = delete;

    /// Each once, in no order; all profiles for an item that is matched alone.
    std::vector<uint32_t> Find(const TMatchedItem& item);

  private:
    void FindIdentical(const TMatchedItem& item, std::vector<uint32_t>& found);
    void FindSimilar(const TMatchedItem& item, std::vector<uint32_t>& found);
    uint32_t CountAt(const TMatchedItem& item, size_t property) const;
    void Collect(size_t property, uint32_t node, uint64_t withoutFilled, std::vector<uint32_t>& found);
    void CollectEquals(const TMatchedItem& item, size_t property, uint64_t withoutFilled,
                       std::vector<uint32_t>& found);

    const TMatchRules& m_rules;
    const CProfiles& m_profiles;
    // By profile: the search that collected it last.
    std::vector<uint32_t> m_collected;
    uint32_t m_nRound = 0;
};

}  // namespace dupsearch
