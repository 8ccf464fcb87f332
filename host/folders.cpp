#include "host/folders.h"

#include <mapitags.h>

#include <cstdio>

#include "host/text.h"
#include "quorvel.h"

#ifndef PR_CONTAINER_CLASS_W
#define PR_CONTAINER_CLASS_W PROP_TAG(PT_UNICODE, 0x3613)
#endif

namespace host {

namespace {

constexpr struct {
    Kind kind;
    const char* name;
    const char* containerClass;
} kKinds[] = {
    {Kind::Mail, "mail", "IPF.Note"},
    {Kind::Contact, "contact", "IPF.Contact"},
    {Kind::Appointment, "appointment", "IPF.Appointment"},
    {Kind::Task, "task", "IPF.Task"},
    {Kind::Journal, "journal", "IPF.Journal"},
};

// Classes nest with points: "IPF.Note.Report" is a mail folder. A folder without a class holds mail.
Kind KindOfClass(const std::string& containerClass) {
    if (containerClass.empty()) return Kind::Mail;
    for (const auto& row : kKinds) {
        const size_t length = strlen(row.containerClass);
        if (EqualNoCase(containerClass.substr(0, length), row.containerClass) &&
            (containerClass.size() == length || containerClass[length] == '.')) {
            return row.kind;
        }
    }
    return Kind::Other;
}

ComPtr<IMsgStore> OpenStore(IMAPISession* session, const Store& store) {
    ComPtr<IMsgStore> opened;
    const HRESULT hr = Quorvel_OpenStore(session, store.entryId.c_str(), opened.GetAddressOf());
    if (hr != S_OK)
        throw Failure("The store \"" + store.name + "\" cannot be opened: " + ResultText(hr) + ".");
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
        throw Failure("The folders of \"" + name + "\" cannot be opened: " + ResultText(hr) + ".");
    return folder;
}

void ReadSubfolders(IMsgStore* store, IMAPIFolder* parent, const Folder& above, Catalog& catalog) {
    ComPtr<IMAPITable> table;
    const HRESULT hr = parent->GetHierarchyTable(0, table.GetAddressOf());
    if (hr != S_OK)
        throw Failure("The folders below \"" + above.path + "\" cannot be read: " + ResultText(hr) + ".");
    std::vector<Folder> found;
    const std::vector<ULONG> columns{PR_ENTRYID, PR_DISPLAY_NAME_W, PR_CONTENT_COUNT};
    ForEachRow(table.Get(), columns, "the folders below \"" + above.path + "\"", [&](const SRow& row) {
        Folder folder;
        folder.entryId = HexOf(FindValue(row.lpProps, row.cValues, PR_ENTRYID));
        folder.name = OneLine(TextOf(FindValue(row.lpProps, row.cValues, PR_DISPLAY_NAME_W)));
        folder.items = static_cast<unsigned>(LongOf(FindValue(row.lpProps, row.cValues, PR_CONTENT_COUNT)));
        folder.path = above.path + "/" + folder.name;
        folder.store = above.store;
        folder.depth = above.depth + 1;
        found.push_back(std::move(folder));
        return true;
    });
    for (Folder& folder : found) {
        ComPtr<IMAPIFolder> opened;
        if (Quorvel_OpenStoreFolder(store, folder.entryId.c_str(), opened.GetAddressOf()) != S_OK) continue;
        folder.containerClass = TextOf(ReadValue(opened.Get(), PR_CONTAINER_CLASS_W).get());
        folder.kind = KindOfClass(folder.containerClass);
        catalog.folders.push_back(folder);
        ReadSubfolders(store, opened.Get(), folder, catalog);
    }
}

}  // namespace

const char* KindName(Kind kind) {
    for (const auto& row : kKinds) {
        if (row.kind == kind) return row.name;
    }
    return "other";
}

Kind KindOf(const std::string& name) {
    for (const auto& row : kKinds) {
        if (EqualNoCase(name, row.name)) return row.kind;
    }
    throw Failure("\"" + name + "\" is no kind of item: mail, contact, appointment, task or journal.");
}

Catalog ReadCatalog(IMAPISession* session) {
    ComPtr<IMAPITable> table;
    const HRESULT hr = session->GetMsgStoresTable(0, table.GetAddressOf());
    if (hr != S_OK) throw Failure("The list of stores cannot be read: " + ResultText(hr) + ".");
    Catalog catalog;
    ForEachRow(table.Get(), {PR_ENTRYID, PR_DISPLAY_NAME_W}, "the list of stores", [&](const SRow& row) {
        Store store;
        store.entryId = HexOf(FindValue(row.lpProps, row.cValues, PR_ENTRYID));
        store.name = OneLine(TextOf(FindValue(row.lpProps, row.cValues, PR_DISPLAY_NAME_W)));
        Quorvel_GetStoreType(session, store.entryId.c_str(), &store.type);
        catalog.stores.push_back(std::move(store));
        return true;
    });
    for (size_t i = 0; i < catalog.stores.size(); ++i) {
        const Store& store = catalog.stores[i];
        const ComPtr<IMsgStore> opened = OpenStore(session, store);
        Folder root;
        root.path = store.name;
        root.store = i;
        root.depth = static_cast<size_t>(-1);
        ReadSubfolders(opened.Get(), OpenRoot(opened.Get(), store.name).Get(), root, catalog);
    }
    return catalog;
}

void ReadItems(IMAPISession* session, const Catalog& catalog, size_t index, std::vector<Item>& items) {
    const Folder& folder = catalog.folders[index];
    const ComPtr<IMAPIFolder> opened =
        OpenFolder(session, catalog.stores[folder.store].entryId, folder.entryId);
    ComPtr<IMAPITable> table;
    const HRESULT hr = opened->GetContentsTable(0, table.GetAddressOf());
    if (hr != S_OK)
        throw Failure("The items of \"" + folder.path + "\" cannot be listed: " + ResultText(hr) + ".");
    const std::vector<ULONG> columns{
        PR_ENTRYID,        PR_SUBJECT_W,          PR_DISPLAY_NAME_W,        PR_SENT_REPRESENTING_NAME_W,
        PR_COMPANY_NAME_W, PR_CLIENT_SUBMIT_TIME, PR_MESSAGE_DELIVERY_TIME, PR_LAST_MODIFICATION_TIME,
        PR_MESSAGE_SIZE};
    unsigned number = 0;
    ForEachRow(table.Get(), columns, "the items of \"" + folder.path + "\"", [&](const SRow& row) {
        const auto text = [&](ULONG tag) {
            return OneLine(TextOf(FindValue(row.lpProps, row.cValues, tag)));
        };
        const auto time = [&](ULONG tag) { return TimeOf(FindValue(row.lpProps, row.cValues, tag)); };
        Item item;
        item.number = ++number;
        item.folder = index;
        item.entryId = HexOf(FindValue(row.lpProps, row.cValues, PR_ENTRYID));
        if (item.entryId.empty()) return true;
        const bool isContact = folder.kind == Kind::Contact;
        item.title = text(isContact ? PR_DISPLAY_NAME_W : PR_SUBJECT_W);
        if (item.title.empty()) item.title = text(isContact ? PR_SUBJECT_W : PR_DISPLAY_NAME_W);
        item.who = text(isContact ? PR_COMPANY_NAME_W : PR_SENT_REPRESENTING_NAME_W);
        item.when = time(PR_CLIENT_SUBMIT_TIME);
        if (item.when.dwHighDateTime == 0) item.when = time(PR_MESSAGE_DELIVERY_TIME);
        item.modified = time(PR_LAST_MODIFICATION_TIME);
        item.size = static_cast<unsigned>(LongOf(FindValue(row.lpProps, row.cValues, PR_MESSAGE_SIZE)));
        items.push_back(std::move(item));
        return true;
    });
}

std::vector<size_t> FindFolders(const Catalog& catalog, const std::string& path) {
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
        throw Failure("There is no folder \"" + path + "\"." + Suggestion(path, paths));
    }
    return whole.empty() ? tails : whole;
}

