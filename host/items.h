#pragma once
// Items as a person names them on the command line.

#include <string>
#include <vector>

#include "host/folders.h"

namespace host {

/// "Folder#number" as reports print it (the folder's path or its tail), or an entry-identifier text. In the
/// order of the names. Throws Failure with the nearest names when there is no such item, or more than one.
std::vector<TItem> FindItems(IMAPISession* session, const TCatalog& catalog,
                             const std::vector<std::string>& names);

}  // namespace host
