#pragma once
// Moving items between folders of a store, and what stands in a folder: what `clean` and its undo share.
//
// A moved item has a new identifier, which only the target folder tells. To search it there after each move
// costs as much as the folder has grown; instead a folder is read whole, seldom, and what was not in it
// before is compared with what was moved.

#include <optional>
#include <string>
#include <unordered_map>

#include "host/platform.h"

namespace host {

/// Search keys of a folder's items by entry-identifier text.
using FolderRows = std::unordered_map<std::string, std::string>;
/// Nothing when the folder cannot be opened or read.
std::optional<FolderRows> ReadRows(IMAPISession* session, const std::string& storeId,
                                   const std::string& folderId);

/// Whether the session has this store.
bool HasStore(IMAPISession* session, const std::string& storeId);

/// Moves an item within its store.
HRESULT MoveItem(IMAPISession* session, const std::string& entryId, const std::string& storeId,
                 const std::string& fromFolderId, const std::string& toFolderId);

}  // namespace host
