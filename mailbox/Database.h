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

#include "mailbox/FileText.h"
#include "mailbox/ItemIndex.h"
#include "mailbox/Properties.h"

namespace mailbox {

/// The name of a named property. numeric says which of number and text counts.
struct Name {
    GUID set{};
    bool numeric = true;
    LONG number = 0;
    std::wstring text;
    bool operator<(const Name& other) const;
};

/// A store's named properties: identifiers from 0x8000 up, given in order of first use.
class NameTable {
  public:
    /// The identifier, 0 when the name is not known.
    ULONG Find(const Name& name) const;
    /// The identifier, 0 when all are taken.
    ULONG FindOrAdd(const Name& name);
    /// The name behind an identifier, null when there is none.
    const Name* Of(ULONG id) const;
    const std::vector<const Name*>& All() const { return m_byId; }

  private:
    std::map<Name, ULONG> m_ids;
    std::vector<const Name*> m_byId;
};

struct MessageData;

struct Attachment {
    ULONG number = 0;
    Properties properties;
    /// The embedded message of ATTACH_EMBEDDED_MSG.
    std::shared_ptr<const MessageData> message;
};

struct MessageData {
    Properties properties;
    std::vector<Properties> recipients;
    std::vector<std::shared_ptr<const Attachment>> attachments;
    ULONG nextAttachment = 0;

    const Attachment* FindAttachment(ULONG number) const;
};

struct Folder;
struct Store;

struct Item {
    std::string id;
    /// Null once the item was deleted or moved away.
    Folder* folder = nullptr;
    std::shared_ptr<const MessageData> data;
    bool associated = false;
};

struct Folder {
    std::string id;
    /// Null for a root folder.
    Folder* parent = nullptr;
    /// Null once the folder was deleted.
    Store* store = nullptr;
    Properties properties;
    std::vector<std::shared_ptr<Folder>> folders;
    std::vector<std::shared_ptr<Item>> items;
};

/// Folders that a store names for what they serve as.
enum SpecialFolder { sfIpmSubtree, sfInbox, sfOutbox, sfSentItems, sfDeletedItems, sfCount };

struct Service {
    std::string uid;
    Properties properties;
};

struct Store {
    std::string id;
    bool isDefault = false;
    /// Empty: the store has no PR_SERVICE_UID.
    std::string serviceUid;
    Properties properties;
    std::shared_ptr<Folder> root;
    /// Entry identifiers, empty when the store has no such folder.
    std::string special[sfCount];
    NameTable names;

    ItemIndex itemsById;
    std::unordered_map<std::string_view, std::shared_ptr<Folder>> foldersById;
};

struct AddressEntry {
    std::string id;
    Properties properties;
};

struct MailboxFileState;

class Database {
  public:
    Database();
    Database(const Database&) = delete;
    ~Database();

    std::vector<std::unique_ptr<Service>> services;
    std::vector<std::unique_ptr<Store>> stores;
    std::vector<std::unique_ptr<AddressEntry>> addressBook;
    /// Something was saved since the file was read or written.
    bool dirty = false;
    /// Sessions logged on and not off.
    unsigned sessions = 0;
    /// The file that the mailbox was read from; null for one built in memory.
    std::shared_ptr<MailboxFileState> file;
    /// What long values are read from; null where none lies outside.
    std::shared_ptr<FileText> text;

    // Adding. An empty id is replaced by a new one; null when the id is taken already.
    Store* AddStore(std::string id, std::wstring_view displayName);
    Folder* AddFolder(Folder& parent, std::string id, Properties properties);
    Item* AddItem(Folder& folder, std::string id, std::shared_ptr<const MessageData> data,
                  bool associated = false);

    Store* FindStore(std::string_view id) const;
    Service* FindService(std::string_view uid) const;
    AddressEntry* FindAddress(std::string_view id) const;
    /// The store of the call without an identifier: the default one, else the first; null without stores.
    Store* DefaultStore() const;

    void RemoveItem(Item& item);
    /// Removes the folder with everything in it. Not for a root.
    void RemoveFolder(Folder& folder);
    /// Adds a copy of the item to a folder of any store of this mailbox: a new identifier, the same search
    /// key, named properties under the identifiers of that store.
    Item* CopyItem(const Item& item, Folder& target);

    /// An entry identifier that no object has had: of a kind of its own for each run of the program, so one
    /// that was handed out and never written to the file does not come again.
    std::string NewId(const Store& store);

  private:
    unsigned long long m_seed;
    unsigned long long m_lastId = 0;
};

/// The search key of an item or folder that has none of its own, 16 bytes.
std::string SearchKeyOf(std::string_view entryId);

/// The message as another store holds it: named properties carry that store's identifiers. Null when it has
/// none left, or when a value cannot be read: for a store of another mailbox all of them are.
std::shared_ptr<const MessageData> Translate(const std::shared_ptr<const MessageData>& data,
                                             const NameTable& from, NameTable& to, bool isSameMailbox = true);

}  // namespace mailbox
