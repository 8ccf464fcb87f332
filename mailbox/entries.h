#pragma once
// What calls that open or compare things by their identifiers share.

#include <memory>

#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

/// An identifier as bytes. Empty when there is none; false when it cannot be one.
bool ToEntryId(ULONG size, const ENTRYID* id, std::string_view& bytes);
/// Whether the flags of an open ask for, or allow, changes.
inline bool AsksWritable(ULONG flags) {
    return (flags & (MAPI_BEST_ACCESS | MAPI_MODIFY)) != 0;
}
/// Opens a folder or message of the store (OpenEntry of session, store and folder); no identifier: the root
/// folder.
HRESULT OpenStoreEntry(const std::shared_ptr<CDatabase>& database, TStore& store, ULONG size,
                       const ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** out);
/// CompareEntryIDs of whoever has it.
HRESULT CompareIds(ULONG size1, const ENTRYID* id1, ULONG size2, const ENTRYID* id2, ULONG* result);

}  // namespace mailbox
