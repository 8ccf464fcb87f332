#include "host/clean.h"

#include <mapitags.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include "host/item_moves.h"
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

// What an item is now, against what the scan saw.
struct TLook {
    std::string why;  // it is something else; empty when it is the same
    std::string searchKey;
};

bool IsSameId(IMAPISession* session, const SPropValue* id, const std::string& text) {
    const std::string has = HexOf(id);
    // A platform that does not say where the item is cannot contradict the scan.
    if (has.empty() || EqualNoCase(has, text)) return true;
    // A folder may have identifiers of several forms.
    std::string bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        bytes += static_cast<char>(strtoul(text.substr(i, 2).c_str(), nullptr, 16));
    ULONG isSame = FALSE;
    return session->CompareEntryIDs(id->Value.bin.cb, reinterpret_cast<ENTRYID*>(id->Value.bin.lpb),
                                    static_cast<ULONG>(bytes.size()),
                                    reinterpret_cast<ENTRYID*>(bytes.data()), 0, &isSame) == S_OK &&
           isSame;
}

TLook Look(IMAPISession* session, const PlannedItem& item) {
    const ComPtr<IMessage> message = OpenItem(session, item.entryId, item.storeId);
    if (!message) return {"is not there any more", {}};
    if (!IsSameId(session, ReadValue(message.Get(), PR_PARENT_ENTRYID).get(), item.folderId))
        return {"is in another folder now", {}};
    const MapiPtr<SPropValue> modified = ReadValue(message.Get(), PR_LAST_MODIFICATION_TIME);
    if (IsoTime(TimeOf(modified.get())) != item.modified) return {"changed since the scan", {}};
    return {{}, HexOf(ReadValue(message.Get(), PR_SEARCH_KEY).get())};
}

std::string NameOf(const PlannedItem& item) {
    return (item.title.empty() ? "(no title)" : item.title) + " in " + item.folder;
}

void SayLeftAlone(const PlannedItem& item, const std::string& why) {
    printf("left alone: %s %s\n", NameOf(item).c_str(), why.c_str());
}

// A duplicate that waits for its turn.
struct TTurn {
    const PlannedItem* keep;
    const PlannedItem* item;
    std::string searchKey;
    size_t round = 0;
};

