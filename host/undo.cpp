#include "host/undo.h"

#include <mapitags.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <set>

#include "host/item_moves.h"
#include "host/merge_item.h"
#include "host/text.h"
#include "host/undo_file.h"
#include "quorvel.h"

namespace host {

namespace {

// What is to be done about a move of the undo file.
struct TReturn {
    std::string entryId;  // of the item in the target folder; empty: nothing is moved
    std::string why;      // the item is not put back; empty when it is, or is in its place
};

// What stands in the folders that a run moved from and to, each read once.
class CFolders {
  public:
    explicit CFolders(IMAPISession* session) : m_pSession(session) {}
    const FolderRows& Of(const std::string& storeId, const std::string& folderId) {
        const std::string key = storeId + '|' + folderId;
        auto found = m_rows.find(key);
        if (found == m_rows.end()) {
            std::optional<FolderRows> rows = ReadRows(m_pSession, storeId, folderId);
            found = m_rows.emplace(key, rows ? std::move(*rows) : FolderRows()).first;
        }
        return found->second;
    }

  private:
    IMAPISession* m_pSession;
    std::map<std::string, FolderRows> m_rows;
};

// The moves whose new identifier is not known, with what may be their items in the target folder.
struct TUnknown {
    std::vector<size_t> moves;
    std::vector<std::string> candidates;
    bool isOfOneFolder = true;
};

class CReturns {
  public:
    CReturns(IMAPISession* session, const TUndoLog& log) : m_log(log), m_folders(session) {}
    /// One for each move.
    std::vector<TReturn> Plan();

  private:
    bool PlanKnown(const TUndoMove& move, TReturn& back);
    void PlanUnknown(TUnknown& unknown);
    void FindCandidates(TUnknown& unknown, const TUndoMove& move);

