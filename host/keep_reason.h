#pragma once
// Why a copy is the one to keep, in one sentence: the fact that decided, read from the items themselves.

#include <string>
#include <vector>

#include "host/scan.h"

namespace host {

/// items: the group, the kept one first.
std::string KeepReason(IMAPISession* session, const Catalog& catalog, const std::vector<Item>& items,
                       const std::vector<size_t>& group, const Definitions& definitions, const Keep& keep);

}  // namespace host
