// Names that the stores of earlier items did not know: what a search does when an item comes whose store does.

#include <algorithm>

#include "compare/derived_value.h"
#include "dupsearch/CDuplicateSearch.h"
#include "dupsearch/value_override.h"
#include "log/CLog.h"

namespace {
constexpr char kTag[] = "CDuplicateSearch.Add";
}

/// Has the names of the item's store known, those too that no store before held. False when the store does not
/// tell: values that cannot be asked for are not missing.
bool CDuplicateSearch::SettleNames(const char* entryId, const CItemReader::TOpened& opened) {
    const size_t store = opened.store->number;
    const HRESULT hr = m_preparation->tags.Settle(opened.message.Get(), store);
    if (hr == S_OK) {
        BringIn(store);
        return true;
    }
    g_Log.Error(kTag, "Quorvel_GetIDsFromNames returned 0x%x, EntryID = %s\n", static_cast<unsigned>(hr),
                entryId);
    return false;
}

/// All items so far lack what comes in, so that what was found of them stays as it is.
void CDuplicateSearch::BringIn(size_t store) {
    TPreparation& p = *m_preparation;
    const size_t plain = p.plainTags.Count(), streams = p.streamTags.Count(), before = p.compareData.size();
    const bool hadField = m_nFieldIndex >= 0 && p.definitions[m_nFieldIndex].ulPropTag != 0;
    if (!::BringIn(p, store, m_definitions, m_bGrouped)) return;
    for (size_t i = before; i < p.compareData.size(); ++i) FileAllIn(*p.compareData[i]);
    m_matching->AddProperties(p.nGroups);
    if (!hadField && m_nFieldIndex >= 0 && p.definitions[m_nFieldIndex].ulPropTag != 0) TakeFieldBack();
    for (uint32_t i = 0; i < m_items.Count(); ++i) {
        TItem& item = m_items[i];
        if (!item.ValuesSizes) continue;
        auto sizes = std::make_unique<ULONG[]>(p.plainTags.Count() + p.streamTags.Count());
        std::copy_n(item.ValuesSizes.get(), plain, sizes.get());
        std::copy_n(item.ValuesSizes.get() + plain, streams, sizes.get() + p.plainTags.Count());
        item.ValuesSizes = std::move(sizes);
    }
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
                   &m_preparation->tags},
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
