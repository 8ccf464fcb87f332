#include "host/item_moves.h"

#include <mapitags.h>

#include "host/text.h"
#include "quorvel.h"

namespace host {

std::optional<FolderRows> ReadRows(IMAPISession* session, const std::string& storeId,
                                   const std::string& folderId) {
    ComPtr<IMsgStore> store;
    ComPtr<IMAPIFolder> folder;
    ComPtr<IMAPITable> table;
    if (Quorvel_OpenStore(session, storeId.c_str(), store.GetAddressOf()) != S_OK ||
        Quorvel_OpenStoreFolder(store.Get(), folderId.c_str(), folder.GetAddressOf()) != S_OK ||
        folder->GetContentsTable(0, table.GetAddressOf()) != S_OK) {
        return {};
    }
    FolderRows rows;
    try {
        ForEachRow(table.Get(), {PR_ENTRYID, PR_SEARCH_KEY}, "a folder", [&](const SRow& row) {
            rows.emplace(HexOf(FindValue(row.lpProps, row.cValues, PR_ENTRYID)),
                         HexOf(FindValue(row.lpProps, row.cValues, PR_SEARCH_KEY)));
            return true;
        });
    } catch (const TFailure&) {
        return {};
    }
    return rows;
}

bool HasStore(IMAPISession* session, const std::string& storeId) {
    int type = 0;
    return Quorvel_GetStoreType(session, storeId.c_str(), &type) == S_OK;
}

HRESULT MoveItem(IMAPISession* session, const std::string& entryId, const std::string& storeId,
                 const std::string& fromFolderId, const std::string& toFolderId) {
    return Quorvel_ItemMove(session, entryId.c_str(), fromFolderId.c_str(), storeId.c_str(),
                            toFolderId.c_str(), storeId.c_str(), nullptr);
}

}  // namespace host
