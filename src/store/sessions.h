#pragma once
// Sessions, stores, folders and items over entry-identifier texts. The export Quorvel_X is store::X with an
// entry trace in front; failures are logged here, once, under the export's name. Results are the platform's.

#include "store/resources.h"

namespace store {
HRESULT Logon(IMAPISession** session, int newSession, int showLogonUi);
HRESULT Logoff(IMAPISession* session);
HRESULT OpenStore(IMAPISession* session, const char* storeId, IMsgStore** out);
HRESULT OpenStoreFolder(IMsgStore* msgStore, const char* folderId, IMAPIFolder** out);
HRESULT OpenStoreItem(IMsgStore* msgStore, const char* entryId, IMessage** out);
HRESULT OpenFolderItem(IMAPIFolder* folder, const char* entryId, IMessage** out);
HRESULT OpenItemEx(IMAPISession* session, const char* entryId, const char* storeId, int flags,
                   IMessage** out);
HRESULT OpenItem(IMAPISession* session, const char* entryId, const char* storeId, IMessage** out);
HRESULT GetIMessage(const VARIANT* object, IMessage** out, int query);
HRESULT GetIMessageNet(IUnknown* object, IMessage** out, int query);
/// Entry-identifier text of an item; null on failure. Reads PR_ENTRYID.
MapiBuffer<char> EntryID2Str(IMessage* item);
HRESULT GetServiceProps(IMAPISession* session, const char* serviceUid, char** dllName, char** entryName,
                        char** serviceName, char** displayName);
HRESULT GetStoreType(IMAPISession* session, const char* storeId, int* type);
HRESULT IsStoreLocal(IMAPISession* session, const char* storeId, int* local);
}  // namespace store
