#pragma once
// From a group of the search to what is shown and moved: the copies held against one another once more, the
// one that stays, and what becomes of each of the others.

#include <vector>

#include "host/policy.h"
#include "host/scan.h"

namespace host {

/// Adds to the result what a group of the search comes to: groups of copies that are equal to the kept one
/// now, near pairs that their attachments keep apart, items that nothing identifies or that cannot be read.
void AddGroup(CItemReader& reader, TScanResult& result, size_t scan, const std::vector<size_t>& group);

/// A group parted by what the attachments hold, where the definitions say so.
std::vector<std::vector<size_t>> PartGroup(CItemReader& reader, const TScanResult& result,
                                           const TKindScan& scan, const std::vector<size_t>& group);

}  // namespace host
