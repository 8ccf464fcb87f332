#pragma once
// A duplicate search: items are added one by one, each read, filed into the tree of every compared property
// and matched against those added before; Build turns the pairs found into groups headed by their originals.
//
// Owns everything it holds; the session is kept until the end. An addition that fails leaves the search as it
// was (a store that it opened stays open, and its names known). Texts are compared by the locale that the thread
// had at the construction. Used from one thread at a time.

#include <memory>
#include <optional>
#include <vector>

#include "dupsearch/CDuplicateMap.h"
#include "dupsearch/CMatching.h"
#include "dupsearch/exceptions.h"
#include "dupsearch/place_values.h"
#include "dupsearch/field_value.h"

/// A change that a build made, items by number.
struct TBuildChange {
    ESearchChange kind;
    uint32_t original;
    uint32_t duplicate;  // kNone but for scJoined and scLeft
    int position;        // of the duplicate among the group's duplicates; -1 but for scJoined
};

class CDuplicateSearch {
  public:
    CDuplicateSearch() = default;
    CDuplicateSearch(const CDuplicateSearch&) = delete;
    virtual ~CDuplicateSearch();

    /// Copies the definitions, the original definition and the exceptions; what is unusable among them is
    /// logged and left out. Clears a search that was used before.
    void Create(IMAPISession* session, const TComparyProps* props, const TOriginalDefinition* original,
                unsigned nCompareAlgorithm, bool bGrouped, const unsigned* exceptions, unsigned cExceptions);

    /// 1 when the item was added, 0 otherwise. *found: 1 when an item added before equals it, else 0.
    int Add(const char* entryId, const char* storeId, unsigned* found, unsigned nCallerRank);

    /// Groups the items added so far; 1.
    int Build();

    // The result of the last Build. Groups are of items by number, the original first.
    const std::vector<std::vector<uint32_t>>& Groups() const { return m_groups; }
    const std::vector<TBuildChange>& Changes() const { return m_changes; }
    const TItem& Item(uint32_t index) const { return m_items[index]; }

    // For whoever wants to look inside.
    const CItems& Items() const { return m_items; }
    const TPlan* Plan() const { return m_plan.get(); }
    unsigned OriginalKind() const { return m_original.nKind; }

  private:
    /// Profiles that equal an item, exempted ones taken out; those known are not looked for.
    struct TEquals {
        std::vector<uint32_t> profiles;
        bool found = false;  // whether the item has equals
    };
    /// What was asked of items for choosing among them.
    struct TAsked {
        bool counted = true;           // the new item's facts are known from the values read
        std::vector<uint32_t> walked;  // items whose facts were looked for, the last one of each profile
        std::vector<uint32_t> failed;  // and were not found
    };

    void CopyFieldValue(const TOriginalDefinition& original);
    void CopyDefinitions(const TComparyProps* props);

    // Names that come in late (late_names.cpp).
    bool SettleNames(const char* entryId, const CItemReader::TOpened& opened);
    void BringIn(size_t store);
    void FileAllIn(CCmpData& data);
    std::optional<SPropValue> ValueOfMissing(TItem& item, const TComparyProp& definition);
    void TakeFieldBack();

    // The steps of an addition, after reading (read_item.h) and placing (place_values.h). Only the last changes the
    // search, and it cannot fail.
    bool SettlePlan(const char* entryId, const CItemReader::TOpened& opened);
    TMatchedItem Look(const TRuleItem& added, std::pmr::memory_resource& memory);
    TEquals FindEquals(const TMatchedItem& matched, const TRuleItem& added);
    void TakeExceptionsOut(const TRuleItem& added, std::vector<uint32_t>& profiles) const;
    TAsked AskForFacts(TAddedItem& added, const TMatchedItem& matched, const TRuleItem& placed,
                       const TEquals& equals);
    void MakeRoomFor(const TMatchedItem& matched, const TEquals& equals, const TAsked& asked);
    void Record(CItems::CNewItem& item, const TPlaces& places, const TMatchedItem& matched,
                const TEquals& equals, const TAsked& asked) noexcept;

    std::vector<uint32_t> ItemsOf(const std::vector<uint32_t>& profiles) const;
    void LogEquals(const wchar_t* format, const TItem& item, const std::vector<uint32_t>& profiles) const;
    std::vector<uint32_t> EqualsAmong(std::vector<uint32_t> items, const TMatchedItem& matched,
                                      const TRuleItem& added, const TEquals& equals) const;

    // Facts for choosing originals (original_facts.cpp).
    bool NeedsODProps() const;
    bool NeedsMessage(const TItem& item) const;
    bool CountAtHand(TItem& item);
    void CalcODPropsOfEquals(const TMatchedItem& matched, const TRuleItem& added, const TEquals& equals,
                             TAsked& asked);
    bool CalcODProps(TItem& item, IMessage* message);
    int CountFilledProps(TItem& item, IMessage* message);
    void CalcFieldValue(TItem& item, IMessage* message);

    // Building (build.cpp).
    std::vector<uint32_t> RankOriginals(const std::vector<uint32_t>& keys) const;

    const LCID m_locale = GetThreadLocale();  // that texts are compared by
    CItems m_items;
    TOriginalDefinition m_original{};
    int m_nFieldIndex = -1;
    TWantedValue m_wanted;
    unsigned m_nCompareAlgorithm = 0;
    bool m_bGrouped = false;
    CDefinitions m_definitions;
    std::vector<unsigned> m_exceptions;

    std::unique_ptr<TPlan> m_plan;
    std::unique_ptr<CMatching> m_matching;
    CDuplicateMap m_duplicates;
    // Whether each item had its facts counted from the values read when it was added.
    bool m_bAllCounted = true;
    // By profile: the last item whose facts were looked for.
    std::vector<uint32_t> m_factsUpTo;
    // Items that could not be opened for their facts, and are tried again.
    std::vector<uint32_t> m_factsFailed;

    std::vector<std::vector<uint32_t>> m_groups;
    std::vector<TBuildChange> m_changes;
};
