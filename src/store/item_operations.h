#pragma once
// Finding, moving and saving items.

#include "store/resources.h"

namespace store {
HRESULT FindItem(IMAPIFolder* folder, SPropValue* searchKey, char* entryId);
HRESULT ItemMove(IMAPISession* session, const char* entryId, const char* srcFolderId, const char* srcStoreId,
                 const char* dstFolderId, const char* dstStoreId, char* newEntryId);
HRESULT SaveItem(IMessage* item, ULONG flags);
}  // namespace store