std::string IdentityOf(const PlannedItem& item) {
    std::string identity = item.storeId + '|' + item.entryId;
    std::transform(identity.begin(), identity.end(), identity.begin(),
                   [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
    return identity;
}

// What is kept is moved by no group, or of some mail no copy would stay.
void CheckPlan(IMAPISession* session, const std::vector<PlannedGroup>& plan) {
    std::set<std::string> stores;
    std::map<std::string, const PlannedItem*> kept;
    for (const PlannedGroup& group : plan) {
        stores.insert(group.keep.storeId);
        kept.emplace(IdentityOf(group.keep), &group.keep);
    }
    std::set<std::string> moved;
    for (const PlannedGroup& group : plan) {
        for (const PlannedItem& item : group.duplicates) {
            stores.insert(item.storeId);
            if (kept.contains(IdentityOf(item))) {
                throw Failure("The report contradicts itself: " + NameOf(item) +
                              " is kept by one group and moved by another; nothing was moved.");
            }
            if (!moved.insert(IdentityOf(item)).second) {
                throw Failure("The report contradicts itself: " + NameOf(item) +
                              " is moved by two groups; nothing was moved.");
            }
        }
    }
    for (const std::string& store : stores) {
        if (!HasStore(session, store))
            throw Failure("The report belongs to another mailbox; nothing was moved.");
    }
}

// The duplicates that may be moved: they and the copies that are kept are still what the scan saw.
std::vector<TTurn> Movable(IMAPISession* session, const std::vector<PlannedGroup>& plan, TMoved& result,
                           Progress& progress) {
    std::vector<TTurn> turns;
    size_t done = 0;
    for (const PlannedGroup& group : plan) {
        progress("groups looked at", ++done, plan.size());
        StopIfInterrupted();
        const std::string why = Look(session, group.keep).why;
        if (!why.empty()) {
            progress.Clear();
            SayLeftAlone(group.keep, why + ": its duplicates stay");
        }
        for (const PlannedItem& item : group.duplicates) {
            if (item.fate == EFate::Move && !why.empty()) {
                ++result.refused;
            } else if (item.fate != EFate::Move) {
                progress.Clear();
                SayLeftAlone(item, WhyItStays(item));
            } else if (TLook look = Look(session, item); look.why.empty()) {
                turns.push_back(TTurn{&group.keep, &item, std::move(look.searchKey)});
            } else {
                progress.Clear();
                SayLeftAlone(item, look.why);
                ++result.refused;
            }
        }
    }
    progress.Clear();
    return turns;
}

// Items of one search key cannot be told from one another once they have moved. Those of one folder need not
// be: they go back there alike. Those of different folders move in different rounds, and between two rounds
// it is seen what the first one moved.
size_t PlanRounds(std::vector<TTurn>& turns) {
    std::map<std::string, std::vector<std::string>> folders;
    size_t rounds = 0;
    for (TTurn& turn : turns) {
        std::vector<std::string>& seen = folders[turn.item->storeId + '|' + turn.searchKey];
        const auto found = std::find(seen.begin(), seen.end(), turn.item->folderId);
        turn.round = static_cast<size_t>(found - seen.begin());
        if (found == seen.end()) seen.push_back(turn.item->folderId);
        rounds = std::max(rounds, turn.round + 1);
    }
    std::stable_sort(turns.begin(), turns.end(),
                     [](const TTurn& a, const TTurn& b) { return a.round < b.round; });
    return rounds;
}

// The folder of one store that duplicates go to.
struct Target {
    std::string folderId;
    bool isNew = false;
    FolderRows known;                                    // what stood in it when it was last read
    std::map<std::string, std::vector<size_t>> pending;  // moves since then, by search key
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
    ComPtr<IMAPIFolder> folder;
    std::wstring wideName = Widen(name);
    const auto make = [&](ULONG flags) {
        return parent->CreateFolder(FOLDER_GENERIC, wideName.data(), nullptr, nullptr, flags | MAPI_UNICODE,
                                    folder.ReleaseAndGetAddressOf());
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
        folder->SetProps(1, &value, nullptr);
    }
    target.folderId = HexOf(ReadValue(folder.Get(), PR_ENTRYID).get());
    std::optional<FolderRows> rows = ReadRows(session, storeId, target.folderId);
    if (!rows) throw Failure("The folder \"" + name + "\" cannot be read.");
    target.known = std::move(*rows);
    return target;
}

PlannedItem ItemFromJson(const json& object) {
    PlannedItem item;
    item.folder = OneLine(object.at("folder").get<std::string>()) + "#" +
                  std::to_string(object.at("number").get<unsigned>());
    item.title = OneLine(object.at("title").get<std::string>());
    item.modified = object.at("modified").get<std::string>();
    item.entryId = object.at("entryId").get<std::string>();
    item.folderId = object.at("folderId").get<std::string>();
    item.storeId = object.at("storeId").get<std::string>();
    if (const auto fate = object.find("fate"); fate != object.end())
        item.fate = FateOf(fate->get<std::string>());
    for (const json& loss : object.value("losses", json::array())) {
        item.losses.push_back({OneLine(loss.at("property").get<std::string>()),
                               OneLine(loss.at("value").get<std::string>()),
                               OneLine(loss.at("kept").get<std::string>())});
    }
    return item;
}

}  // namespace

std::vector<PlannedGroup> PlanOf(const ScanResult& result) {
    const auto planned = [&](const Group& group, size_t index) {
        const Item& item = result.items[group.items[index]];
        const Folder& folder = result.catalog.folders[item.folder];
        return PlannedItem{Place(result.catalog, item),
                           item.title,
                           IsoTime(item.modified),
                           item.entryId,
                           folder.entryId,
                           result.catalog.stores[folder.store].entryId,
                           group.fates[index].fate,
                           group.fates[index].losses};
    };
    std::vector<PlannedGroup> plan;
    for (const Group& group : result.groups) {
        PlannedGroup one{planned(group, 0), {}};
        for (size_t i = 1; i < group.items.size(); ++i) one.duplicates.push_back(planned(group, i));
        plan.push_back(std::move(one));
    }
    return plan;
}

std::vector<PlannedGroup> PlanFromReport(const std::string& path) {
    std::ifstream stream(std::filesystem::path(Widen(path)), std::ios::binary);
    if (!stream) throw Failure("The report \"" + path + "\" cannot be read.");
    try {
        const json report = json::parse(stream);
        if (report.at("format") != "quorvel-report" || report.at("version") != 2)
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

namespace {

// The moves of one run, with the undo file that it writes.
class CMoving {
  public:
    CMoving(IMAPISession* session, const CleanOptions& options, UndoWriter& undo, TMoved& result,
            Progress& progress)
        : m_session(session), m_options(options), m_undo(undo), m_result(result), m_progress(progress) {}
    /// Until the last turn, or Ctrl-C. Throws Failure.
    void Run(std::vector<TTurn>& turns);

  private:
    Target& TargetOf(const std::string& storeId, const std::vector<TTurn>& turns);
    void Move(const TTurn& turn, Target& target);
    void FindMoved();
    void Refuse(const PlannedItem& item, const std::string& why);

    IMAPISession* m_session;
    const CleanOptions& m_options;
    UndoWriter& m_undo;
    TMoved& m_result;
    Progress& m_progress;
    std::map<std::string, Target> m_targets;  // by store
    size_t m_moves = 0;                       // lines of the undo file
};

void CMoving::Run(std::vector<TTurn>& turns) {
    const size_t rounds = PlanRounds(turns);
    size_t done = 0;
    for (size_t round = 0; round < rounds && !m_result.isInterrupted; ++round) {
        for (; done < turns.size() && turns[done].round == round; ++done) {
            m_result.isInterrupted = Interrupted();
            if (m_result.isInterrupted) break;
            m_progress("items moved", done, turns.size());
            Move(turns[done], TargetOf(turns[done].item->storeId, turns));
        }
        FindMoved();
    }
    m_progress("saving");
}

Target& CMoving::TargetOf(const std::string& storeId, const std::vector<TTurn>& turns) {
    const auto found = m_targets.find(storeId);
    if (found != m_targets.end()) return found->second;
    Target target = OpenTarget(m_session, storeId, m_options.folder);
    UndoTarget line{storeId, target.folderId, target.isNew, {}};
    std::set<std::string> keys;
    for (const TTurn& turn : turns) keys.insert(turn.searchKey);
    for (const auto& [entryId, searchKey] : target.known) {
        if (keys.contains(searchKey)) line.had[searchKey].push_back(entryId);
    }
    m_undo.Target(line);
    return m_targets.emplace(storeId, std::move(target)).first->second;
}

void CMoving::Refuse(const PlannedItem& item, const std::string& why) {
    m_progress.Clear();
    SayLeftAlone(item, why);
    ++m_result.refused;
}

void CMoving::Move(const TTurn& turn, Target& target) {
    const PlannedItem& item = *turn.item;
    if (EqualNoCase(item.folderId, target.folderId)) {
        m_progress.Clear();
        SayLeftAlone(item, "is in the folder already");
        return;
    }
    // What was looked at a while ago may be another by now.
    std::string why = Look(m_session, *turn.keep).why;
    if (!why.empty()) return Refuse(item, "stays: the copy that is kept " + why);
    why = Look(m_session, item).why;
    if (!why.empty()) return Refuse(item, why);
    m_undo.WillMove(UndoMove{item.entryId,
                             turn.searchKey,
                             item.title,
                             item.folder,
                             item.folderId,
                             item.storeId,
                             target.folderId,
                             {}});
    const size_t move = m_moves++;
    const HRESULT hr = MoveItem(m_session, item.entryId, item.storeId, item.folderId, target.folderId);
    if (hr != S_OK) return Refuse(item, "cannot be moved: " + ResultText(hr));
    target.pending[turn.searchKey].push_back(move);
    ++m_result.moved;
    m_progress.Clear();
    printf("moved: %s\n", NameOf(item).c_str());
    fflush(stdout);
}

// The new identifiers of what moved since the folders were read: what stands in them now and did not then.
// Where another program put items of the same search key there, none of them is certain, and the undo file
// names none.
void CMoving::FindMoved() {
    for (auto& [storeId, target] : m_targets) {
        if (target.pending.empty()) continue;
        std::optional<FolderRows> rows = ReadRows(m_session, storeId, target.folderId);
        if (!rows) continue;
        std::map<std::string, std::vector<std::string>> fresh;
        for (const auto& [entryId, searchKey] : *rows) {
            if (!target.known.contains(entryId)) fresh[searchKey].push_back(entryId);
        }
        for (const auto& [searchKey, moves] : target.pending) {
            const std::vector<std::string>& found = fresh[searchKey];
            if (found.size() > moves.size()) continue;
            for (size_t i = 0; i < found.size(); ++i) m_undo.Moved(moves[i], found[i]);
        }
        target.pending.clear();
        target.known = std::move(*rows);
    }
}

std::string Quoted(const std::string& path) {
    return path.find(' ') == std::string::npos ? path : '"' + path + '"';
}

}  // namespace

TMoved Clean(Session& session, const std::vector<PlannedGroup>& plan, const CleanOptions& options,
             Progress& progress) {
    CheckPlan(session.get(), plan);
    TMoved result;
    std::vector<TTurn> turns = Movable(session.get(), plan, result, progress);
    if (!options.yes) {
        for (const TTurn& turn : turns) printf("would move: %s\n", NameOf(*turn.item).c_str());
        result.moved = turns.size();
    }
    if (turns.empty() || !options.yes) return result;

    UndoWriter undo = UndoWriter::Create(options.undoFile);
    const std::string mailbox = options.mailbox.empty() ? "" : "--mailbox " + Quoted(options.mailbox) + " ";
    printf("to undo: quorvel %sclean --undo %s\n", mailbox.c_str(), Quoted(undo.Path()).c_str());
    fflush(stdout);
    std::string failure;
    try {
        CMoving(session.get(), options, undo, result, progress).Run(turns);
    } catch (const Failure& why) {
        failure = why.what();
    }
    const std::string unsaved = session.Close();
    progress.Clear();
    if (!unsaved.empty() && session.IsMailboxFile()) {
        undo.End(false);
        throw Failure("Nothing was moved: " + unsaved + ".");
    }
    if (!failure.empty()) {
        throw Failure(failure + " Stopped after " + Count(result.moved, "item", "items") + "; \"" +
                      undo.Path() + "\" puts back what was moved.");
    }
    if (!unsaved.empty()) throw Failure("The items were moved, but " + unsaved + ".");
    undo.End(true);
    return result;
}

}  // namespace host
