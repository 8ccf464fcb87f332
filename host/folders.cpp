#include "host/folders.h"

#include <mapitags.h>

#include <algorithm>
#include <cstdio>

#include "host/text.h"
#include "quorvel.h"

#ifndef PR_CONTAINER_CLASS_W
#define PR_CONTAINER_CLASS_W PROP_TAG(PT_UNICODE, 0x3613)
#endif

namespace host {

namespace {

// A flag for following up, as the platform's headers do not name it: 1 done, 2 set.
constexpr ULONG kFlagStatus = PROP_TAG(PT_LONG, 0x1090);
constexpr long kFlagged = 2;

// The set of the names by which an item tells from which file it was made.
constexpr GUID kSourceSet = {0xB0A5B6C1, 0x6C1D, 0x4E0F, {0x9B, 0x57, 0x2D, 0x2B, 0x6A, 0x7C, 0x51, 0xE4}};
constexpr wchar_t kSourcePath[] = L"Path";
constexpr wchar_t kSourcePlace[] = L"Place";

// An unknown name is answered with the names that there are, up to so many.
constexpr size_t kListedFolders = 30;

constexpr struct {
    EKind kind;
    const char* name;
    const char* containerClass;
} kKinds[] = {
    {EKind::Mail, "mail", "IPF.Note"},
    {EKind::Contact, "contact", "IPF.Contact"},
    {EKind::Appointment, "appointment", "IPF.Appointment"},
    {EKind::Task, "task", "IPF.Task"},
    {EKind::Journal, "journal", "IPF.Journal"},
};

// Classes nest with points: "IPF.Note.Report" is a mail folder. A folder without a class holds mail.
EKind KindOfClass(const std::string& containerClass) {
    if (containerClass.empty()) return EKind::Mail;
    for (const auto& row : kKinds) {
        const size_t length = strlen(row.containerClass);
        if (EqualNoCase(containerClass.substr(0, length), row.containerClass) &&
            (containerClass.size() == length || containerClass[length] == '.')) {
            return row.kind;
        }
    }
    return EKind::Other;
}

ComPtr<IMsgStore> OpenStore(IMAPISession* session, const TStore& store) {
    ComPtr<IMsgStore> opened;
    const HRESULT hr = Quorvel_OpenStore(session, store.entryId.c_str(), opened.GetAddressOf());
    if (hr != S_OK)
        throw TFailure("The store \"" + store.name + "\" cannot be opened: " + ResultText(hr) + ".");
    return opened;
}

ComPtr<IMAPIFolder> OpenRoot(IMsgStore* store, const std::string& name) {
    const MapiPtr<SPropValue> subtree = ReadValue(store, PR_IPM_SUBTREE_ENTRYID);
    ULONG type = 0;
    ComPtr<IUnknown> root;
    const SBinary id = subtree ? subtree->Value.bin : SBinary{};
    HRESULT hr = store->OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS, &type,
                                  root.GetAddressOf());
    ComPtr<IMAPIFolder> folder;
    if (hr == S_OK)
        hr = root->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(folder.GetAddressOf()));
    if (hr != S_OK)
        throw TFailure("The folders of \"" + name + "\" cannot be opened: " + ResultText(hr) + ".");
    return folder;
}

constexpr struct {
    ERole role;
    const char* name;
    ULONG storeTag;  // of the store's identifier of that folder; 0: it has none
} kRoles[] = {
    {ERole::Inbox, "inbox", 0},
    {ERole::Ordinary, "ordinary", 0},
    {ERole::Sent, "sent", PR_IPM_SENTMAIL_ENTRYID},
    {ERole::Archive, "archive", 0},
    {ERole::Drafts, "drafts", PROP_TAG(PT_BINARY, 0x36D7)},
    {ERole::Outbox, "outbox", PR_IPM_OUTBOX_ENTRYID},
    {ERole::Junk, "junk", 0},
    {ERole::Deleted, "deleted", PR_IPM_WASTEBASKET_ENTRYID},
};