    const TUndoLog& m_log;
    CFolders m_folders;
    std::set<std::string> m_claimed;  // new identifiers that the file names
    std::vector<TReturn> m_returns;
};

// False when the file does not tell where the item is.
bool CReturns::PlanKnown(const TUndoMove& move, TReturn& back) {
    // Still where it was: the move did not happen, or was never saved.
    if (m_folders.Of(move.storeId, move.folderId).contains(move.entryId)) return true;
    if (move.newEntryId.empty()) return false;
    const FolderRows& rows = m_folders.Of(move.storeId, move.targetFolderId);
    const auto found = rows.find(move.newEntryId);
    if (found != rows.end() && found->second == move.searchKey) {
        back.entryId = move.newEntryId;
    } else if (found != rows.end()) {
        back.why = "what has its identifier is another item";
    } else if (!move.isBack) {
        back.why = "it is not in the folder that it was moved to";
    }
    return true;
}

// What has the search key and did not stand in the folder before the run, nor is named by another move.
void CReturns::FindCandidates(TUnknown& unknown, const TUndoMove& move) {
    std::set<std::string> others = m_claimed;
    for (const TUndoTarget& target : m_log.targets) {
        const auto had = target.had.find(move.searchKey);
        if (target.folderId == move.targetFolderId && had != target.had.end())
            others.insert(had->second.begin(), had->second.end());
    }
    for (const auto& [entryId, searchKey] : m_folders.Of(move.storeId, move.targetFolderId)) {
        if (searchKey == move.searchKey && !others.contains(entryId)) unknown.candidates.push_back(entryId);
    }
}

void CReturns::PlanUnknown(TUnknown& unknown) {
    const bool isCertain = unknown.isOfOneFolder && unknown.candidates.size() <= unknown.moves.size();
    // Where fewer are left than were moved, those that an earlier undo set out with are the ones that are
    // back.
    std::stable_partition(unknown.moves.begin(), unknown.moves.end(),
                          [&](size_t move) { return !m_log.moves[move].isBack; });
    for (size_t i = 0; i < unknown.moves.size(); ++i) {
        TReturn& back = m_returns[unknown.moves[i]];
        if (isCertain && i < unknown.candidates.size()) {
            back.entryId = unknown.candidates[i];
        } else if (!unknown.candidates.empty() && !isCertain) {
            back.why = "several items in the folder that it was moved to may be it";
        } else if (!m_log.moves[unknown.moves[i]].isBack) {
            back.why = "it is not in the folder that it was moved to";
        }
    }
}

std::vector<TReturn> CReturns::Plan() {
    m_returns.resize(m_log.moves.size());
    std::map<std::string, TUnknown> unknown;
    for (size_t i = 0; i < m_log.moves.size(); ++i) {
        const TUndoMove& move = m_log.moves[i];
        if (!move.newEntryId.empty()) m_claimed.insert(move.newEntryId);
        if (PlanKnown(move, m_returns[i])) continue;
        TUnknown& same = unknown[move.storeId + '|' + move.targetFolderId + '|' + move.searchKey];
        same.isOfOneFolder &= same.moves.empty() || m_log.moves[same.moves[0]].folderId == move.folderId;
        same.moves.push_back(i);
    }
    for (auto& [key, same] : unknown) {
        FindCandidates(same, m_log.moves[same.moves[0]]);
        PlanUnknown(same);
    }
    return m_returns;
}

void CheckStores(IMAPISession* session, const TUndoLog& log, const std::string& undoFile) {
    std::set<std::string> stores;
    for (const TUndoMove& move : log.moves) stores.insert(move.storeId);
    for (const TUndoMerge& merge : log.merges) stores.insert(merge.storeId);
    for (const std::string& store : stores) {
        if (!HasStore(session, store)) {
            throw TFailure("The undo file \"" + undoFile +
                           "\" belongs to another mailbox; nothing was moved.");
        }
    }
}

// Folders that the run made go again once they are empty; a platform that refuses keeps them.
void RemoveMadeFolders(IMAPISession* session, const TUndoLog& log) {
    for (const TUndoTarget& target : log.targets) {
        ComPtr<IMsgStore> store;
        ComPtr<IMAPIFolder> folder;
        if (!target.isMade ||
            Quorvel_OpenStore(session, target.storeId.c_str(), store.GetAddressOf()) != S_OK ||
            Quorvel_OpenStoreFolder(store.Get(), target.folderId.c_str(), folder.GetAddressOf()) != S_OK ||
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

std::string NameOf(const TUndoMove& move) {
    return (move.title.empty() ? "(no title)" : move.title) + " to " + move.folder;
}

// Whether a duplicate that an item was completed from is neither there nor comes back: what the item has of it may be
// all that is left of it.
bool IsSourceGone(IMAPISession* session, const TUndoLog& log, const std::vector<TReturn>& returns,
                  const TUndoSource& source) {
    const auto move = std::ranges::find_if(log.moves, [&](const TUndoMove& one) {
        return one.entryId == source.entryId && one.storeId == source.storeId;
    });
    if (move != log.moves.end()) return !returns[static_cast<size_t>(move - log.moves.begin())].why.empty();
    ComPtr<IMessage> message;
    return Quorvel_OpenItem(session, source.entryId.c_str(), source.storeId.c_str(),
                            message.GetAddressOf()) != S_OK;
}

// Items that were completed are what they were, the last one first.
void RestoreItems(IMAPISession* session, const TUndoLog& log, const std::vector<TReturn>& returns,
                  TMoved& result, CProgress& progress) {
    if (log.merges.empty()) return;
    const TCatalog catalog = ReadCatalog(session);
    const TBookkeeping bookkeeping = LoadBookkeeping();
    CItemReader reader(session, catalog, bookkeeping);
    for (size_t i = log.merges.size(); i > 0 && !result.isInterrupted; --i) {
        const TUndoMerge& merge = log.merges[i - 1];
        progress("items restored", log.merges.size() - i, log.merges.size());
        const bool isAllThatIsLeft = std::ranges::any_of(merge.from, [&](const TUndoSource& source) {
            return IsSourceGone(session, log, returns, source);
        });
        const TRestored restored =
            isAllThatIsLeft ? TRestored{false, {}, "a duplicate that it has values of does not come back"}
                            : RestoreItem(reader, merge);
        progress.Clear();
        const std::string name = (merge.title.empty() ? "(no title)" : merge.title) + " in " + merge.folder;
        for (const std::string& left : restored.left) {
            printf("not restored: %s of %s: it was changed since\n", left.c_str(), name.c_str());
        }
        if (!restored.why.empty()) printf("not restored: %s: %s\n", name.c_str(), restored.why.c_str());
        if (restored.isChanged) printf("restored: %s\n", name.c_str());
        fflush(stdout);
        result.refused += restored.left.size() + !restored.why.empty();
        result.completed += restored.isChanged;
        result.isInterrupted = Interrupted();
    }
}

// The journal goes on while it can: without it the items go back all the same, and a second undo would only
// miss them where they no longer are.
void Note(std::optional<CUndoWriter>& journal, size_t move) {
    if (!journal) return;
    try {
        journal->WillPutBack(move);
    } catch (const TFailure&) {
        journal.reset();
    }
}

std::optional<CUndoWriter> OpenJournal(const std::string& undoFile) {
    try {
        return CUndoWriter::Continue(undoFile);
    } catch (const TFailure&) {
        return {};
    }
}

}  // namespace

TMoved Undo(CSession& session, const std::string& undoFile, CProgress& progress) {
    const TUndoLog log = ReadUndoFile(undoFile);
    CheckStores(session.get(), log, undoFile);
    progress("looking for the items");
    const std::vector<TReturn> returns = CReturns(session.get(), log).Plan();
    std::optional<CUndoWriter> journal = OpenJournal(undoFile);
    TMoved result;
    RestoreItems(session.get(), log, returns, result, progress);
    for (size_t i = 0; i < log.moves.size() && !result.isInterrupted; ++i) {
        const TUndoMove& move = log.moves[i];
        std::string why = returns[i].why;
        progress("items put back", i, log.moves.size());
        if (!returns[i].entryId.empty()) {
            Note(journal, i);
            const HRESULT hr =
                MoveItem(session.get(), returns[i].entryId, move.storeId, move.targetFolderId, move.folderId);
            if (hr != S_OK) why = ResultText(hr);
        }
        result.refused += !why.empty();
        result.moved += why.empty() && !returns[i].entryId.empty();
        if (!why.empty() || !returns[i].entryId.empty()) {
            progress.Clear();
            printf("%s: %s%s\n", why.empty() ? "put back" : "not put back", NameOf(move).c_str(),
                   why.empty() ? "" : (": " + why).c_str());
            fflush(stdout);
        }
        result.isInterrupted = Interrupted();
    }
    RemoveMadeFolders(session.get(), log);
    progress("saving");
    const std::string unsaved = session.Close();
    progress.Clear();
    if (!unsaved.empty()) {
        throw TFailure(
            (session.IsMailboxFile() ? "Nothing was put back: " : "The items were put back, but ") + unsaved +
            ".");
    }
    if (!log.isEnded)
        printf(
            "The run of this undo file was stopped, or the file is cut short: it may not name all items.\n");
    return result;
}

}  // namespace host
