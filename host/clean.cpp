#include "host/clean.h"

#include <mapitags.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include "host/text.h"
#include "host/undo_file.h"
#include "quorvel.h"

#ifndef PR_CONTAINER_CLASS_W
#define PR_CONTAINER_CLASS_W PROP_TAG(PT_UNICODE, 0x3613)
#endif

namespace host {

namespace {

using nlohmann::json;

// Of the folder that duplicates are moved to: no kind of item, so that the next scan passes it over.
wchar_t kDuplicatesClass[] = L"IPF.Quorvel.Duplicates";

ComPtr<IMessage> OpenItem(IMAPISession* session, const std::string& entryId, const std::string& storeId) {
    ComPtr<IMessage> message;
    if (Quorvel_OpenItem(session, entryId.c_str(), storeId.c_str(), message.GetAddressOf()) != S_OK)
        message.Reset();
    return message;
}

// Why an item is not what the scan saw; empty when it is.
std::string WhatChanged(IMAPISession* session, const PlannedItem& item) {
    const ComPtr<IMessage> message = OpenItem(session, item.entryId, item.storeId);
    if (!message) return "is not there any more";
    const MapiPtr<SPropValue> modified = ReadValue(message.Get(), PR_LAST_MODIFICATION_TIME);
    return IsoTime(TimeOf(modified.get())) == item.modified ? "" : "changed since the scan";
}

void SayLeftAlone(const PlannedItem& item, const std::string& why) {
    printf("left alone: %s in %s %s\n", item.title.empty() ? "(no title)" : item.title.c_str(),
           item.folder.c_str(), why.c_str());
}

// The duplicates that may be moved: they and the copies that are kept are still what the scan saw.
std::vector<PlannedItem> Movable(IMAPISession* session, const std::vector<PlannedGroup>& plan) {
    std::vector<PlannedItem> movable;
    for (const PlannedGroup& group : plan) {
        if (const std::string why = WhatChanged(session, group.keep); !why.empty()) {
            SayLeftAlone(group.keep, why + ": its duplicates stay");
            continue;
        }
        for (const PlannedItem& item : group.duplicates) {
            if (item.fate != EFate::Move) {
                SayLeftAlone(item, WhyItStays(item));
                continue;
            }
            const std::string why = WhatChanged(session, item);
            if (why.empty()) {
                movable.push_back(item);
            } else {
                SayLeftAlone(item, why);
            }
        }
    }
    return movable;
}

struct Target {
    ComPtr<IMAPIFolder> folder;
    std::string folderId;
    bool isNew = false;
};

// The folder beside the store's others, made when it is missing.
Target OpenTarget(IMAPISession* session, const std::string& storeId, const std::string& name) {
    ComPtr<IMsgStore> store;
    HRESULT hr = Quorvel_OpenStore(session, storeId.c_str(), store.GetAddressOf());
    if (hr != S_OK) throw Failure("A store cannot be opened: " + ResultText(hr) + ".");
    const MapiPtr<SPropValue> subtree = ReadValue(store.Get(), PR_IPM_SUBTREE_ENTRYID);
    const SBinary id = subtree ? subtree->Value.bin : SBinary{};
    ULONG type = 0;
    ComPtr<IUnknown> root;
    hr = store->OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS, &type,
                          root.GetAddressOf());
    ComPtr<IMAPIFolder> parent;
    if (hr == S_OK)
        hr = root->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(parent.GetAddressOf()));
    Target target;
    std::wstring wideName = Widen(name);
    const auto make = [&](ULONG flags) {
        return parent->CreateFolder(FOLDER_GENERIC, wideName.data(), nullptr, nullptr, flags | MAPI_UNICODE,
                                    target.folder.ReleaseAndGetAddressOf());
    };
    if (hr == S_OK) {
        hr = make(0);
        target.isNew = hr == S_OK;
        if (hr == MAPI_E_COLLISION) hr = make(OPEN_IF_EXISTS);
    }
    if (hr != S_OK) throw Failure("The folder \"" + name + "\" cannot be made: " + ResultText(hr) + ".");
    if (target.isNew) {
        SPropValue value{};
        value.ulPropTag = PR_CONTAINER_CLASS_W;
        value.Value.lpszW = kDuplicatesClass;
        target.folder->SetProps(1, &value, nullptr);
    }
    target.folderId = HexOf(ReadValue(target.folder.Get(), PR_ENTRYID).get());
    return target;
}

