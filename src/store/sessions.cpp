#include "store/sessions.h"

#include <mapidefs.h>
#include <mapiguid.h>
#include <mapitags.h>

#include "log/CPlatformCalls.h"
#include "store/entry_id.h"
#include "store/properties.h"

namespace store {

using logging::CPlatformCalls;
using logging::g_Log;

namespace {

bool OpenMsgStore(CPlatformCalls& calls, IMAPISession* session, const char* storeId, const char* failure,
                  ComPtr<IMsgStore>& opened) {
    const TEntryId id = TextToEntryId(storeId);
    return calls.Allocated(id.bytes.get()) &&
           calls.Gives(opened,
                       session->OpenMsgStore(0, id.count, id.bytes.get(), nullptr, MAPI_BEST_ACCESS, &opened),
                       failure, base::OrEmpty(storeId));
}

/// Opens an item or a folder inside a store or a folder.
template <typename Container, typename Object>
bool OpenEntry(CPlatformCalls& calls, Container* container, const char* entryId, REFIID iid, ULONG flags,
               const char* failure, ComPtr<Object>& opened) {
    const TEntryId id = TextToEntryId(entryId);
    ULONG objectType = 0;
    return calls.Allocated(id.bytes.get()) &&
           calls.Gives(
               opened,
               container->OpenEntry(id.count, id.bytes.get(), &iid, flags, &objectType, OutUnknown(opened)),
               failure, base::OrEmpty(entryId));
}

template <typename Container, typename Object>
HRESULT OpenInto(const char* routine, Container* container, const char* entryId, REFIID iid,
                 const char* failure, Object** out) {
    CPlatformCalls calls(routine);
    ComPtr<Object> opened;
    if (OpenEntry(calls, container, entryId, iid, MAPI_BEST_ACCESS, failure, opened)) *out = opened.Detach();
    return calls.result;
}

HRESULT HandOut(CPlatformCalls& calls, IUnknown* object, IMessage** out, int query) {
    if (!query) {
        *out = static_cast<IMessage*>(object);
        return S_OK;
    }
    *out = nullptr;
    if (!object) return E_INVALIDARG;  // the assertion has its line already
    ComPtr<IMessage> message;
    if (calls.Gives(message, object->QueryInterface(IID_IMessage, &message),
                    "lpUnknown->QueryInterface return 0x%x\n")) {
        *out = message.Detach();
    }
    return calls.result;
}

}  // namespace

HRESULT Logon(IMAPISession** session, int newSession, int showLogonUi) {
    CPlatformCalls calls("Quorvel_Logon");
    CMapiProvider::LookAgain();
    mapi::Initialize(nullptr);
    const ULONG flags =
        MAPI_EXTENDED | (newSession ? MAPI_NEW_SESSION : 0) | (showLogonUi ? MAPI_LOGON_UI : 0);
    ComPtr<IMAPISession> opened;
    if (calls.Gives(opened, mapi::LogonEx(0, nullptr, nullptr, flags, &opened),
                    "::MAPILogonEx return 0x%x\n")) {
        *session = opened.Detach();
    }
    return calls.result;
}

HRESULT Logoff(IMAPISession* session) {
    CPlatformCalls calls("Quorvel_Logoff");
    ComPtr<IMAPISession> ending;
    // Takes over the caller's reference (ComPtr::Attach of mingw-w64 adds one of its own).
    *ending.ReleaseAndGetAddressOf() = session;
    calls(ending->Logoff(0, 0, 0), "lpSession->Logoff return 0x%x\n");
    ending.Reset();
    mapi::Uninitialize();
    return calls.result;
}

HRESULT OpenStore(IMAPISession* session, const char* storeId, IMsgStore** out) {
    CPlatformCalls calls("Quorvel_OpenStore");
    ComPtr<IMsgStore> opened;
    if (OpenMsgStore(calls, session, storeId, "lpSession->OpenMsgStore return 0x%x, StoreID=\"%s\"\n",
                     opened)) {
        *out = opened.Detach();
    }
    return calls.result;
}

HRESULT OpenStoreFolder(IMsgStore* msgStore, const char* folderId, IMAPIFolder** out) {
    return OpenInto("Quorvel_OpenStoreFolder", msgStore, folderId, IID_IMAPIFolder,
                    "lpStore->OpenEntry return 0x%x, FolderID=\"%s\"\n", out);
}

HRESULT OpenStoreItem(IMsgStore* msgStore, const char* entryId, IMessage** out) {
    return OpenInto("Quorvel_OpenStoreItem", msgStore, entryId, IID_IMessage,
                    "lpStore->OpenEntry return 0x%x, EntryID=\"%s\"\n", out);
}

HRESULT OpenFolderItem(IMAPIFolder* folder, const char* entryId, IMessage** out) {
    return OpenInto("Quorvel_OpenFolderItem", folder, entryId, IID_IMessage,
                    "lpFolder->OpenEntry return 0x%x, EntryID=\"%s\"\n", out);
}

HRESULT OpenItemEx(IMAPISession* session, const char* entryId, const char* storeId, int flags,
                   IMessage** out) {
    CPlatformCalls calls("Quorvel_OpenItem");
    ComPtr<IMsgStore> msgStore;
    ComPtr<IMessage> item;
    if (OpenMsgStore(calls, session, storeId, "lpSession->OpenMsgStore return 0x%x, Store=\"%s\"\n",
                     msgStore) &&
        OpenEntry(calls, msgStore.Get(), entryId, IID_IMessage, static_cast<ULONG>(flags),
                  "lpStore->OpenEntry return 0x%x, EntryID=\"%s\"\n", item)) {
        *out = item.Detach();
    }
    return calls.result;
}

HRESULT OpenItem(IMAPISession* session, const char* entryId, const char* storeId, IMessage** out) {
    return OpenItemEx(session, entryId, storeId, MAPI_BEST_ACCESS, out);
}

HRESULT GetIMessage(const VARIANT* object, IMessage** out, int query) {
    CPlatformCalls calls("Quorvel_GetIMessage");
    g_Log.Assert(object->vt == VT_UNKNOWN && object->punkVal, calls.tag, 0, nullptr);
    // Asking a number for an interface would crash the host; both object types hold their pointer in one
    // place.
    const bool holdsObject = object->vt == VT_UNKNOWN || object->vt == VT_DISPATCH;
    return HandOut(calls, holdsObject || !query ? object->punkVal : nullptr, out, query);
}

HRESULT GetIMessageNet(IUnknown* object, IMessage** out, int query) {
    CPlatformCalls calls("Quorvel_GetIMessageNet");
    g_Log.Assert(object != nullptr, calls.tag, 0, nullptr);
    return HandOut(calls, object, out, query);
}

MapiBuffer<char> EntryID2Str(IMessage* item) {
    CPlatformCalls calls("Quorvel_EntryID2Str");
    MapiBuffer<SPropValue> id;
    HRESULT hr = GetPropValue(item, PR_ENTRYID, Out(id));
    if (hr == S_OK && PROP_TYPE(id->ulPropTag) != PT_BINARY) hr = MAPI_E_CALL_FAILED;
    if (!calls(hr, "lpItem->GetProp(PR_ENTRYID) returned 0x%x\n")) return {};
    MapiBuffer<char> text = EntryIdToText(id->Value.bin.lpb, id->Value.bin.cb);
    calls.Allocated(text.get());
    return text;
}

}  // namespace store
