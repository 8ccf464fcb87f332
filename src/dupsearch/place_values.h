#pragma once
// The second step of an addition: where each compared value of an item belongs among those of the items before it.
// All are evaluated before the first is looked for. Nothing is filed yet.

#include <forward_list>
#include <memory_resource>
#include <optional>
#include <vector>

#include "dupsearch/read_item.h"
#include "store/streams.h"

namespace dupsearch {

/// Where an item's values go.
struct TPlaces {
    explicit TPlaces(std::pmr::memory_resource& memory)
        : filings(&memory), elements(&memory), starts(&memory) {}

    std::pmr::vector<TFiling> filings;                   // in the order of the compared properties
    std::pmr::vector<TElement> elements;                 // of filings of multi-valued values
    std::pmr::forward_list<store::TStreamStart> starts;  // of filings of streams: the bytes of their heads
};

/// The places of an item that was read. A value that cannot be placed is logged and stays unfiled; none, and a line,
/// for an item of which a value cannot be evaluated. memory: for the result.
std::optional<TPlaces> PlaceValues(const TPlan& plan, CItems& items, TAddedItem& added,
                                   std::pmr::memory_resource& memory);

/// Applied to a copy of a value before it is filed under a definition: all-day-like appointments, recurrence.
/// True when it changed. A text is left as it is; the item keeps the one that replaces it.
bool OverrideComparedValue(SPropValue& value, const TComparyProp& definition, TAddedItem& added);
/// Whether it makes a value of a missing one, and whether the item is asked for that.
bool FillsMissing(const TComparyProp& definition);
bool AsksItemToFill(const TComparyProp& definition);

}  // namespace dupsearch
