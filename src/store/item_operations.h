#pragma once
// Finding, moving and saving items. Results are the platform's; failures are logged once, under the export's
// name.

#include "store/resources.h"

namespace store {

/// Bytes of a caller's buffer for an entry-identifier text, terminator included.
inline constexpr ULONG kIdTextSize = 1024;

/// Copies the entry-identifier text of the first item with this search key into the caller's buffer of
/// kIdTextSize bytes; leaves the buffer untouched when there is none, or none that fits.
HRESULT FindItem(IMAPIFolder* folder, SPropValue* searchKey, char* entryId);
/// Moves an item to another folder, of the same store or another; -1 without a target folder. newEntryId, when
/// given, has kIdTextSize bytes and receives the item's new one, or an empty text when it cannot be found; it may be the
/// buffer of entryId. The same folder moves nothing.
HRESULT ItemMove(IMAPISession* session, const char* entryId, const char* srcFolderId, const char* srcStoreId,
                 const char* dstFolderId, const char* dstStoreId, char* newEntryId);
/// Nothing is logged.
HRESULT SaveItem(IMessage* item, ULONG flags);

}  // namespace store
