#pragma once
// The undo file of `clean`: a journal of one run and of its undo, one JSON object a line.
//
//   {"format":"quorvel-undo","version":3}
//   {"target":{...}}             a folder that items go to, with what stood in it under their search keys
//   {"merge":{...}}              before an item is completed, on the disk: its old values whole, and the new ones
//   {"move":{...}}               before each move, on the disk before the program goes on
//   {"moved":{"move":0,"newEntryId":"..."}}   once it is known
//   {"end":"saved"}              or "nothing was saved"; missing: the run was stopped
//   {"back":0}                   before an item is put back
//
// Each line holds a check over all before it: a file that somebody changed is refused. A last line that was
// cut short by the end of the program is no fault. Files of version 2 have no merges, those of version 1
// neither checks nor targets.

#include <windows.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/raw_values.h"

namespace host {

struct TUndoMove {
    std::string entryId;    // before the move
    std::string searchKey;  // kept by the move; hexadecimal
    std::string title;
    std::string folder;  // path it came from, for people
    std::string folderId;
    std::string storeId;
    std::string targetFolderId;
    std::string newEntryId;  // empty: not known
    bool isBack = false;     // an undo set out to put it back
};

struct TUndoTarget {
    std::string storeId;
    std::string folderId;
    bool isMade = false;                                  // by the run
    std::map<std::string, std::vector<std::string>> had;  // identifiers by search key, before the run
};

/// A value of an item that was completed.
struct TUndoValue {
    std::string property;  // PropertyName
    std::string name;      // for people
    TRawValue was;         // without a value: it had none
    TRawValue is;
};

/// Attachments that came with it, alike ones together.
struct TUndoAttachment {
    std::string name;
    std::string mark;  // AttachmentMark
    size_t had = 0;    // of the same mark, before
    size_t added = 1;
};

/// A duplicate that an item was completed from.
struct TUndoSource {
    std::string entryId;  // before it moved
    std::string storeId;
};

struct TUndoMerge {
    std::string entryId;
    std::string storeId;
    std::string title;
    std::string folder;  // path and number, for people
    std::vector<TUndoValue> values;
    std::vector<TUndoAttachment> attachments;
    std::vector<TUndoSource> from;
};

struct TUndoLog {
    std::vector<TUndoMerge> merges;
    std::vector<TUndoMove> moves;
    std::vector<TUndoTarget> targets;
    bool isEnded = false;  // the run came to its end, saved or not
};

/// Writes lines, each with its check. Throws Failure when the disk does not take one.
class CUndoWriter {
  public:
    /// Makes a new file; throws Failure when it exists or cannot be made. An empty path: a new name with the
    /// time in it, in the current folder.
    static CUndoWriter Create(const std::string& path);
    /// Goes on with a file where its last whole line ends.
    static CUndoWriter Continue(const std::string& path);

    const std::string& Path() const { return m_path; }
    void Target(const TUndoTarget& target);
    void WillMerge(const TUndoMerge& merge);
    void WillMove(const TUndoMove& move);
    void Moved(size_t move, const std::string& newEntryId);
    void End(bool isSaved);
    void WillPutBack(size_t move);

  private:
    struct THandleCloser {
        using pointer = HANDLE;
        void operator()(HANDLE handle) const {
            if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
        }
    };
    using File = std::unique_ptr<HANDLE, THandleCloser>;

    CUndoWriter(std::string path, File file, std::string check)
        : m_path(std::move(path)), m_file(std::move(file)), m_check(std::move(check)) {}
    void Write(const std::string& line, bool isUrgent);

    std::string m_path;
    File m_file;
    std::string m_check;  // of the last line
};

/// Throws Failure naming file and line.
TUndoLog ReadUndoFile(const std::string& path);

}  // namespace host
