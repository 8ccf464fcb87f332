#pragma once
// The message service behind a store: its texts in the profile, and the type of store that they tell. Results are the
// platform's; failures are logged once, under the export's name.

#include <mapix.h>

namespace store {

/// Texts of the message service that a store belongs to, each a block of MAPIAllocateBuffer or null when the
/// service has no such text. Any output may be null, not all. Outputs are touched once the service's row was
/// read.
HRESULT GetServiceProps(IMAPISession* session, const char* serviceUid, char** dllName, char** entryName,
                        char** serviceName, char** displayName);
/// 0: personal folders file, 1: server store, -1: any other. S_OK with *type unchanged when the store has no
/// service.
HRESULT GetStoreType(IMAPISession* session, const char* storeId, int* type);
/// GetStoreType, then *local: 1 for type 0, else 0. On a store without a service the value that the caller
/// had in *local is judged.
HRESULT IsStoreLocal(IMAPISession* session, const char* storeId, int* local);

}  // namespace store