// The names that mail programs give to folders that a store does not name itself.
constexpr struct {
    const char* name;
    ERole role;
} kRoleNames[] = {
    {"Inbox", ERole::Inbox},
    {"Sent", ERole::Sent},
    {"Sent Items", ERole::Sent},
    {"Sent Mail", ERole::Sent},
    {"Sent Messages", ERole::Sent},
    {"Archive", ERole::Archive},
    {"Archives", ERole::Archive},
    {"Drafts", ERole::Drafts},
    {"Outbox", ERole::Outbox},
    {"Junk", ERole::Junk},
    {"Junk E-mail", ERole::Junk},
    {"Junk Email", ERole::Junk},
    {"Junk Mail", ERole::Junk},
    {"Spam", ERole::Junk},
    {"Deleted", ERole::Deleted},
    {"Deleted Items", ERole::Deleted},
    {"Deleted Messages", ERole::Deleted},
    {"Trash", ERole::Deleted},
    {"Bin", ERole::Deleted},
};

// The folders with a role that a store names by their identifiers. Drafts and junk are named on the inbox
// by some clients, the latter as the fifth of a list.
constexpr ULONG kFurtherFolders = PROP_TAG(PT_MV_BINARY, 0x36D8);
constexpr ULONG kJunkOfFurther = 4;

struct TSpecial {
    ERole role;
    std::string id;  // bytes
};

std::string BytesOf(const SBinary& id) {
    return {reinterpret_cast<const char*>(id.lpb), id.cb};
}

void AddSpecials(IMAPIProp* object, std::vector<TSpecial>& specials) {
    for (const auto& row : kRoles) {
        if (row.storeTag == 0) continue;
        const MapiPtr<SPropValue> value = ReadValue(object, row.storeTag);
        if (value && PROP_TYPE(value->ulPropTag) == PT_BINARY)
            specials.push_back({row.role, BytesOf(value->Value.bin)});
    }
    const MapiPtr<SPropValue> further = ReadValue(object, kFurtherFolders);
    if (further && PROP_TYPE(further->ulPropTag) == PT_MV_BINARY &&
        further->Value.MVbin.cValues > kJunkOfFurther) {
        specials.push_back({ERole::Junk, BytesOf(further->Value.MVbin.lpbin[kJunkOfFurther])});
    }
}

std::vector<TSpecial> SpecialsOf(IMsgStore* store, IMAPIFolder* root) {
    std::vector<TSpecial> specials;
    AddSpecials(store, specials);
    AddSpecials(root, specials);
    wchar_t allClasses[] = L"";
    ULONG size = 0;
    ENTRYID* raw = nullptr;
    const HRESULT hr = store->GetReceiveFolder(allClasses, MAPI_UNICODE, &size, &raw, nullptr);
    const MapiPtr<ENTRYID> id(raw);
    if (hr != S_OK || !id) return specials;
    specials.push_back({ERole::Inbox, std::string(reinterpret_cast<const char*>(id.get()), size)});
    ULONG type = 0;
    ComPtr<IUnknown> opened;
    ComPtr<IMAPIFolder> inbox;
    if (store->OpenEntry(size, id.get(), nullptr, MAPI_BEST_ACCESS, &type, opened.GetAddressOf()) == S_OK &&
        opened->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(inbox.GetAddressOf())) == S_OK) {
        AddSpecials(inbox.Get(), specials);
    }
    return specials;
}

bool IsSame(IMsgStore* store, const std::string& a, const std::string& b) {
    if (a == b) return true;
    const auto id = [](const std::string& bytes) {
        return reinterpret_cast<ENTRYID*>(const_cast<char*>(bytes.data()));
    };
    ULONG isSame = FALSE;
    return !a.empty() && !b.empty() &&
           store->CompareEntryIDs(static_cast<ULONG>(a.size()), id(a), static_cast<ULONG>(b.size()), id(b), 0,
                                  &isSame) == S_OK &&
           isSame;
}

// A folder's own role, by its identifier, else by its name when it is for mail; else that of the folder
// above.
void SetRole(IMsgStore* store, const std::vector<TSpecial>& specials, const std::string& id,
             const TFolder& above, TFolder& folder) {
    folder.roleFolder = folder.name;
    for (const TSpecial& special : specials) {
        if (!IsSame(store, special.id, id)) continue;
        folder.role = special.role;
        return;
    }
    folder.role = above.role;
    if (above.role != ERole::Ordinary && above.role != ERole::Inbox) {
        folder.roleFolder = above.roleFolder;
    } else if (folder.kind == EKind::Mail) {
        for (const auto& row : kRoleNames) {
            if (EqualNoCase(folder.name, row.name)) folder.role = row.role;
        }
    }
}

