#pragma once
// Stores, folders and items of a session as plain records.

#include <string>
#include <vector>

#include "host/platform.h"

namespace host {

enum class EKind { Mail, Contact, Appointment, Task, Journal, Other };
inline constexpr EKind kScannedKinds[] = {EKind::Mail, EKind::Contact, EKind::Appointment, EKind::Task,
                                          EKind::Journal};

/// "mail", "contact", ...; Other is "other".
const char* KindName(EKind kind);
/// Throws Failure for a name that is no kind.
EKind KindOf(const std::string& name);

/// What a folder is to its owner.
enum class ERole { Inbox, Ordinary, Sent, Archive, Drafts, Outbox, Junk, Deleted };
/// "inbox", "ordinary", ...
const char* RoleName(ERole role);

struct TStore {
    std::string name;
    std::string entryId;  // entry-identifier text
    int type = -1;        // of Quorvel_GetStoreType: 0 local file, 1 server, -1 other
};

struct TFolder {
    std::string path;  // "Store/Inbox/Lists"
    std::string name;
    std::string entryId;
    std::string containerClass;
    EKind kind = EKind::Other;
    ERole role = ERole::Ordinary;
    std::string roleFolder;  // name of the folder that has the role: a folder
                             // below it shares it
    size_t store = 0;        // index into the stores
    size_t depth = 0;        // 0 below the store's root
    unsigned items = 0;
};

struct TItem {
    std::string entryId;
    size_t folder = 0;    // index into the folders
    unsigned number = 0;  // 1-based place in its folder: "Inbox#3"
    std::string title;
    std::string who;  // sender of a mail, company of a contact
    FILETIME when{};  // sent or received
    FILETIME modified{};
    FILETIME arrived{};  // received, or sent; of what does not arrive, the last
                         // modification
    unsigned size = 0;
    std::string sourcePath;    // the file that it was made from, when there is one
    unsigned sourcePlace = 0;  // which entry of that file, from 1; 0: the file is the item
    bool isRead = false;
    bool isFlagged = false;
    bool isMarkedDeleted = false;
};

/// What a session holds, in the platform's order.
struct TCatalog {
    std::vector<TStore> stores;
    std::vector<TFolder> folders;
};

TCatalog ReadCatalog(IMAPISession* session);
/// Items of one folder, appended to items. Rows of messages only; rows that cannot be named are left out.
void ReadItems(IMAPISession* session, const TCatalog& catalog, size_t folder, std::vector<TItem>& items);

/// Indexes of the folders that a path names: a whole path, or its tail ("Inbox", "Lists/dev"), in any
/// letter case. Throws Failure with the names that there are when there is none.
std::vector<size_t> FindFolders(const TCatalog& catalog, const std::string& path);
/// A folder and all below it.
std::vector<size_t> TreeOf(const TCatalog& catalog, size_t top);
/// The folders of a path with all folders below them, each once.
std::vector<size_t> FindTrees(const TCatalog& catalog, const std::string& path);

/// "Store/Inbox#3"
std::string Place(const TCatalog& catalog, const TItem& item);

/// "/home/ann/mail/1.eml", "/home/ann/cards.vcf, entry 3"; empty without a source.
std::string SourceText(const TItem& item);

/// Opens a folder; throws Failure.
ComPtr<IMAPIFolder> OpenFolder(IMAPISession* session, const std::string& storeId,
                               const std::string& folderId);

/// The `folders` command: stores with their type, folders with their item counts.
void PrintFolders(const TCatalog& catalog);

}  // namespace host
