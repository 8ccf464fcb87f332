#pragma once
// Whether an item holds anything that tells it from others. Damaged imports leave items without any value:
// equal they are, but nobody can say that they are the same.

#include "host/definitions.h"
#include "host/folders.h"

namespace host {

/// True when at least one compared property that identifies has a value. An item that cannot be opened has
/// none.
bool HasIdentity(IMAPISession* session, const TCatalog& catalog, const TItem& item,
                 const TDefinitions& definitions);

}  // namespace host
