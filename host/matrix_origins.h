#pragma once
// From where the values of a matrix come when its items are merged into one.

#include <string>
#include <vector>

#include "host/matrix_view.h"

namespace host {

/// From where each row's value comes when all items are merged into one of them, whatever conflicts. equal: by the
/// definitions. Leaves the rows as they are when an item cannot be read.
void AddOrigins(TMatrixView& view, CItemReader& reader, const std::vector<TItem>& items,
                const TDefinitions& definitions, bool areEqual, size_t into = 0);
/// The same where no item has what that one lacks.
void AddOriginsWithoutLosses(TMatrixView& view);
/// "A", "A+B", "A, not B"; empty when no item has a value.
std::string OriginText(const TMatrixRow& row);
/// The same with numbers: "1+2".
std::string OriginNumbers(const TMatrixRow& row);

}  // namespace host
