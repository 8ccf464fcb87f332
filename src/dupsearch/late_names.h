#pragma once
// Names that the stores of earlier items did not know: what a search does when an item comes whose store does.

#include "dupsearch/CMatching.h"
#include "dupsearch/COriginals.h"

namespace dupsearch {

/// The search that they come into.
struct TLateNames {
    TPlan& plan;
    CItems& items;
    CMatching& matching;
    COriginals& originals;
    const compare::CDefinitions& definitions;  // as they were given
    bool bGrouped;
};

/// Brings in what this store is the first to know the names of. All items so far lack it, so that what was found of
/// them stays as it is. Memory that runs out leaves the search without the names, and the next item of the store
/// brings them in.
void BringInLateNames(const TLateNames& search, size_t store);

}  // namespace dupsearch