void ReadSubfolders(IMsgStore* store, const std::vector<TSpecial>& specials, IMAPIFolder* parent,
                    const TFolder& above, TCatalog& catalog) {
    ComPtr<IMAPITable> table;
    const HRESULT hr = parent->GetHierarchyTable(0, table.GetAddressOf());
    if (hr != S_OK)
        throw TFailure("The folders below \"" + above.path + "\" cannot be read: " + ResultText(hr) + ".");
    std::vector<std::pair<TFolder, std::string>> found;
    const std::vector<ULONG> columns{PR_ENTRYID, PR_DISPLAY_NAME_W, PR_CONTENT_COUNT};
    ForEachRow(table.Get(), columns, "the folders below \"" + above.path + "\"", [&](const SRow& row) {
        TFolder folder;
        folder.entryId = HexOf(FindValue(row.lpProps, row.cValues, PR_ENTRYID));
        folder.name = OneLine(TextOf(FindValue(row.lpProps, row.cValues, PR_DISPLAY_NAME_W)));
        folder.items = static_cast<unsigned>(LongOf(FindValue(row.lpProps, row.cValues, PR_CONTENT_COUNT)));
        folder.path = above.path + "/" + folder.name;
        folder.store = above.store;
        folder.depth = above.depth + 1;
        const SPropValue* id = FindValue(row.lpProps, row.cValues, PR_ENTRYID);
        found.emplace_back(std::move(folder), id ? BytesOf(id->Value.bin) : std::string());
        return true;
    });
    for (auto& [folder, id] : found) {
        ComPtr<IMAPIFolder> opened;
        if (Quorvel_OpenStoreFolder(store, folder.entryId.c_str(), opened.GetAddressOf()) != S_OK) continue;
        folder.containerClass = TextOf(ReadValue(opened.Get(), PR_CONTAINER_CLASS_W).get());
        folder.kind = KindOfClass(folder.containerClass);
        SetRole(store, specials, id, above, folder);
        catalog.folders.push_back(folder);
        ReadSubfolders(store, specials, opened.Get(), folder, catalog);
    }
}

}  // namespace

const char* RoleName(ERole role) {
    for (const auto& row : kRoles) {
        if (row.role == role) return row.name;
    }
    return "";
}

const char* KindName(EKind kind) {
    for (const auto& row : kKinds) {
        if (row.kind == kind) return row.name;
    }
    return "other";
}

EKind KindOf(const std::string& name) {
    for (const auto& row : kKinds) {
        if (EqualNoCase(name, row.name)) return row.kind;
    }
    throw TFailure("\"" + name + "\" is no kind of item: mail, contact, appointment, task or journal.");
}

TCatalog ReadCatalog(IMAPISession* session) {
    ComPtr<IMAPITable> table;
    const HRESULT hr = session->GetMsgStoresTable(0, table.GetAddressOf());
    if (hr != S_OK) throw TFailure("The list of stores cannot be read: " + ResultText(hr) + ".");
    TCatalog catalog;
    ForEachRow(table.Get(), {PR_ENTRYID, PR_DISPLAY_NAME_W}, "the list of stores", [&](const SRow& row) {
        TStore store;
        store.entryId = HexOf(FindValue(row.lpProps, row.cValues, PR_ENTRYID));
        store.name = OneLine(TextOf(FindValue(row.lpProps, row.cValues, PR_DISPLAY_NAME_W)));
        Quorvel_GetStoreType(session, store.entryId.c_str(), &store.type);
        catalog.stores.push_back(std::move(store));
        return true;
    });
    for (size_t i = 0; i < catalog.stores.size(); ++i) {
        const TStore& store = catalog.stores[i];
        const ComPtr<IMsgStore> opened = OpenStore(session, store);
        TFolder root;
        root.path = store.name;
        root.store = i;
        root.depth = static_cast<size_t>(-1);
        const ComPtr<IMAPIFolder> top = OpenRoot(opened.Get(), store.name);
        ReadSubfolders(opened.Get(), SpecialsOf(opened.Get(), top.Get()), top.Get(), root, catalog);
    }
    return catalog;
}