std::string Place(const Catalog& catalog, const Item& item) {
    return catalog.folders[item.folder].path + "#" + std::to_string(item.number);
}

ComPtr<IMAPIFolder> OpenFolder(IMAPISession* session, const std::string& storeId,
                               const std::string& folderId) {
    ComPtr<IMsgStore> store;
    ComPtr<IMAPIFolder> folder;
    HRESULT hr = Quorvel_OpenStore(session, storeId.c_str(), store.GetAddressOf());
    if (hr == S_OK) hr = Quorvel_OpenStoreFolder(store.Get(), folderId.c_str(), folder.GetAddressOf());
    if (hr != S_OK) throw Failure("A folder cannot be opened: " + ResultText(hr) + ".");
    return folder;
}

void PrintFolders(const Catalog& catalog) {
    static constexpr const char* kTypes[] = {"other service", "personal folders file", "server store"};
    for (size_t i = 0; i < catalog.stores.size(); ++i) {
        const Store& store = catalog.stores[i];
        printf("%s (%s)\n", store.name.c_str(), kTypes[store.type + 1]);
        for (const Folder& folder : catalog.folders) {
            if (folder.store != i) continue;
            const std::string name = std::string(2 * folder.depth + 2, ' ') + folder.name;
            printf("%s %7u  %s\n", Fit(name, 40).c_str(), folder.items, KindName(folder.kind));
        }
    }
}

}  // namespace host
