// Exports of sessions, stores and items.

#include "frame/trace.h"
#include "quorvel.h"
#include "store/item_operations.h"
#include "store/services.h"
#include "store/sessions.h"

using frame::Trace;
using store::ComPtr;

namespace {

// The module exports one function under the three names (quorvel.def).
void Close(IUnknown* object) {
    ComPtr<IUnknown> closing;
    // Takes over the caller's reference (ComPtr::Attach of mingw-w64 adds one of its own).
    *closing.ReleaseAndGetAddressOf() = object;
}

}  // namespace

HRESULT Quorvel_Logon(IMAPISession** session, int newSession, int showLogonUi) {
    Trace(__func__);
    return store::Logon(session, newSession, showLogonUi);
}

HRESULT Quorvel_Logoff(IMAPISession* session) {
    Trace(__func__);
    return store::Logoff(session);
}

HRESULT Quorvel_OpenStore(IMAPISession* session, const char* storeId, IMsgStore** out) {
    Trace(__func__);
    return store::OpenStore(session, storeId, out);
}

HRESULT Quorvel_OpenStoreFolder(IMsgStore* msgStore, const char* folderId, IMAPIFolder** out) {
    Trace(__func__);
    return store::OpenStoreFolder(msgStore, folderId, out);
}

HRESULT Quorvel_OpenStoreItem(IMsgStore* msgStore, const char* entryId, IMessage** out) {
    Trace(__func__);
    return store::OpenStoreItem(msgStore, entryId, out);
}

HRESULT Quorvel_OpenFolderItem(IMAPIFolder* folder, const char* entryId, IMessage** out) {
    Trace(__func__);
    return store::OpenFolderItem(folder, entryId, out);
}

HRESULT Quorvel_OpenItem(IMAPISession* session, const char* entryId, const char* storeId, IMessage** out) {
    Trace(__func__);
    return store::OpenItem(session, entryId, storeId, out);
}

HRESULT Quorvel_OpenItemEx(IMAPISession* session, const char* entryId, const char* storeId, int flags,
                           IMessage** out) {
    Trace(__func__);
    return store::OpenItemEx(session, entryId, storeId, flags, out);
}

HRESULT Quorvel_GetIMessage(VARIANT object, IMessage** out, int query) {
    Trace(__func__);
    return store::GetIMessage(&object, out, query);
}

HRESULT Quorvel_GetIMessageNet(IUnknown* object, IMessage** out, int query) {
    Trace(__func__);
    return store::GetIMessageNet(object, out, query);
}

void Quorvel_CloseItem(IMessage* item) {
    Close(item);
}
void Quorvel_CloseFolder(IMAPIFolder* folder) {
    Close(folder);
}
void Quorvel_CloseStore(IMsgStore* msgStore) {
    Close(msgStore);
}

HRESULT Quorvel_SaveItem(IMessage* item, unsigned long flags) {
    return store::SaveItem(item, flags);
}

char* Quorvel_EntryID2Str(IMessage* item) {
    Trace(__func__);
    return store::EntryID2Str(item).release();
}

HRESULT Quorvel_GetServiceProps(IMAPISession* session, const char* serviceUid, char** dllName,
                                char** entryName, char** serviceName, char** displayName) {
    Trace(__func__);
    return store::GetServiceProps(session, serviceUid, dllName, entryName, serviceName, displayName);
}

HRESULT Quorvel_GetStoreType(IMAPISession* session, const char* storeId, int* type) {
    Trace(__func__);
    return store::GetStoreType(session, storeId, type);
}

HRESULT Quorvel_IsStoreLocal(IMAPISession* session, const char* storeId, int* local) {
    Trace(__func__);
    return store::IsStoreLocal(session, storeId, local);
}
