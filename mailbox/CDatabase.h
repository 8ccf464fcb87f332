#pragma once
// What a mailbox holds, as plain records: services, stores, folders, items, the address book.
//
// An item's data is immutable once it can be seen: a save replaces the whole record by a new one, so an open
// message keeps what it was opened with. Entry identifiers, search keys and other binaries are byte strings.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "mailbox/CFileText.h"
#include "mailbox/CItemIndex.h"
#include "mailbox/CProperties.h"

namespace mailbox {

/// The name of a named property. numeric says which of number and text counts.
struct TName {
    GUID set{};
    bool numeric = true;
    LONG number = 0;
    std::wstring text;
    bool operator<(const TName& other) const;
};

/// A store's named properties: identifiers from 0x8000 up, given in order of first use.
class CNameTable {
  public:
    /// The identifier, 0 when the name is not known.
    ULONG Find(const TName& name) const;
    /// The identifier, 0 when all are taken.
    ULONG FindOrAdd(const TName& name);
    /// The name behind an identifier, null when there is none.
    const TName* Of(ULONG id) const;
    const std::vector<const TName*>& All() const { return m_byId; }

  private:
    std::map<TName, ULONG> m_ids;
    std::vector<const TName*> m_byId;
};

struct TMessageData;

struct TAttachment {
    ULONG number = 0;
    CProperties properties;
    /// The embedded message of ATTACH_EMBEDDED_MSG.
    std::shared_ptr<const TMessageData> message;
};

struct TMessageData {
    CProperties properties;
    std::vector<CProperties> recipients;
    std::vector<std::shared_ptr<const TAttachment>> attachments;
    ULONG nextAttachment = 0;

    const TAttachment* FindAttachment(ULONG number) const;
};

struct TFolder;
struct TStore;

struct TItem {
    std::string id;
    /// Null once the item was deleted or moved away.
    TFolder* folder = nullptr;
    std::shared_ptr<const TMessageData> data;
    bool associated = false;
};

struct TFolder {
    std::string id;
    /// Null for a root folder.
    TFolder* parent = nullptr;
    /// Null once the folder was deleted.
    TStore* store = nullptr;
    CProperties properties;
    std::vector<std::shared_ptr<TFolder>> folders;
    std::vector<std::shared_ptr<TItem>> items;
};

/// Folders that a store names for what they serve as.
enum ESpecialFolder : size_t { sfIpmSubtree, sfInbox, sfOutbox, sfSentItems, sfDeletedItems, sfCount };

struct TService {
    std::string uid;
    CProperties properties;
};

struct TStore {
    std::string id;
    bool isDefault = false;
    /// Empty: the store has no PR_SERVICE_UID.
    std::string serviceUid;
    CProperties properties;
    std::shared_ptr<TFolder> root;
    /// Entry identifiers, empty when the store has no such folder.
    std::string special[sfCount];
    CNameTable names;

    CItemIndex itemsById;
    std::unordered_map<std::string_view, std::shared_ptr<TFolder>> foldersById;
};

struct TAddressEntry {
    std::string id;
    CProperties properties;
};

struct TMailboxFileState;

class CDatabase {
  public:
    CDatabase();
    CDatabase(const CDatabase&) = delete;
    ~CDatabase();

    std::vector<std::unique_ptr<TService>> services;
    std::vector<std::unique_ptr<TStore>> stores;
    std::vector<std::unique_ptr<TAddressEntry>> addressBook;
    /// Something was saved since the file was read or written.
    bool dirty = false;
    /// Sessions logged on and not off.
    unsigned sessions = 0;
    /// The file that the mailbox was read from; null for one built in memory.
    std::shared_ptr<TMailboxFileState> file;
    /// What long values are read from; null where none lies outside.
    std::shared_ptr<CFileText> text;

    // Adding. An empty id is replaced by a new one; null when the id is taken already.
    TStore* AddStore(std::string id, std::wstring_view displayName);
    TFolder* AddFolder(TFolder& parent, std::string id, CProperties properties);
    TItem* AddItem(TFolder& folder, std::string id, std::shared_ptr<const TMessageData> data,
                   bool associated = false);

    TStore* FindStore(std::string_view id) const;
    TService* FindService(std::string_view uid) const;
    TAddressEntry* FindAddress(std::string_view id) const;
    /// The store of the call without an identifier: the default one, else the first; null without stores.
    TStore* DefaultStore() const;

    void RemoveItem(TItem& item);
    /// Removes the folder with everything in it. Not for a root.
    void RemoveFolder(TFolder& folder);
    /// Adds a copy of the item to a folder of any store of this mailbox: a new identifier, the same search
    /// key, named properties under the identifiers of that store.
    TItem* CopyItem(const TItem& item, TFolder& target);

    /// An entry identifier that no object has had: of a kind of its own for each run of the program, so one
    /// that was handed out and never written to the file does not come again.
    std::string NewId(const TStore& store);

  private:
    unsigned long long m_nSeed;
    unsigned long long m_nLastId = 0;
};

/// The search key of an item or folder that has none of its own, 16 bytes.
std::string SearchKeyOf(std::string_view entryId);

/// The message as another store holds it: named properties carry that store's identifiers. Null when it has
/// none left, or when a value cannot be read: for a store of another mailbox all of them are.
std::shared_ptr<const TMessageData> Translate(const std::shared_ptr<const TMessageData>& data,
                                              const CNameTable& from, CNameTable& to,
                                              bool isSameMailbox = true);

}  // namespace mailbox
