#include "store/item_operations.h"

#include <mapidefs.h>
#include <mapitags.h>

#include <cstring>

#include "log/CPlatformCalls.h"
#include "log/identifier_text.h"
#include "store/checked_calls.h"
#include "store/entry_id.h"
#include "store/properties.h"
#include "store/sessions.h"

namespace store {

using logging::CPlatformCalls;
using logging::g_Log;

namespace {

bool SameText(const char* one, const char* other) {
    return _stricmp(base::OrEmpty(one), base::OrEmpty(other)) == 0;
}

/// The item's search key, or null: without it the item is moved all the same, only not looked for afterwards.
HRESULT ReadSearchKey(IMAPIFolder* folder, const char* entryId, MapiBuffer<SPropValue>& key) {
    ComPtr<IMessage> item;
    if (const HRESULT hr = OpenFolderItem(folder, entryId, &item); hr != S_OK) return hr;
    if (GetPropValue(item.Get(), PR_SEARCH_KEY, Out(key)) != S_OK) key.reset();
    return S_OK;
}

/// Empties newEntryId, when given, but only when entryId is read: the two may be one buffer.
HRESULT MoveOne(IMAPIFolder* source, IMAPIFolder* target, const char* entryId, char* newEntryId) {
    CPlatformCalls calls("Quorvel_ItemMove");
    const TEntryId id = TextToEntryId(entryId);
    if (newEntryId) *newEntryId = 0;
    if (!calls.Allocated(id.bytes.get())) return calls.result;
    SBinary one = {id.count, reinterpret_cast<BYTE*>(id.bytes.get())};
    ENTRYLIST list = {1, &one};
    return source->CopyMessages(&list, nullptr, target, 0, nullptr, MESSAGE_MOVE);
}

}  // namespace

HRESULT FindItem(IMAPIFolder* folder, SPropValue* searchKey, char* entryId) {
    CPlatformCalls calls("Quorvel_FindItem");
    CTagList columns(PR_ENTRYID, PR_SEARCH_KEY);
    SRestriction restriction = {};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty = {RELOP_EQ, PR_SEARCH_KEY, searchKey};
    ComPtr<IMAPITable> table;
    ULONG rowCount = 0;
    RowSet rows;
    if (!calls.Gives(table, folder->GetContentsTable(0, &table),
                     "lpDstFolder->GetContentsTable return 0x%x\n") ||
        !calls(table->SetColumns(columns, 0), "lpTable->SetColumns return 0x%x\n") ||
        !calls(table->Restrict(&restriction, 0), "lpTable->Restrict return 0x%x\n") ||
        !calls(table->GetRowCount(0, &rowCount), "lpTable->GetRowCount return 0x%x\n") || rowCount == 0) {
        return calls.result;
    }
    if (!calls(QueryRows(table.Get(), 1, rows), "lpTable->QueryRows return 0x%x\n")) return calls.result;
    if (rows->cRows == 0) return calls.result;
    const SPropValue* const id = ColumnOf(rows->aRow[0], 0);
    // The line is the same for whatever does not fit the caller's buffer.
    if (!id || PROP_TYPE(id->ulPropTag) != PT_BINARY || id->Value.bin.cb > (kIdTextSize - 1) / 2) {
        g_Log.Error(calls.tag, "Row[0].Prop[0].Type == PT_ERROR\n");
    } else {
        logging::BytesToHex(id->Value.bin.lpb, id->Value.bin.cb, entryId);
    }
    return calls.result;
}

HRESULT ItemMove(IMAPISession* session, const char* entryId, const char* srcFolderId, const char* srcStoreId,
                 const char* dstFolderId, const char* dstStoreId, char* newEntryId) {
    CPlatformCalls calls("Quorvel_ItemMove");
    const bool sameStore = SameText(srcStoreId, dstStoreId);
    if (sameStore && SameText(srcFolderId, dstFolderId)) {
        if (newEntryId)
            std::memmove(newEntryId, base::OrEmpty(entryId), std::strlen(base::OrEmpty(entryId)) + 1);
        return S_OK;
    }
    // No identifier at all would open the store's root.
    if (std::strlen(base::OrEmpty(dstFolderId)) < 2) {
        g_Log.Error(calls.tag, "Invalid Param(s)\n");
        return -1;
    }
    ComPtr<IMsgStore> srcStore, dstStore;
    ComPtr<IMAPIFolder> srcFolder, dstFolder;
    MapiBuffer<SPropValue> searchKey;
    HRESULT hr = OpenStore(session, srcStoreId, &srcStore);
    if (hr == S_OK) hr = OpenStoreFolder(srcStore.Get(), srcFolderId, &srcFolder);
    if (hr == S_OK && sameStore) dstStore = srcStore;
    if (hr == S_OK && !sameStore) hr = OpenStore(session, dstStoreId, &dstStore);
    if (hr == S_OK) hr = OpenStoreFolder(dstStore.Get(), dstFolderId, &dstFolder);
    if (hr == S_OK && newEntryId) hr = ReadSearchKey(srcFolder.Get(), entryId, searchKey);
    if (hr == S_OK) hr = MoveOne(srcFolder.Get(), dstFolder.Get(), entryId, newEntryId);
    if (hr != S_OK || !searchKey) return hr;

    if (const HRESULT found = FindItem(dstFolder.Get(), searchKey.get(), newEntryId); found != S_OK) {
        g_Log.Error(calls.tag, "Quorvel_FindItem return 0x%x\n", static_cast<unsigned>(found));
    }
    return S_OK;
}

HRESULT SaveItem(IMessage* item, ULONG flags) {
    return item->SaveChanges(flags);
}

}  // namespace store
