#include "mailbox/entries.h"

#include "mailbox/CFolderObject.h"
#include "mailbox/CMessageObject.h"
#include "mailbox/CPropCore.h"

namespace mailbox {

bool ToEntryId(ULONG size, const ENTRYID* id, std::string_view& bytes) {
    bytes = id != nullptr ? std::string_view(reinterpret_cast<const char*>(id), size) : std::string_view();
    return bytes.empty() || bytes.size() > sizeof id->abFlags;
}

HRESULT OpenStoreEntry(const std::shared_ptr<CDatabase>& database, TStore& store, ULONG size,
                       const ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** out) {
    std::string_view bytes;
    if (!ToEntryId(size, id, bytes)) return MAPI_E_INVALID_ENTRYID;
    if (auto item = store.itemsById.Find(bytes)) {
        if (!IsWanted(iid, {&IID_IMessage, &IID_IMAPIProp})) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        *out = NewMessageObject(database, std::move(item), AsksWritable(flags));
        if (type != nullptr) *type = MAPI_MESSAGE;
        return S_OK;
    }
    std::shared_ptr<TFolder> folder = store.root;
    if (!bytes.empty()) {
        const auto found = store.foldersById.find(bytes);
        if (found == store.foldersById.end()) return MAPI_E_NOT_FOUND;
        folder = found->second;
    }
    if (!IsWanted(iid, {&IID_IMAPIFolder, &IID_IMAPIContainer, &IID_IMAPIProp}))
        return MAPI_E_INTERFACE_NOT_SUPPORTED;
    *out = NewFolderObject(database, std::move(folder), AsksWritable(flags));
    if (type != nullptr) *type = MAPI_FOLDER;
    return S_OK;
}

HRESULT CompareIds(ULONG size1, const ENTRYID* id1, ULONG size2, const ENTRYID* id2, ULONG* result) {
    if (result == nullptr) return MAPI_E_INVALID_PARAMETER;
    std::string_view left;
    std::string_view right;
    if (!ToEntryId(size1, id1, left) || !ToEntryId(size2, id2, right)) return MAPI_E_INVALID_ENTRYID;
    *result = left == right;
    return S_OK;
}

}  // namespace mailbox
