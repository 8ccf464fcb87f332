#pragma once
// Which of equal items is kept: the rule for the original, what the rule has to know of items, and the ranking.
//
// The facts of an item are kept in its record. They are counted from the values read where these tell all, or looked
// for when the item first has equals; that may open it again.

#include <vector>

#include "dupsearch/CProfiles.h"
#include "dupsearch/field_value.h"
#include "dupsearch/place_values.h"

namespace dupsearch {

class COriginals {
  public:
    /// The search whose items are asked.
    struct TSource {
        const TPlan& plan;
        CItems& items;
        const CProfiles& profiles;
    };
    /// What was asked of items when one was added.
    struct TAsked {
        bool counted = true;           // the new item's facts are known from the values read
        bool equalsToo = false;        // its equals have to be asked
        std::vector<uint32_t> walked;  // items whose facts were looked for, the last one of each profile
        std::vector<uint32_t> failed;  // and were not found
    };

    COriginals() = default;
    /// nFieldIndex: where the copied definitions have the wanted field, or -1. A rule that cannot be used is logged,
    /// and the item with most filled properties is kept.
    COriginals(const TOriginalDefinition* definition, int nFieldIndex);

    unsigned Kind() const { return m_nKind; }

    /// Asks a new item, as far as it is needed.
    TAsked Ask(const TSource& source, TAddedItem& added, bool hasEquals);
    /// Asks the items of profiles that are found to be equal now, and again those that failed before.
    void AskEquals(const TSource& source, const std::vector<uint32_t>& profiles, std::vector<uint32_t> again,
                   TAsked& asked);
    /// Items that could not be asked so far.
    const std::vector<uint32_t>& Failed() const { return m_failed; }
    /// Makes room, so that recording this cannot fail.
    void MakeRoomFor(const TSource& source, const TAsked& asked);
    void Record(const TSource& source, const TAsked& asked) noexcept;

    /// Whether the wanted field is known by its tag.
    bool KnowsField(const TPlan& plan) const;
    /// Originals are chosen by a field again that could not be used so far: nobody had its value.
    void TakeFieldBack(CItems& items);

    /// The items of these numbers, the best original first.
    std::vector<uint32_t> Rank(const TPlan& plan, const CItems& items,
                               const std::vector<uint32_t>& numbers) const;

  private:
    bool NeedsFacts() const;
    bool NeedsMessage(const TPlan& plan, const TItem& item) const;
    bool CountAtHand(const TPlan& plan, TItem& item) const;
    bool CalcFacts(const TSource& source, TItem& item, IMessage* message);
    int CountFilledProps(const TPlan& plan, TItem& item, IMessage* message) const;
    void CalcFieldValue(const TSource& source, TItem& item, IMessage* message);

    unsigned m_nKind = okMostFilled;
    int m_nFieldIndex = -1;
    TWantedValue m_wanted;
    bool m_bAllCounted = true;       // each item had its facts counted from the values read
    std::vector<uint32_t> m_upTo;    // by profile: the last item whose facts were looked for
    std::vector<uint32_t> m_failed;  // items that could not be opened for them, and are tried again
};

/// 1 when a is preferred over b as original, -1 when b is; never 0. Not transitive for okLargestValues and
/// okApntRecurrence. `sizes`: how many ValuesSizes an item has. What an item's facts leave open is logged and
/// passed on to the number of filled properties, then to the order of addition.
int fnCompareOriginal(const TItem& a, const TItem& b, unsigned nKind, size_t sizes);

}  // namespace dupsearch
