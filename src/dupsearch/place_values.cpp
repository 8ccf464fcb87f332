#include "dupsearch/place_values.h"

#include <utility>

#include "compare/value_compare.h"
#include "dupsearch/read_item.h"
#include "log/CLog.h"

namespace {

constexpr char kTag[] = "CDuplicateSearch.Add";

TFiling& NextFiling(TPlaces& places, CCmpData& data, bool empty, THash hash) {
    TFiling& filing = places.filings.emplace_back();
    filing.data = &data;
    filing.empty = empty;
    filing.hash = hash;
    return filing;
}

bool EvaluateStream(const TPlan& plan, TAddedItem& added, CCmpData& data, TPlaces& places) {
    store::TStreamStart& start = places.starts.emplace_front();
    int empty = TRUE;
    const ULONG tag = plan.tags.TagIn(added.item.store->number, data.Definition().ulPropTag);
    if (tag != 0 && store::StreamPropEmpty(added.message, tag, &empty, nullptr, &start) != S_OK) return false;
    TFiling& filing = NextFiling(places, data, empty != 0, std::nullopt);
    if (!empty) {
        filing.head = CStreamHead(start);
        filing.hash = data.HashOf(filing.head);
    }
    start.stream.Reset();
    return true;
}

bool EvaluateValue(const TPlan& plan, TAddedItem& added, CCmpData& data, TPlaces& places) {
    const TComparyProp& definition = data.Definition();
    const TDerivedValue* const derived =
        data.IsDerived() ? plan.DerivedOf(added.item, static_cast<unsigned>(definition.nID)) : nullptr;
    const SPropValue* const read = derived ? derived->value : added.item.Find(definition.ulPropTag);
    if (!read) {
        g_Log.ErrorW(kTag, L"value for prop(%s) not found\n", KeyOf(definition));
        return false;
    }
    // Each definition has its own: what the one replaces, another of the same property compares as it was
    // read.
    SPropValue value = *read;
    if (data.IsOverridden() && OverrideComparedValue(value, definition, added) && g_Log.IsExtra())
        LogChangedValue(KeyOf(definition), value);
    int empty = TRUE;
    if (!compare::IsEmptyValue(&value, &empty, nullptr)) return false;
    TFiling& filing = NextFiling(places, data, empty != 0, empty ? std::nullopt : data.HashOf(value));
    filing.value = value;
    if (data.IsMultiTree() && !empty && derived) {
        const size_t before = places.elements.size();
        data.AppendElements(*derived, places.elements);
        filing.nElements = places.elements.size() - before;
    }
    return true;
}

/// What an item has under one definition; false when that cannot be told.
bool Evaluate(const TPlan& plan, TAddedItem& added, CCmpData& data, TPlaces& places) {
    const TComparyProp& definition = data.Definition();
    switch (definition.nInterface) {
        case 0:
            return EvaluateValue(plan, added, data, places);
        case 1:
            return EvaluateStream(plan, added, data, places);
        default:
            g_Log.Error(kTag, "Invalid interface(%d)\n", definition.nInterface);
            return true;
    }
}

}  // namespace

std::optional<TPlaces> PlaceValues(const TPlan& plan, CItems& items, TAddedItem& added,
                                   std::pmr::memory_resource& memory) {
    std::optional<TPlaces> places(memory);
    places->filings.reserve(plan.compareData.size());
    for (const auto& data : plan.compareData) {
        if (!Evaluate(plan, added, *data, *places)) return std::nullopt;
    }
    // Elements stay where they are from here on.
    size_t element = 0;
    for (TFiling& filing : places->filings) {
        filing.elements = std::span(places->elements).subspan(element, filing.nElements);
        element += filing.nElements;
        filing.data->Find({filing.data->Definition(), items, added.item,
                           filing.value ? &*filing.value : nullptr, added.message, &plan.tags},
                          filing);
    }
    return places;
}