namespace {

// The tag that a name has in the folder's store; PR_NULL when the store does not know it.
ULONG SourceTag(IMAPIFolder* folder, const wchar_t* name, ULONG type) {
    GUID set = kSourceSet;
    std::wstring text = name;
    MAPINAMEID id{};
    id.lpguid = &set;
    id.ulKind = MNID_STRING;
    id.Kind.lpwstrName = text.data();
    MAPINAMEID* one = &id;
    SPropTagArray* raw = nullptr;
    const HRESULT hr = folder->GetIDsFromNames(1, &one, 0, &raw);
    const MapiPtr<SPropTagArray> tags(raw);
    return hr == S_OK && tags ? CHANGE_PROP_TYPE(tags->aulPropTag[0], type) : PR_NULL;
}

}  // namespace

void ReadItems(IMAPISession* session, const TCatalog& catalog, size_t index, std::vector<TItem>& items) {
    const TFolder& folder = catalog.folders[index];
    const ComPtr<IMAPIFolder> opened =
        OpenFolder(session, catalog.stores[folder.store].entryId, folder.entryId);
    ComPtr<IMAPITable> table;
    const HRESULT hr = opened->GetContentsTable(0, table.GetAddressOf());
    if (hr != S_OK)
        throw TFailure("The items of \"" + folder.path + "\" cannot be listed: " + ResultText(hr) + ".");
    const ULONG pathTag = SourceTag(opened.Get(), kSourcePath, PT_UNICODE);
    const ULONG placeTag = SourceTag(opened.Get(), kSourcePlace, PT_LONG);
    std::vector<ULONG> columns{PR_ENTRYID,
                               PR_SUBJECT_W,
                               PR_DISPLAY_NAME_W,
                               PR_SENT_REPRESENTING_NAME_W,
                               PR_COMPANY_NAME_W,
                               PR_CLIENT_SUBMIT_TIME,
                               PR_MESSAGE_DELIVERY_TIME,
                               PR_LAST_MODIFICATION_TIME,
                               PR_MESSAGE_SIZE,
                               PR_MESSAGE_FLAGS,
                               PR_MSG_STATUS,
                               kFlagStatus};
    for (const ULONG tag : {pathTag, placeTag}) {
        if (tag != PR_NULL) columns.push_back(tag);
    }
    unsigned number = 0;
    ForEachRow(table.Get(), columns, "the items of \"" + folder.path + "\"", [&](const SRow& row) {
        const auto text = [&](ULONG tag) {
            return OneLine(TextOf(FindValue(row.lpProps, row.cValues, tag)));
        };
        const auto time = [&](ULONG tag) { return TimeOf(FindValue(row.lpProps, row.cValues, tag)); };
        TItem item;
        item.number = ++number;
        item.folder = index;
        item.entryId = HexOf(FindValue(row.lpProps, row.cValues, PR_ENTRYID));
        if (item.entryId.empty()) return true;
        const bool isContact = folder.kind == EKind::Contact;
        item.title = text(isContact ? PR_DISPLAY_NAME_W : PR_SUBJECT_W);
        if (item.title.empty()) item.title = text(isContact ? PR_SUBJECT_W : PR_DISPLAY_NAME_W);
        item.who = text(isContact ? PR_COMPANY_NAME_W : PR_SENT_REPRESENTING_NAME_W);
        item.when = time(PR_CLIENT_SUBMIT_TIME);
        if (item.when.dwHighDateTime == 0) item.when = time(PR_MESSAGE_DELIVERY_TIME);
        item.modified = time(PR_LAST_MODIFICATION_TIME);
        item.arrived = time(PR_MESSAGE_DELIVERY_TIME);
        if (item.arrived.dwHighDateTime == 0 && folder.kind == EKind::Mail) item.arrived = item.when;
        if (item.arrived.dwHighDateTime == 0) item.arrived = item.modified;
        const auto bits = [&](ULONG tag) { return LongOf(FindValue(row.lpProps, row.cValues, tag)); };
        item.sourcePath = text(pathTag);
        item.sourcePlace = static_cast<unsigned>(bits(placeTag));
        item.isRead = (bits(PR_MESSAGE_FLAGS) & MSGFLAG_READ) != 0;
        item.isMarkedDeleted = (bits(PR_MSG_STATUS) & MSGSTATUS_DELMARKED) != 0;
        item.isFlagged = bits(kFlagStatus) == kFlagged;
        item.size = static_cast<unsigned>(LongOf(FindValue(row.lpProps, row.cValues, PR_MESSAGE_SIZE)));
        items.push_back(std::move(item));
        return true;
    });
}

