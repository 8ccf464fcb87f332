#pragma once
// Which items equal a new one: the two compare algorithms, over all properties or group by group.
//
// Works on profiles (CProfiles): the equals of an item are whole profiles. The algorithms run over
// candidates, a superset of the profiles that can come out equal, found through the properties whose values
// fewest share; whether a profile is equal depends on nothing but the item and that profile. An item that
// could not be filed everywhere is run over all profiles, since it writes a line for every property that it
// gets to.

#include <optional>

#include "dupsearch/CProfiles.h"

/// Outcome of one pass over a group of properties.
enum efd {
    efdNO = 0,      // no other item is equal
    efdYES = 1,     // the equals set holds the item and its equals
    efdUNKNOWN = 2  // all values are empty, or only items that lack the values are left
};

class CMatching {
  public:
    CMatching(const CProfiles::CompareData& compareData, unsigned nCompareAlgorithm, bool bGrouped,
              int nGroups);

    /// The item that the following is about, which is appended next, once its filings are filed. ruleFacts: what
    /// the exception rules read of it.
    void SetItem(const TItem& item, std::span<const TFiling> filings, CTuples::Tuple ruleFacts);
    /// The profile of its like, or kNone. Nobody's like is an item whose matching writes lines, or whose equals
    /// depend on more than profiles.
    uint32_t Profile() const { return m_profile; }
    bool IsAlone() const { return m_bAlone; }
    /// Fills in the profiles whose items all equal the item: of all, or of these alone.
    void FindDuplicates(std::vector<uint32_t>& equals);
    void FindDuplicatesAmong(std::vector<uint32_t> candidates, std::vector<uint32_t>& equals);

    /// Makes room, so that appending the item cannot fail.
    void MakeRoomForItem() { m_profiles.MakeRoomFor(m_item->nIndex, m_states); }
    /// The item takes its place among the others.
    void Append() noexcept;

    /// Properties of single values came in at the end, in which all items of a profile are filed alike; the groups
    /// were numbered anew. Changes nothing when memory runs out.
    void AddProperties(int nGroups);

    const CProfiles& Profiles() const { return m_profiles; }

  private:
    /// A set of items: the new item itself or not, and profiles of others.
    struct TItemSet {
        bool holdsItem = false;
        std::vector<uint32_t> others;
        // A profile counts as one: only none, one and more are told apart.
        size_t size() const { return others.size() + holdsItem; }
    };
    using TOptionalSet = std::optional<TItemSet>;
    class CEqualsTest;
    /// A value of the item, and how many profiles share it.
    struct Shared {
        uint32_t count;
        size_t property;
    };

    void FindEquals(std::vector<uint32_t>& equals);
    bool RunAlgorithm(TOptionalSet& equals);
    efd FindDuplicates_Identical(TOptionalSet& equals);
    efd FindDuplicates_Similar(TOptionalSet& equals);
    efd FindDuplicates_Identical_(int group, TOptionalSet& pEquals, bool& allEmpty);
    efd FindDuplicates_Similar_(int group, TOptionalSet& pEquals, TOptionalSet& pEmpties);
    bool IsConsistent(size_t property, const char* routine) const;
    bool IsInGroup(size_t property, int group) const {
        return group < 0 || m_compareData[property]->Definition().nGroup == group;
    }
    bool IsFiled(size_t property) const { return m_states[property] < CProfiles::kUnfiled; }
    size_t Properties() const { return m_compareData.size(); }
    /// Whether a search of the range cannot fail.
    bool HasOnlyTimes(size_t property) const {
        return m_compareData[property]->HasOnlyTimes() &&
               PROP_TYPE(m_values[property]->ulPropTag) == PT_SYSTIME;
    }
    template <typename Visit>
    void FindEqualsInRange(size_t property, Visit&& visit) const {
        m_compareData[property]->FindEqualsInRange(m_states[property], *m_values[property], visit);
    }

    // Candidates.
    bool IsTroubled() const;
    void FindCandidates();
    void FindCandidatesIdentical();
    void FindCandidatesSimilar();
    uint32_t CountAt(size_t property) const;
    void Collect(size_t property, uint32_t node, uint64_t withoutFilled);
    void CollectEquals(size_t property, uint64_t withoutFilled);

    const CProfiles::CompareData& m_compareData;
    const unsigned m_nCompareAlgorithm;
    const bool m_bGrouped;
    int m_nGroups;
    bool m_bWritesLines;           // whatever is matched
    std::vector<size_t> m_ranges;  // properties of which equality is a range
    CProfiles m_profiles;

    // The item being matched.
    const TItem* m_item = nullptr;
    CProfiles::States m_states;
    std::vector<const SPropValue*> m_values;  // by property, of ranges alone
    uint32_t m_profile = kNone;
    bool m_bAlone = false;
    std::vector<uint32_t> m_candidates;  // handed on when the first set is made of them
    std::vector<Shared> m_shared;
    // By profile: the matching that collected it last.
    std::vector<uint32_t> m_collected;
    uint32_t m_round = 0;
};
