#pragma once
// Makers of the platform's objects, each with one reference. All keep the mailbox alive as long as they live.

#include <memory>

#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

IMAPISession* NewSession(std::shared_ptr<CDatabase> database);
IMsgServiceAdmin* NewServiceAdmin(std::shared_ptr<CDatabase> database);
IMsgStore* NewStoreObject(std::shared_ptr<CDatabase> database, TStore* store, bool writable);
IMAPIFolder* NewFolderObject(std::shared_ptr<CDatabase> database, std::shared_ptr<TFolder> folder,
                             bool writable);
IAddrBook* NewAddressBook(std::shared_ptr<CDatabase> database);

/// A message of the store as it is saved at this moment.
IMessage* NewMessageObject(std::shared_ptr<CDatabase> database, std::shared_ptr<TItem> item, bool writable);
/// A new message, which comes into the folder with its first save.
IMessage* NewMessageIn(std::shared_ptr<CDatabase> database, std::shared_ptr<TFolder> folder, bool associated);

/// Marks of an item (PR_MESSAGE_FLAGS, PR_MSG_STATUS), which change at once and without a save.
ULONG Marks(const TItem& item, ULONG tag);
void SetMarks(TItem& item, ULONG tag, ULONG bits, ULONG mask);

/// Opens a folder or message of the store (OpenEntry of session, store and folder); no identifier: the root
/// folder.
HRESULT OpenStoreEntry(const std::shared_ptr<CDatabase>& database, TStore& store, ULONG size,
                       const ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** out);
/// An identifier as bytes. Empty when there is none; false when it cannot be one.
bool ToEntryId(ULONG size, const ENTRYID* id, std::string_view& bytes);
/// Whether the flags of an open ask for, or allow, changes.
inline bool AsksWritable(ULONG flags) {
    return (flags & (MAPI_BEST_ACCESS | MAPI_MODIFY)) != 0;
}

HRESULT OpenAddressEntry(const std::shared_ptr<CDatabase>& database, ULONG size, const ENTRYID* id,
                         const IID* iid, ULONG* type, IUnknown** out);
/// CompareEntryIDs of whoever has it.
HRESULT CompareIds(ULONG size1, const ENTRYID* id1, ULONG size2, const ENTRYID* id2, ULONG* result);

/// Text of the platform's calls, wide exactly when flags hold MAPI_UNICODE. Null gives an empty text.
std::wstring CallText(const void* text, ULONG flags);

}  // namespace mailbox
