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
    // When all items are merged into one: those that the value comes from, and those whose own is left.
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

/// The matrix as a table for a terminal.
std::string MatrixTable(const TMatrixView& view, const TCatalog& catalog, const std::vector<TItem>& items);

std::string MatrixJson(const TMatrixView& view, const TCatalog& catalog, const std::vector<TItem>& items);

/// "equal", "empty", "one-sided", "different".
const char* VerdictName(EVerdict verdict);

}  // namespace host
