#pragma once
// A duplicate search: items are added one by one, each read, filed into the tree of every compared property
// and matched against those added before; Build turns the pairs found into groups headed by their originals.
//
// Owns everything it holds; the session is kept until the end. An addition that fails leaves the search as it
// was (a store that it opened stays open). Texts are compared by the locale that the thread had at the
// construction. Used from one thread at a time.

#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "dupsearch/CDuplicateMap.h"
#include "dupsearch/CMatching.h"
#include "dupsearch/TPreparation.h"
#include "dupsearch/field_value.h"
#include "dupsearch/value_override.h"

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
    const TPreparation* Preparation() const { return m_preparation.get(); }
    unsigned OriginalKind() const { return m_original.nKind; }

  private:
    /// Where an item goes in one compared property.
    struct TFiling {
        CCmpData* data = nullptr;
        std::optional<SPropValue> value;  // as this property compares it; none for a stream
        CStreamHead head;                 // of a stream
        THash hash;                       // of the value or the head, where it is filed by one
        bool empty = false;
        size_t firstElement = 0;  // of a multi-valued value
        size_t elements = 0;
    };

    void CopyFieldValue(const TOriginalDefinition& original);
    void CopyDefinitions(const TComparyProps* props);

    // Adding (intake.cpp).
    bool ReadAndFile(TAddedItem& added);
    bool ReadPlain(TAddedItem& added);
    bool ReadDerived(TAddedItem& added);
    TFiling& NextFiling(CCmpData& data, bool empty, THash hash);
    bool Evaluate(TAddedItem& added, CCmpData& data);
    bool EvaluateStream(TAddedItem& added, CCmpData& data);
    bool EvaluateValue(TAddedItem& added, CCmpData& data);
    void File(const TAddedItem& added);
    void FindDuplicates(const TItem& item);
    TEquals RemoveExceptions(const TItem& item, const std::vector<uint32_t>& profiles) const;
    std::vector<uint32_t> ItemsOf(const TEquals& equals) const;
    void LogEquals(const wchar_t* format, const TItem& item, const TEquals& equals) const;

    // Facts for choosing originals (original_facts.cpp).
    bool NeedsODProps() const;
    bool NeedsMessage(const TItem& item) const;
    bool CountAtHand(TItem& item);
    void CalcODPropsOfEquals();
    bool CalcODProps(TItem& item, IMessage* message);
    void CountFilledProps(TItem& item, IMessage* message);
    void CalcFieldValue(TItem& item, IMessage* message);

    // Building (build.cpp).
    std::vector<uint32_t> RankOriginals(const std::vector<uint32_t>& keys) const;

    const LCID m_locale = GetThreadLocale();  // that texts are compared by
    CItems m_items;
    TOriginalDefinition m_original{};
    int m_nFieldIndex = -1;
    TWantedValue m_wanted;
    CAddressBook m_addressBook;
    unsigned m_nCompareAlgorithm = 0;
    bool m_bGrouped = false;
    CDefinitions m_definitions;
    std::vector<unsigned> m_exceptions;

    std::unique_ptr<TPreparation> m_preparation;
    std::unique_ptr<CMatching> m_matching;
    CDuplicateMap m_duplicates;
    // Of the item being added.
    std::vector<TFiling> m_filings;  // their memory is used again
    size_t m_nFilings = 0;
    std::vector<CCmpData::TElement> m_elements;
    std::deque<store::TStreamStart> m_streamStarts;
    size_t m_starts = 0;  // in use
    TEquals m_equals;
    // Whether each item had its facts counted from the values read when it was added.
    bool m_bAllCounted = true;
    // By profile: the first item whose facts may be missing still.
    std::vector<uint32_t> m_factsFrom;
    // Equals of the item being added whose facts are missing.
    std::vector<uint32_t> m_factsMissing;

    std::vector<std::vector<uint32_t>> m_groups;
    std::vector<TBuildChange> m_changes;
};