std::string DefaultUndoName() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char name[64];
    snprintf(name, sizeof name, "quorvel-undo-%04u%02u%02u-%02u%02u%02u.jsonl", now.wYear, now.wMonth,
             now.wDay, now.wHour, now.wMinute, now.wSecond);
    return name;
}

std::string MoveItem(IMAPISession* session, const std::string& entryId, const std::string& storeId,
                     const std::string& fromFolder, const std::string& toFolder, HRESULT& hr) {
    // The library writes the new identifier without knowing the buffer's size: no platform has longer ones.
    char newEntryId[4096] = "";
    hr = Quorvel_ItemMove(session, entryId.c_str(), fromFolder.c_str(), storeId.c_str(), toFolder.c_str(),
                          storeId.c_str(), newEntryId);
    return newEntryId;
}

PlannedItem ItemFromJson(const json& object) {
    PlannedItem item;
    item.folder =
        object.at("folder").get<std::string>() + "#" + std::to_string(object.at("number").get<unsigned>());
    item.title = object.at("title").get<std::string>();
    item.modified = object.at("modified").get<std::string>();
    item.entryId = object.at("entryId").get<std::string>();
    item.folderId = object.at("folderId").get<std::string>();
    item.storeId = object.at("storeId").get<std::string>();
    return item;
}

}  // namespace

std::vector<PlannedGroup> PlanOf(const ScanResult& result) {
    const auto planned = [&](size_t index) {
        const Item& item = result.items[index];
        const Folder& folder = result.catalog.folders[item.folder];
        return PlannedItem{Place(result.catalog, item),
                           item.title,
                           IsoTime(item.modified),
                           item.entryId,
                           folder.entryId,
                           result.catalog.stores[folder.store].entryId,
                           EFate::Move,
                           {}};
    };
    std::vector<PlannedGroup> plan;
    for (const Group& group : result.groups) {
        PlannedGroup one{planned(group.items[0]), {}};
        for (size_t i = 1; i < group.items.size(); ++i) one.duplicates.push_back(planned(group.items[i]));
        plan.push_back(std::move(one));
    }
    return plan;
}

std::vector<PlannedGroup> PlanFromReport(const std::string& path) {
    std::ifstream stream(std::filesystem::path(Widen(path)), std::ios::binary);
    if (!stream) throw Failure("The report \"" + path + "\" cannot be read.");
    try {
        const json report = json::parse(stream);
        if (report.at("format") != "quorvel-report" || report.at("version") != 1)
            throw std::out_of_range("format");
        std::vector<PlannedGroup> plan;
        for (const json& group : report.at("groups")) {
            PlannedGroup one{ItemFromJson(group.at("keep")), {}};
            for (const json& item : group.at("duplicates")) one.duplicates.push_back(ItemFromJson(item));
            plan.push_back(std::move(one));
        }
        return plan;
    } catch (const std::exception&) {
        throw Failure("\"" + path + "\" is no JSON report of a scan.");
    }
}

size_t Clean(IMAPISession* session, const std::vector<PlannedGroup>& plan, const CleanOptions& options) {
    const std::vector<PlannedItem> items = Movable(session, plan);
    for (const PlannedItem& item : items) {
        printf("%s: %s in %s\n", options.yes ? "moving" : "would move",
               item.title.empty() ? "(no title)" : item.title.c_str(), item.folder.c_str());
    }
    if (items.empty() || !options.yes) return items.size();

    UndoWriter undo(options.undoFile.empty() ? DefaultUndoName() : options.undoFile);
    std::map<std::string, Target> targets;
    size_t moved = 0;
    for (const PlannedItem& item : items) {
        auto target = targets.find(item.storeId);
        if (target == targets.end()) {
            target = targets.emplace(item.storeId, OpenTarget(session, item.storeId, options.folder)).first;
            if (target->second.isNew) undo.MadeFolder(item.storeId, target->second.folderId);
        }
        if (EqualNoCase(item.folderId, target->second.folderId)) {
            SayLeftAlone(item, "is in the folder already");
            continue;
        }
        const ComPtr<IMessage> message = OpenItem(session, item.entryId, item.storeId);
        const std::string searchKey =
            message ? HexOf(ReadValue(message.Get(), PR_SEARCH_KEY).get()) : std::string();
        undo.WillMove(UndoMove{item.entryId,
                               searchKey,
                               item.title,
                               item.folder,
                               item.folderId,
                               item.storeId,
                               target->second.folderId,
                               {}});
        HRESULT hr = S_OK;
        const std::string newEntryId =
            MoveItem(session, item.entryId, item.storeId, item.folderId, target->second.folderId, hr);
        if (hr != S_OK) {
            SayLeftAlone(item, "cannot be moved: " + ResultText(hr));
            continue;
        }
        undo.Moved(newEntryId);
        ++moved;
    }
    return moved;
}

