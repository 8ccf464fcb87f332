#pragma once
// The library's duplicate search over items of a session.

#include <string_view>
#include <vector>

#include "host/definitions.h"
#include "host/item_values.h"
#include "host/progress.h"

namespace host {

/// An item that is handed to a search, and how it ranks there: the lower is preferred.
struct TSearchItem {
    size_t item = 0;  // index into the items
    unsigned rank = 0;
};

/// Groups of indexes into the items, the one that ranks first at the front, and the items that could not be
/// read.
struct TSearchOutcome {
    std::vector<std::vector<size_t>> groups;
    std::vector<size_t> unreadable;
};

/// Throws Failure, and TInterrupted on Ctrl-C. what: for the progress line.
TSearchOutcome RunSearch(const CItemReader& reader, const TDefinitions& definitions,
                         const std::vector<TItem>& items, const std::vector<TSearchItem>& searched,
                         std::string_view what, CProgress& progress);

/// Two items by a search of their own, with nothing of an earlier one. Equal only when every stream that is
/// compared could be read.
enum class EPair { Equal, Apart, FirstUnreadable, SecondUnreadable };
EPair ComparePair(CItemReader& reader, const TDefinitions& definitions, const TItem& first,
                  const TItem& second);

}  // namespace host
