#include "store/services.h"

#include <mapidefs.h>
#include <mapitags.h>

#include <cstring>

#include "log/CPlatformCalls.h"
#include "store/checked_calls.h"
#include "store/entry_id.h"

namespace store {

using logging::CPlatformCalls;
using logging::g_Log;

namespace {

struct TRowFailures {
    const char* setColumns;
    const char* findRow;
    const char* queryRows;
};

/// Reads the row of a table whose binary property key equals the identifier given as text. A table without
/// such a row is MAPI_E_NOT_FOUND without a log line.
bool ReadRow(CPlatformCalls& calls, IMAPITable* table, SPropTagArray* columns, ULONG key, const char* idText,
             const TRowFailures& failures, RowSet& rows) {
    const TEntryId id = TextToEntryId(idText);
    if (!calls.Allocated(id.bytes.get()) || !calls(table->SetColumns(columns, 0), failures.setColumns))
        return false;

    SPropValue wanted = {};
    wanted.ulPropTag = key;
    wanted.Value.bin = {id.count, reinterpret_cast<BYTE*>(id.bytes.get())};
    SRestriction restriction = {};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty = {RELOP_EQ, key, &wanted};
    calls.result = table->FindRow(&restriction, BOOKMARK_BEGINNING, 0);
    if (calls.result == MAPI_E_NOT_FOUND || !calls(calls.result, failures.findRow)) return false;

    if (!calls(QueryRows(table, 1, rows), failures.queryRows)) return false;
    return rows->cRows > 0 || calls(MAPI_E_NOT_FOUND, failures.queryRows);
}

struct TStoreService {
    const char* dllName;
    const char* entryName;
    int type;
};
constexpr TStoreService kStoreServices[] = {
    {"mspst.dll", "PSTServiceEntry", 0},
    {"emsui.dll", "EMSCfg", 1},
    {"emsmdb.dll", "EMSCfg", 1},
};
constexpr int kOtherStore = -1;

int TypeOfService(const char* dllName, const char* entryName) {
    for (const TStoreService& service : kStoreServices) {
        if (_stricmp(dllName, service.dllName) == 0 && _stricmp(entryName, service.entryName) == 0) {
            return service.type;
        }
    }
    return kOtherStore;
}

}  // namespace

HRESULT GetServiceProps(IMAPISession* session, const char* serviceUid, char** dllName, char** entryName,
                        char** serviceName, char** displayName) {
    CPlatformCalls calls("Quorvel_GetServiceProps");
    char** const outputs[] = {dllName, entryName, serviceName, displayName};
    if (!session || !serviceUid || (!dllName && !entryName && !serviceName && !displayName)) {
        g_Log.Error(calls.tag, "Invalid params");
        return -1;
    }
    CTagList columns(PR_SERVICE_UID, PR_SERVICE_DLL_NAME_A, PR_SERVICE_ENTRY_NAME, PR_SERVICE_NAME_A,
                     PR_DISPLAY_NAME_A);
    ComPtr<IMsgServiceAdmin> admin;
    ComPtr<IMAPITable> table;
    RowSet rows;
    if (!calls.Gives(admin, session->AdminServices(0, &admin), "AdminServices -  0x%x") ||
        !calls.Gives(table, admin->GetMsgServiceTable(0, &table), "GetMsgServiceTable -  0x%x") ||
        !ReadRow(calls, table.Get(), columns, PR_SERVICE_UID, serviceUid,
                 {"SetColumns -  0x%x", "FindRow -  0x%x", "QueryRows -  0x%x"}, rows)) {
        return calls.result;
    }

    MapiBuffer<char> texts[std::size(outputs)];
    for (size_t i = 0; i < std::size(outputs); i++) {
        if (outputs[i]) *outputs[i] = nullptr;
    }
    for (size_t i = 0; i < std::size(outputs); i++) {
        const char* const text = TextOf(rows->aRow[0], static_cast<ULONG>(i) + 1);
        if (!outputs[i] || !text) continue;
        const size_t size = std::strlen(text) + 1;
        if (!calls(Allocate(size, texts[i]), "MAPIAllocateBuffer returned 0x%x\n")) return calls.result;
        std::memcpy(texts[i].get(), text, size);
    }
    for (size_t i = 0; i < std::size(outputs); i++) {
        if (outputs[i]) *outputs[i] = texts[i].release();
    }
    return calls.result;
}

HRESULT GetStoreType(IMAPISession* session, const char* storeId, int* type) {
    CPlatformCalls calls("Quorvel_GetStoreType");
    if (!session || !storeId || !*storeId || !type) {
        g_Log.Error(calls.tag, "Invalid arguments");
        return -1;
    }
    CTagList columns(PR_ENTRYID, PR_SERVICE_UID, PR_DISPLAY_NAME_A, PR_DEFAULT_STORE);
    ComPtr<IMAPITable> table;
    RowSet rows;
    if (!calls.Gives(table, session->GetMsgStoresTable(0, &table), "GetMsgStoresTable - 0x%x\n") ||
        !ReadRow(calls, table.Get(), columns, PR_ENTRYID, storeId,
                 {"SetColumns - 0x%x\n", "FindRow(PR_ENTRYID) - 0x%x\n", "QueryRows - 0x%x\n"}, rows)) {
        return calls.result;
    }

    const SPropValue* const uid = ColumnOf(rows->aRow[0], 1);
    if (!uid || uid->ulPropTag != PR_SERVICE_UID) {
        g_Log.Error(calls.tag, "cant get PR_SERVICE_UID, err = 0x%x\n",
                    static_cast<unsigned>(uid ? PROP_TYPE(uid->ulPropTag) : PT_ERROR));
        return S_OK;
    }
    const MapiBuffer<char> uidText = EntryIdToText(uid->Value.bin.lpb, uid->Value.bin.cb);
    rows.reset();
    if (!calls.Allocated(uidText.get())) return calls.result;

    MapiBuffer<char> dllName, entryName, serviceName, displayName;
    const HRESULT hr = GetServiceProps(session, uidText.get(), Out(dllName), Out(entryName), Out(serviceName),
                                       Out(displayName));
    if (hr != S_OK) return hr;
    *type = TypeOfService(base::OrEmpty(dllName.get()), base::OrEmpty(entryName.get()));
    g_Log.Info(3, calls.tag,
               "Service:\n\tMyType      = %d\n\tDllName     = %s\n\tEntryName   = %s\n\tUID         = %s\n",
               *type, base::OrEmpty(dllName.get()), base::OrEmpty(entryName.get()),
               base::OrEmpty(displayName.get()));
    return S_OK;
}

HRESULT IsStoreLocal(IMAPISession* session, const char* storeId, int* local) {
    const HRESULT hr = GetStoreType(session, storeId, local);
    if (hr == S_OK) *local = *local == 0;
    return hr;
}

}  // namespace store