std::vector<size_t> FindFolders(const TCatalog& catalog, const std::string& path) {
    std::string wanted = path;
    while (!wanted.empty() && wanted.back() == '/') wanted.pop_back();
    std::vector<size_t> whole;
    std::vector<size_t> tails;
    std::vector<std::string> paths;
    for (size_t i = 0; i < catalog.folders.size(); ++i) {
        const std::string& has = catalog.folders[i].path;
        paths.push_back(has);
        if (EqualNoCase(has, wanted)) whole.push_back(i);
        if (has.size() > wanted.size() && has[has.size() - wanted.size() - 1] == '/' &&
            EqualNoCase(has.substr(has.size() - wanted.size()), wanted)) {
            tails.push_back(i);
        }
    }
    if (wanted.empty() || (whole.empty() && tails.empty())) {
        std::string known;
        for (size_t i = 0; i < paths.size() && i < kListedFolders; ++i)
            known += (i == 0 ? " There are \"" : ", \"") + paths[i] + "\"";
        if (paths.size() > kListedFolders)
            known += " and " + std::to_string(paths.size() - kListedFolders) + " more";
        throw TFailure("There is no folder \"" + path + "\"." + Suggestion(path, paths) + known +
                       (known.empty() ? "" : "."));
    }
    return whole.empty() ? tails : whole;
}

std::vector<size_t> TreeOf(const TCatalog& catalog, size_t top) {
    // The folders of a tree stand behind its top.
    std::vector<size_t> tree{top};
    for (size_t one = top + 1;
         one < catalog.folders.size() && catalog.folders[one].store == catalog.folders[top].store &&
         catalog.folders[one].depth > catalog.folders[top].depth;
         ++one) {
        tree.push_back(one);
    }
    return tree;
}

std::vector<size_t> FindTrees(const TCatalog& catalog, const std::string& path) {
    std::vector<size_t> found;
    for (const size_t top : FindFolders(catalog, path)) {
        for (const size_t one : TreeOf(catalog, top)) {
            if (std::find(found.begin(), found.end(), one) == found.end()) found.push_back(one);
        }
    }
    return found;
}

std::string Place(const TCatalog& catalog, const TItem& item) {
    return catalog.folders[item.folder].path + "#" + std::to_string(item.number);
}

std::string SourceText(const TItem& item) {
    return item.sourcePlace == 0 ? item.sourcePath
                                 : item.sourcePath + ", entry " + std::to_string(item.sourcePlace);
}

ComPtr<IMAPIFolder> OpenFolder(IMAPISession* session, const std::string& storeId,
                               const std::string& folderId) {
    ComPtr<IMsgStore> store;
    ComPtr<IMAPIFolder> folder;
    HRESULT hr = Quorvel_OpenStore(session, storeId.c_str(), store.GetAddressOf());
    if (hr == S_OK) hr = Quorvel_OpenStoreFolder(store.Get(), folderId.c_str(), folder.GetAddressOf());
    if (hr != S_OK) throw TFailure("A folder cannot be opened: " + ResultText(hr) + ".");
    return folder;
}

void PrintFolders(const TCatalog& catalog) {
    static constexpr const char* kTypes[] = {"other service", "personal folders file", "server store"};
    for (size_t i = 0; i < catalog.stores.size(); ++i) {
        const TStore& store = catalog.stores[i];
        printf("%s (%s)\n", store.name.c_str(), kTypes[store.type + 1]);
        for (const TFolder& folder : catalog.folders) {
            if (folder.store != i) continue;
            const std::string name = std::string(2 * folder.depth + 2, ' ') + folder.name;
            printf("%s %7u  %s\n", Fit(name, 40).c_str(), folder.items, KindName(folder.kind));
        }
    }
}

}  // namespace host