namespace {

// Items of a folder by search key: what a killed run moved without learning the new identifier.
std::multimap<std::string, std::string> SearchKeys(IMAPISession* session, const std::string& storeId,
                                                   const std::string& folderId) {
    std::multimap<std::string, std::string> keys;
    ComPtr<IMAPITable> table;
    if (OpenFolder(session, storeId, folderId)->GetContentsTable(0, table.GetAddressOf()) != S_OK)
        return keys;
    ForEachRow(table.Get(), {PR_ENTRYID, PR_SEARCH_KEY}, "the moved items", [&](const SRow& row) {
        keys.emplace(HexOf(FindValue(row.lpProps, row.cValues, PR_SEARCH_KEY)),
                     HexOf(FindValue(row.lpProps, row.cValues, PR_ENTRYID)));
        return true;
    });
    return keys;
}

void CheckStores(IMAPISession* session, const UndoLog& log, const std::string& undoFile) {
    for (const UndoMove& move : log.moves) {
        int type = 0;
        if (Quorvel_GetStoreType(session, move.storeId.c_str(), &type) != S_OK) {
            throw Failure("The undo file \"" + undoFile +
                          "\" belongs to another mailbox; nothing was moved.");
        }
    }
}

// Folders that the run made go again once they are empty; a platform that refuses keeps them.
void RemoveMadeFolders(IMAPISession* session, const UndoLog& log) {
    for (const auto& [storeId, folderId] : log.madeFolders) {
        ComPtr<IMsgStore> store;
        ComPtr<IMAPIFolder> folder;
        if (Quorvel_OpenStore(session, storeId.c_str(), store.GetAddressOf()) != S_OK ||
            Quorvel_OpenStoreFolder(store.Get(), folderId.c_str(), folder.GetAddressOf()) != S_OK ||
            LongOf(ReadValue(folder.Get(), PR_CONTENT_COUNT).get()) != 0) {
            continue;
        }
        const MapiPtr<SPropValue> own = ReadValue(folder.Get(), PR_ENTRYID);
        const MapiPtr<SPropValue> above = ReadValue(folder.Get(), PR_PARENT_ENTRYID);
        folder.Reset();
        ComPtr<IMAPIFolder> parent;
        if (!own || !above ||
            Quorvel_OpenStoreFolder(store.Get(), HexOf(above.get()).c_str(), parent.GetAddressOf()) != S_OK) {
            continue;
        }
        parent->DeleteFolder(own->Value.bin.cb, reinterpret_cast<ENTRYID*>(own->Value.bin.lpb), 0, nullptr,
                             0);
    }
}

}  // namespace

size_t Undo(IMAPISession* session, const std::string& undoFile) {
    const UndoLog log = ReadUndoFile(undoFile);
    CheckStores(session, log, undoFile);
    std::set<std::string> known;
    for (const UndoMove& move : log.moves) {
        if (!move.newEntryId.empty()) known.insert(move.newEntryId);
    }
    size_t restored = 0;
    for (const UndoMove& move : log.moves) {
        std::string entryId = move.newEntryId;
        // Still where it was: the move did not happen, or never reached the disk.
        const bool isInPlace = OpenItem(session, move.entryId, move.storeId) != nullptr;
        if (entryId.empty() && !isInPlace) {
            const auto keys = SearchKeys(session, move.storeId, move.targetFolderId);
            const auto range = keys.equal_range(move.searchKey);
            const auto found = std::find_if(range.first, range.second,
                                            [&](const auto& row) { return !known.contains(row.second); });
            if (found != range.second) entryId = found->second;
        }
        if (isInPlace || entryId.empty() || !OpenItem(session, entryId, move.storeId)) continue;
        HRESULT hr = S_OK;
        MoveItem(session, entryId, move.storeId, move.targetFolderId, move.folderId, hr);
        if (hr != S_OK) {
            printf("cannot be put back: %s to %s: %s\n", move.title.c_str(), move.folder.c_str(),
                   ResultText(hr).c_str());
            continue;
        }
        printf("put back: %s to %s\n", move.title.empty() ? "(no title)" : move.title.c_str(),
               move.folder.c_str());
        ++restored;
    }
    RemoveMadeFolders(session, log);
    return restored;
}

}  // namespace host
