// Names that the stores of earlier items did not know: what a search does when an item comes whose store does.

#include <algorithm>
#include <utility>

#include "compare/derived_value.h"
#include "dupsearch/CDuplicateSearch.h"
#include "dupsearch/value_override.h"
#include "log/CLog.h"

namespace {

constexpr char kTag[] = "CDuplicateSearch.Add";

/// Puts a plan back as it was before names came in, unless these stay.
class CComingIn {
  public:
    explicit CComingIn(TPlan& plan) : m_plan(plan), m_readings(static_cast<const TReadings&>(plan)) {
        const TComparyProps list = plan.definitions.List();
        m_definitions.assign(list.lpProps, list.lpProps + list.n);
    }
    CComingIn(const CComingIn&) = delete;
    ~CComingIn() {
        if (m_stay) return;
        TPlan& p = m_plan;
        p.compareData.erase(p.compareData.begin() + static_cast<ptrdiff_t>(m_compared), p.compareData.end());
        static_cast<TReadings&>(p) = std::move(m_readings);
        std::ranges::copy(m_definitions, p.definitions.List().lpProps);
    }
    void Stay() noexcept { m_stay = true; }

  private:
    TPlan& m_plan;
    TReadings m_readings;
    std::vector<TComparyProp> m_definitions;
    size_t m_compared = m_plan.compareData.size();
    bool m_stay = false;
};

}  // namespace

/// Has the names of the item's store known, those too that no store before held. False when the store does not
/// tell: values that cannot be asked for are not missing.
bool CDuplicateSearch::SettleNames(const char* entryId, const CItemReader::TOpened& opened) {
    const size_t store = opened.store->number;
    const HRESULT hr = m_plan->tags.Settle(opened.message.Get(), store);
    if (hr == S_OK) {
        BringIn(store);
        return true;
    }
    g_Log.Error(kTag, "Quorvel_GetIDsFromNames returned 0x%x, EntryID = %s\n", static_cast<unsigned>(hr),
                entryId);
    return false;
}

/// All items so far lack what comes in, so that what was found of them stays as it is. Memory that runs out leaves
/// the search without the names, and the next item of the store brings them in.
void CDuplicateSearch::BringIn(size_t store) {
    TPlan& p = *m_plan;
    if (!p.tags.IsNew(store)) return;
    CComingIn comingIn(p);
    const size_t plain = p.plainTags.Count(), streams = p.streamTags.Count(), before = p.compareData.size();
    const bool hadField = m_nFieldIndex >= 0 && p.definitions[m_nFieldIndex].ulPropTag != 0;
    if (!::BringIn(p, store, m_definitions, m_bGrouped)) return comingIn.Stay();
    for (size_t i = before; i < p.compareData.size(); ++i) FileAllIn(*p.compareData[i]);
    std::vector<std::unique_ptr<ULONG[]>> sizes(m_items.Count());
    for (uint32_t i = 0; i < m_items.Count(); ++i) {
        const ULONG* const known = m_items[i].ValuesSizes.get();
        if (!known) continue;
        sizes[i] = std::make_unique<ULONG[]>(p.plainTags.Count() + p.streamTags.Count());
        std::copy_n(known, plain, sizes[i].get());
        std::copy_n(known + plain, streams, sizes[i].get() + p.plainTags.Count());
    }
    m_matching->AddProperties(p.nGroups);

    // Nothing can fail any more.
    comingIn.Stay();
    for (uint32_t i = 0; i < m_items.Count(); ++i) {
        if (sizes[i]) m_items[i].ValuesSizes = std::move(sizes[i]);
    }
    if (!hadField && m_nFieldIndex >= 0 && p.definitions[m_nFieldIndex].ulPropTag != 0) TakeFieldBack();
}

/// Files all items in a property that came in. Most are empty in it; but what makes a value of a missing one, makes
/// it of theirs too, or they would not find their equals in the other store. Items that were equal without it, and
/// have different values, are empty.
void CDuplicateSearch::FileAllIn(CCmpData& data) {
    const TComparyProp& definition = data.Definition();
    const CProfiles& profiles = m_matching->Profiles();
    std::vector<std::optional<SPropValue>> values(profiles.Count());
    for (uint32_t profile = 0; profile < profiles.Count() && FillsMissing(definition); ++profile) {
        const uint32_t first = profiles.First(profile);
        std::optional<SPropValue>& value = values[profile] = ValueOfMissing(m_items[first], definition);
        for (uint32_t i = profiles.Next(first); value && i != kNone; i = profiles.Next(i)) {
            const auto other = ValueOfMissing(m_items[i], definition);
            if (!other || (other->Value.b != 0) != (value->Value.b != 0)) value.reset();
        }
    }
    for (uint32_t i = 0; i < m_items.Count(); ++i) {
        TFiling filing;
        filing.value = values[profiles.Of(i)];
        filing.empty = !filing.value;
        if (filing.value) filing.hash = data.HashOf(*filing.value);
        data.Find({definition, m_items, m_items[i], filing.value ? &*filing.value : nullptr, nullptr,
                   &m_plan->tags},
                  filing);
        data.File(i, filing);
    }
}

/// What an item's missing value is filed as; none: it is empty.
std::optional<SPropValue> CDuplicateSearch::ValueOfMissing(TItem& item, const TComparyProp& definition) {
    ComPtr<IMessage> opened;
    if (AsksItemToFill(definition) && item.nAllDayLike == -1) opened = m_items.Open(item, kTag);
    TAddedItem asked{item, opened.Get()};
    SPropValue value;
    SetNotFound(value, PROP_ID(definition.ulPropTag));
    return OverrideComparedValue(value, definition, asked) ? std::optional(value) : std::nullopt;
}

/// Originals are chosen by a field again that could not be used so far: nobody had its value.
void CDuplicateSearch::TakeFieldBack() {
    if (m_wanted.type == PT_UNICODE) m_original.nKind = okFieldValue;
    for (uint32_t i = 0; i < m_items.Count(); ++i) {
        TItem& item = m_items[i];
        if (item.nFilledProps != -1 && item.nHasFieldValue == -1) item.nHasFieldValue = 0;
    }
}
