#pragma once
// Which items equal a new one: the two compare algorithms, over all properties or group by group.
//
// Works on profiles (CProfiles): the equals of an item are whole profiles. The algorithms run over
// candidates (CCandidates), a superset of the profiles that can come out equal; whether a profile is equal depends
// on nothing but the item and that profile. An item that could not be filed everywhere is run over all profiles,
// since it writes a line for every property that it gets to.

#include "dupsearch/CCandidates.h"

namespace dupsearch {

class CMatching {
  public:
    CMatching(const CProfiles::CompareData& compareData, unsigned nCompareAlgorithm, bool bGrouped,
              int nGroups);

    /// An item that is about to be filed, as it is matched. ruleFacts: what the exception rules read of it. memory:
    /// for the result.
    TMatchedItem Look(const TItem& item, std::span<const TFiling> filings, base::CTuples::Tuple ruleFacts,
                      std::pmr::memory_resource& memory);
    /// The profiles whose items all equal the item: of all, or of these alone.
    std::vector<uint32_t> FindEquals(const TMatchedItem& item);
    std::vector<uint32_t> FindEqualsAmong(const TMatchedItem& item, std::vector<uint32_t> candidates) const;

    /// Makes room, so that appending the item cannot fail.
    void MakeRoomFor(const TMatchedItem& item) { m_profiles.MakeRoomFor(item.item.nIndex, item.states); }
    /// The item takes its place among the others, once its filings are filed.
    void Append(const TMatchedItem& item) noexcept;

    /// Properties of single values came in at the end, in which all items of a profile are filed alike; the groups
    /// were numbered anew. Changes nothing when memory runs out.
    void AddProperties(int nGroups);

    const CProfiles& Profiles() const { return m_profiles; }

  private:
    bool IsTroubled(const TMatchedItem& item) const;

    TMatchRules m_rules;
    bool m_bWritesLines;  // whatever is matched
    CProfiles m_profiles;
    CCandidates m_candidates{m_rules, m_profiles};
};

}  // namespace dupsearch
