#include "host/clean.h"

#include <mapitags.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>

#include "host/clean_merge.h"
#include "host/item_moves.h"
#include "host/merge_item.h"
#include "host/plan_check.h"
#include "host/text.h"
#include "host/undo_file.h"
#include "quorvel.h"

#ifndef PR_CONTAINER_CLASS_W
#define PR_CONTAINER_CLASS_W PROP_TAG(PT_UNICODE, 0x3613)
#endif

namespace host {

namespace {

// Of the folder that duplicates are moved to: no kind of item, so that the next scan passes it over.
wchar_t kDuplicatesClass[] = L"IPF.Quorvel.Duplicates";

std::string NameOf(const TPlannedItem& item) {
    return (item.title.empty() ? "(no title)" : item.title) + " in " + item.folder;
}

void SayLeftAlone(const TPlannedItem& item, const std::string& why) {
    printf("left alone: %s %s\n", NameOf(item).c_str(), why.c_str());
}

void SayLosses(const TPlannedItem& item) {
    for (const TLoss& loss : item.losses) {
        printf("   %s: %s; the kept copy has %s; %s\n", loss.property.c_str(), loss.value.c_str(),
               loss.kept.empty() ? "none" : loss.kept.c_str(), MergeText(loss).c_str());
    }
}

// A duplicate that waits for its turn.
struct TTurn {
    const TPlannedGroup* group;
    const TPlannedItem* item;
    TLook look;
    std::string kept{};  // identity of the copy that is kept
    size_t round = 0;
};

// What is kept is moved by no group, or of some mail no copy would stay.
void CheckDisjoint(const std::set<std::string>& kept, const std::vector<TTurn>& turns) {
    std::set<std::string> moved;
    for (const TTurn& turn : turns) {
        if (kept.contains(turn.look.identity)) {
            throw TFailure("The report contradicts itself: " + NameOf(*turn.item) +
                           " is kept by one group and moved by another; nothing was moved.");
        }
        if (!moved.insert(turn.look.identity).second) {
            throw TFailure("The report contradicts itself: " + NameOf(*turn.item) +
                           " is moved by two groups; nothing was moved.");
        }
    }
}

// What somebody decided about must all be there.
TLook LookAt(CPlanCheck& check, const TPlan& plan, const TPlannedGroup& group, const TPlannedItem& item) {
    TLook look = check.Look(item);
    if (look.isGone && plan.isDecided) {
        throw TFailure("The decisions name, in " + group.place + ", " + NameOf(item) +
                       ", which is not there; nothing was moved.");
    }
    return look;
}

// The duplicates that are to be moved, and whether they and the copies that are kept are what the scan saw.
std::vector<TTurn> LookAtAll(CPlanCheck& check, const TPlan& plan, CProgress& progress) {
    std::vector<TTurn> turns;
    std::set<std::string> kept;
    size_t done = 0;
    for (const TPlannedGroup& group : plan.groups) {
        progress("groups looked at", ++done, plan.groups.size());
        StopIfInterrupted();
        const TLook keep = LookAt(check, plan, group, group.keep);
        // What is kept of decisions that move nothing of the group is free for another one.
        if (!plan.isDecided || !group.duplicates.empty()) kept.insert(keep.identity);
        for (const TPlannedItem& item : group.left) LookAt(check, plan, group, item);
        for (const TPlannedItem& item : group.duplicates) {
            if (item.fate != EFate::Move) continue;
            turns.push_back({&group, &item, LookAt(check, plan, group, item)});
            turns.back().kept = keep.identity;
            if (!keep.why.empty()) turns.back().look.why = "stays: the copy that is kept " + keep.why;
        }
    }
    CheckDisjoint(kept, turns);
    return turns;
}

// Whether the copy that is kept takes values of this duplicate.
bool IsGiving(const TPlannedItem& item) {
    return std::ranges::any_of(item.losses, IsTaken);
}

// Once a group has completed its kept copy, that is not what another group keeps any more: what the other one would
// move stays.
void LeaveWhatAnotherGroupCompletes(std::vector<TTurn>& turns) {
    std::map<std::string, const TPlannedGroup*> completed;  // by the kept copy
    for (TTurn& turn : turns) {
        if (!turn.look.why.empty()) continue;
        const auto known = completed.find(turn.kept);
        if (known != completed.end() && known->second != turn.group)
            turn.look.why = "stays: another group completes the copy that is kept; scan again afterwards";
        else if (IsGiving(*turn.item))
            completed.emplace(turn.kept, turn.group);
    }
}

// Those that may be moved; all others are named.
std::vector<TTurn> Movable(CPlanCheck& check, const TPlan& plan, TMoved& result, CProgress& progress) {
    std::vector<TTurn> turns = LookAtAll(check, plan, progress);
    for (size_t i = 0; i < turns.size(); ++i) {
        progress("duplicates looked at", i, turns.size());
        StopIfInterrupted();
        TTurn& turn = turns[i];
        if (turn.look.why.empty()) turn.look.why = check.WhyNot(*turn.group, *turn.item, false);
    }
    if (plan.isMerging) LeaveWhatAnotherGroupCompletes(turns);
    progress.Clear();
    for (const TPlannedGroup& group : plan.groups) {
        for (const TPlannedItem& item : group.duplicates) {
            if (item.fate == EFate::Move) continue;
            SayLeftAlone(item, WhyItStays(item));
            result.stays.emplace(&item, WhyItStays(item));
            if (plan.isMerging && item.fate == EFate::Loss) SayLosses(item);
        }
    }
    for (const TTurn& turn : turns) {
        if (turn.look.why.empty()) continue;
        SayLeftAlone(*turn.item, turn.look.why);
        result.stays.emplace(turn.item, turn.look.why);
        ++result.refused;
    }
    std::erase_if(turns, [](const TTurn& turn) { return !turn.look.why.empty(); });
    return turns;
}

// Items of one search key cannot be told from one another once they have moved. Those of one folder need not
// be: they go back there alike. Those of different folders move in different rounds, and between two rounds
// it is seen what the first one moved.
size_t PlanRounds(std::vector<TTurn>& turns) {
    std::map<std::string, std::vector<std::string>> folders;
    size_t rounds = 0;
    for (TTurn& turn : turns) {
        std::vector<std::string>& seen = folders[turn.item->storeId + '|' + turn.look.searchKey];
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
struct TTarget {
    std::string folderId;
    bool isNew = false;
    FolderRows known;                                    // what stood in it when it was last read
    std::map<std::string, std::vector<size_t>> pending;  // moves since then, by search key
};

// The folder beside the store's others, made when it is missing.
TTarget OpenTarget(IMAPISession* session, const std::string& storeId, const std::string& name) {
    ComPtr<IMsgStore> store;
    HRESULT hr = Quorvel_OpenStore(session, storeId.c_str(), store.GetAddressOf());
    if (hr != S_OK) throw TFailure("A store cannot be opened: " + ResultText(hr) + ".");
    const MapiPtr<SPropValue> subtree = ReadValue(store.Get(), PR_IPM_SUBTREE_ENTRYID);
    const SBinary id = subtree ? subtree->Value.bin : SBinary{};
    ULONG type = 0;
    ComPtr<IUnknown> root;
    hr = store->OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS, &type,
                          root.GetAddressOf());
    ComPtr<IMAPIFolder> parent;
    if (hr == S_OK)
        hr = root->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(parent.GetAddressOf()));
    TTarget target;
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
    if (hr != S_OK) throw TFailure("The folder \"" + name + "\" cannot be made: " + ResultText(hr) + ".");
    // One that has no class and nothing in it is what an end behind its making left.
    if (target.isNew || (LongOf(ReadValue(folder.Get(), PR_CONTENT_COUNT).get()) == 0 &&
                         TextOf(ReadValue(folder.Get(), PR_CONTAINER_CLASS_W).get()).empty())) {
        SPropValue value{};
        value.ulPropTag = PR_CONTAINER_CLASS_W;
        value.Value.lpszW = kDuplicatesClass;
        folder->SetProps(1, &value, nullptr);
    }
    target.folderId = HexOf(ReadValue(folder.Get(), PR_ENTRYID).get());
    std::optional<FolderRows> rows = ReadRows(session, storeId, target.folderId);
    if (!rows) throw TFailure("The folder \"" + name + "\" cannot be read.");
    target.known = std::move(*rows);
    return target;
}

// What goes into a kept copy from a duplicate.
void SayTaken(const TPlannedItem& item, const std::vector<TLoss>& losses) {
    for (const TLoss& loss : losses) {
        if (!IsTaken(loss)) continue;
        printf("   %s: %s from %s; %s\n", loss.property.c_str(), loss.value.c_str(), item.folder.c_str(),
               MergeText(loss).c_str());
    }
}

// What merging made of a group before the first of its duplicates moves.
struct TCompletedGroup {
    bool isChanged = false;
    std::string modified;  // of the kept copy since then
    std::string why;       // it cannot be completed, and no duplicate moves
    std::map<const TPlannedItem*, std::string>
        leftAlone{};  // duplicates that it was not completed from, and why
};

// The moves of one run, with the undo file that it writes.
class CMoving {
  public:
    CMoving(IMAPISession* session, CPlanCheck& check, const TCleanOptions& options, CUndoWriter& undo,
            TMoved& result, CProgress& progress)
        : m_pSession(session),
          m_check(check),
          m_options(options),
          m_undo(undo),
          m_result(result),
          m_progress(progress) {}
    /// Until the last turn, or Ctrl-C. Throws Failure.
    void Run(std::vector<TTurn>& turns);

