#pragma once
// A few items side by side: a row a property, a column an item, and what the duplicate search thinks of each
// row.

#include <optional>
#include <string>
#include <vector>

#include "host/definitions.h"
#include "host/folders.h"
#include "host/item_values.h"
#include "host/plan.h"

namespace host {

enum class EVerdict { Equal, AllEmpty, OneSided, Different };

struct TMatrixRow {
    std::string property;         // for people
    std::vector<unsigned> marks;  // an item's mark; equal values share one; 0: the item has no value
    std::vector<std::string> texts;
    EVerdict verdict = EVerdict::Equal;  // as the search compares the property, by its method
    // When all items are merged into the first one: those that the value comes from, and those whose own is left.
    std::vector<size_t> from{};
    std::vector<size_t> left{};
};

struct TMatrixView {
    std::vector<TMatrixRow> rows;
    /// Names of the rows that keep the items apart under the definitions' algorithm.
    std::vector<std::string> apart;
    /// One sentence on them.
    std::string sentence;
};

/// What is known of the items of a matrix.
enum class EMatrixItems {
    Any,
    Duplicates,  // equal by the definitions: the search is not asked again, and a
                 // report of many groups is quick
    Resembling,  // equal where they read alike: the search is not asked either
};

/// items: at least two, by catalog and item record. Throws Failure when an item cannot be read. limit:
/// characters of a value's text.
TMatrixView BuildMatrix(IMAPISession* session, const TCatalog& catalog, const std::vector<TItem>& items,
                        const TDefinitions& definitions, size_t limit, EMatrixItems known);

/// From where each row's value comes when the items are merged into the first one, by what merging does about the
/// losses of each item (PlanMerge). losses: one list an item; that of the first is empty.
void AddOrigins(TMatrixView& view, const TDefinitions& definitions,
                const std::vector<std::vector<TLoss>>& losses);
/// The losses of each item when it is merged into the first one; nothing when one cannot be read.
std::optional<std::vector<std::vector<TLoss>>> MergeLosses(CItemReader& reader,
                                                           const std::vector<TItem>& items,
                                                           const TDefinitions& definitions);
/// "A", "A+B", "A, not B"; empty when no item has a value.
std::string OriginText(const TMatrixRow& row);

/// The matrix as a table for a terminal.
std::string MatrixTable(const TMatrixView& view, const TCatalog& catalog, const std::vector<TItem>& items);

std::string MatrixJson(const TMatrixView& view, const TCatalog& catalog, const std::vector<TItem>& items);

/// "equal", "empty", "one-sided", "different".
const char* VerdictName(EVerdict verdict);

}  // namespace host
