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

#include "dupsearch/CGroups.h"
#include "dupsearch/CMatching.h"
#include "dupsearch/COriginals.h"
#include "dupsearch/exceptions.h"

namespace dupsearch {

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
    const std::vector<std::vector<uint32_t>>& Groups() const { return m_groups.Groups(); }
    const std::vector<TBuildChange>& Changes() const { return m_groups.Changes(); }
    const TItem& Item(uint32_t index) const { return m_items[index]; }

    // For whoever wants to look inside.
    const CItems& Items() const { return m_items; }
    const TPlan* Plan() const { return m_plan.get(); }
    unsigned OriginalKind() const { return m_originals.Kind(); }

  private:
    /// Profiles that equal an item, exempted ones taken out; those known are not looked for.
    struct TEquals {
        std::vector<uint32_t> profiles;
        bool found = false;  // whether the item has equals
    };

    int CopyDefinitions(const TComparyProps* props, const TOriginalDefinition* original);

    // The steps of an addition, after reading (read_item.h) and placing (place_values.h). Only the last changes
    // what the search finds, and it cannot fail.
    bool SettlePlan(const char* entryId, const items::CItemReader::TOpened& opened);
    bool SettleNames(const char* entryId, const items::CItemReader::TOpened& opened);
    TMatchedItem Look(const TRuleItem& added, std::pmr::memory_resource& memory);
    TEquals FindEquals(const TMatchedItem& matched, const TRuleItem& added);
    void TakeExceptionsOut(const TRuleItem& added, std::vector<uint32_t>& profiles) const;
    COriginals::TAsked AskForFacts(TAddedItem& added, const TMatchedItem& matched, const TRuleItem& placed,
                                   const TEquals& equals);
    void MakeRoomFor(const TMatchedItem& matched, const TEquals& equals, const COriginals::TAsked& asked);
    void Record(CItems::CNewItem& item, const TPlaces& places, const TMatchedItem& matched,
                const TEquals& equals, const COriginals::TAsked& asked) noexcept;

    std::vector<uint32_t> ItemsOf(const std::vector<uint32_t>& profiles) const;
    void LogEquals(const wchar_t* format, const TItem& item, const std::vector<uint32_t>& profiles) const;
    std::vector<uint32_t> EqualsAmong(std::vector<uint32_t> items, const TMatchedItem& matched,
                                      const TRuleItem& added, const TEquals& equals) const;

    COriginals::TSource Source() { return {*m_plan, m_items, m_matching->Profiles()}; }

    const LCID m_locale = GetThreadLocale();  // that texts are compared by
    CItems m_items;
    COriginals m_originals;
    unsigned m_nCompareAlgorithm = 0;
    bool m_bGrouped = false;
    compare::CDefinitions m_definitions;
    std::vector<unsigned> m_exceptions;

    std::unique_ptr<TPlan> m_plan;
    std::unique_ptr<CMatching> m_matching;
    CGroups m_groups;
};

}  // namespace dupsearch