  private:
    TTarget& TargetOf(const std::string& storeId, const std::vector<TTurn>& turns);
    void Move(const TTurn& turn, TTarget& target);
    void Complete(const TTurn& turn);
    std::string WhyNotNow(const TTurn& turn, const TCompletedGroup* completed);
    void FindMoved();
    void Refuse(const TPlannedItem& item, const std::string& why);

    IMAPISession* m_pSession;
    CPlanCheck& m_check;
    const TCleanOptions& m_options;
    CUndoWriter& m_undo;
    TMoved& m_result;
    CProgress& m_progress;
    std::map<std::string, TTarget> m_targets;  // by store
    std::map<const TPlannedGroup*, std::vector<const TTurn*>> m_turns;
    std::map<const TPlannedGroup*, TCompletedGroup> m_completed;
    size_t m_nMoves = 0;  // lines of the undo file
};

void CMoving::Run(std::vector<TTurn>& turns) {
    const size_t rounds = PlanRounds(turns);
    for (const TTurn& turn : turns) m_turns[turn.group].push_back(&turn);
    size_t done = 0;
    for (size_t round = 0; round < rounds && !m_result.isInterrupted; ++round) {
        for (; done < turns.size() && turns[done].round == round; ++done) {
            m_result.isInterrupted = Interrupted();
            if (m_result.isInterrupted) break;
            m_progress("items moved", done, turns.size());
            TTarget& target = TargetOf(turns[done].item->storeId, turns);
            if (m_check.Plan().isMerging) Complete(turns[done]);
            Move(turns[done], target);
        }
        FindMoved();
    }
    m_progress("saving");
}

TTarget& CMoving::TargetOf(const std::string& storeId, const std::vector<TTurn>& turns) {
    const auto found = m_targets.find(storeId);
    if (found != m_targets.end()) return found->second;
    TTarget target = OpenTarget(m_pSession, storeId, m_options.folder);
    TUndoTarget line{storeId, target.folderId, target.isNew, {}};
    std::set<std::string> keys;
    for (const TTurn& turn : turns) keys.insert(turn.look.searchKey);
    for (const auto& [entryId, searchKey] : target.known) {
        if (keys.contains(searchKey)) line.had[searchKey].push_back(entryId);
    }
    m_undo.Target(line);
    return m_targets.emplace(storeId, std::move(target)).first->second;
}

void CMoving::Refuse(const TPlannedItem& item, const std::string& why) {
    m_progress.Clear();
    SayLeftAlone(item, why);
    ++m_result.refused;
}

// What was looked at a while ago may be another by now. A copy that was completed may have come to differ from a
// duplicate in what only a third one has: they were held against each other before.
std::string CMoving::WhyNotNow(const TTurn& turn, const TCompletedGroup* completed) {
    TPlannedItem kept = turn.group->keep;
    if (completed) {
        if (!completed->why.empty()) return completed->why;
        if (const auto left = completed->leftAlone.find(turn.item); left != completed->leftAlone.end())
            return left->second;
        kept.modified = completed->modified;
    }
    std::string why = m_check.Look(kept).why;
    if (!why.empty()) return "stays: the copy that is kept " + why;
    why = m_check.Look(*turn.item).why;
    if (why.empty() && !completed) why = m_check.WhyNot(*turn.group, *turn.item, true);
    return why;
}

// Once for each group, when the first of its duplicates has its turn.
void CMoving::Complete(const TTurn& turn) {
    const auto [found, isNew] = m_completed.try_emplace(turn.group);
    if (!isNew || std::ranges::none_of(turn.group->duplicates, IsGiving)) return;
    TCompletedGroup& completed = found->second;
    std::vector<const TPlannedItem*> duplicates;
    for (const TTurn* other : m_turns[turn.group]) {
        const std::string why = WhyNotNow(*other, nullptr);
        if (why.empty())
            duplicates.push_back(other->item);
        else
            completed.leftAlone.emplace(other->item, why);
    }
    std::optional<TLiveGroup> live = ReadLive(m_check, *turn.group, duplicates);
    if (live) {
        std::erase_if(live->duplicates, [&](const TLiveGroup::TDuplicate& one) {
            if (IsMergeable(one.losses, m_check.Plan().allowLoss)) return false;
            completed.leftAlone.emplace(one.planned, WhyItStays(EFate::Loss, one.losses));
            return true;
        });
    }
    const TPlannedItem& kept = turn.group->keep;
    if (live && !live->IsCompleted() && completed.leftAlone.empty()) return;
    completed.isChanged = true;
    completed.modified = kept.modified;
    if (live && !live->IsCompleted()) return;
    completed.why =
        live ? CompleteItem(m_check.Reader(), live->kept, live->Copies(), kept.title, kept.folder, m_undo)
             : "it or a duplicate cannot be read";
    if (!completed.why.empty()) {
        completed.why = "stays: the copy that is kept cannot be completed: " + completed.why;
        return;
    }
    completed.modified = m_check.Modified(kept);
    ++m_result.completed;
    m_progress.Clear();
    printf("completed: %s\n", NameOf(kept).c_str());
    for (const TLiveGroup::TDuplicate& one : live->duplicates) SayTaken(*one.planned, one.losses);
    fflush(stdout);
}

void CMoving::Move(const TTurn& turn, TTarget& target) {
    const TPlannedItem& item = *turn.item;
    const auto completed = m_completed.find(turn.group);
    const bool isCompleted = completed != m_completed.end() && completed->second.isChanged;
    if (const std::string why = WhyNotNow(turn, isCompleted ? &completed->second : nullptr); !why.empty())
        return Refuse(item, why);
    m_undo.WillMove(TUndoMove{item.entryId,
                              turn.look.searchKey,
                              item.title,
                              item.folder,
                              item.folderId,
                              item.storeId,
                              target.folderId,
                              {}});
    const size_t move = m_nMoves++;
    const HRESULT hr = MoveItem(m_pSession, item.entryId, item.storeId, item.folderId, target.folderId);
    if (hr != S_OK) return Refuse(item, "cannot be moved: " + ResultText(hr));
    target.pending[turn.look.searchKey].push_back(move);
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
        std::optional<FolderRows> rows = ReadRows(m_pSession, storeId, target.folderId);
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

namespace {

// The kept copies that the duplicates which may be moved would complete.
size_t SayCompletions(const TPlan& plan, const std::vector<TTurn>& turns) {
    std::set<const TPlannedItem*> moving;
    for (const TTurn& turn : turns) {
        if (IsGiving(*turn.item)) moving.insert(turn.item);
    }
    size_t count = 0;
    for (const TPlannedGroup& group : plan.groups) {
        bool isSaid = false;
        for (const TPlannedItem& item : group.duplicates) {
            if (!moving.contains(&item)) continue;
            if (!isSaid) printf("would complete: %s\n", NameOf(group.keep).c_str());
            count += !isSaid;
            isSaid = true;
            SayTaken(item, item.losses);
        }
    }
    return count;
}

}  // namespace

TMoved Clean(CSession& session, TPlan& plan, const TCleanOptions& options, CProgress& progress) {
    if (options.folder.find_first_not_of(' ') == std::string::npos ||
        OneLine(options.folder) != options.folder)
        throw TFailure("\"" + OneLine(options.folder) + "\" is no name for a folder.");
    // It holds what belongs to the session, which is closed below.
    auto check = std::make_unique<CPlanCheck>(session.get(), plan, options.folder);
    TMoved result;
    if (plan.isMerging) PlanMerging(*check, plan, progress);
    std::vector<TTurn> turns = Movable(*check, plan, result, progress);
    if (!options.yes) {
        if (plan.isMerging) result.completed = SayCompletions(plan, turns);
        for (const TTurn& turn : turns) printf("would move: %s\n", NameOf(*turn.item).c_str());
        result.moved = turns.size();
    }
    if (turns.empty() || !options.yes) return result;

    CUndoWriter undo = CUndoWriter::Create(options.undoFile);
    const std::string mailbox = options.mailbox.empty() ? "" : "--mailbox " + Quoted(options.mailbox) + " ";
    printf("to undo: quorvel %sclean --undo %s\n", mailbox.c_str(), Quoted(undo.Path()).c_str());
    fflush(stdout);
    std::string failure;
    try {
        CMoving(session.get(), *check, options, undo, result, progress).Run(turns);
    } catch (const TFailure& why) {
        failure = why.what();
    }
    check.reset();
    const std::string unsaved = session.Close();
    progress.Clear();
    if (!unsaved.empty() && session.IsMailboxFile()) {
        undo.End(false);
        throw TFailure("Nothing was moved: " + unsaved + ".");
    }
    if (!failure.empty()) {
        throw TFailure(failure + " Stopped after " + Count(result.moved, "item", "items") + "; \"" +
                       undo.Path() + "\" puts back what was moved.");
    }
    if (!unsaved.empty()) throw TFailure("The items were moved, but " + unsaved + ".");
    undo.End(true);
    return result;
}

}  // namespace host
