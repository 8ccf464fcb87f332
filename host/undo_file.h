#pragma once
// The undo file of `clean`: one JSON object a line, each on the disk before the program goes on.

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

namespace host {

struct UndoMove {
    std::string entryId;    // before the move
    std::string searchKey;  // kept by the move; hexadecimal
    std::string title;
    std::string folder;  // path it came from, for people
    std::string folderId;
    std::string storeId;
    std::string targetFolderId;
    std::string newEntryId;  // empty: the program ended before it knew
};

struct UndoLog {
    std::vector<UndoMove> moves;
    std::vector<std::pair<std::string, std::string>> madeFolders;  // store, folder: made by the run
};

class UndoWriter {
  public:
    /// Makes a new file; throws Failure when it exists or cannot be made.
    explicit UndoWriter(const std::string& path);
    void WillMove(const UndoMove& move);
    void Moved(const std::string& newEntryId);
    void MadeFolder(const std::string& storeId, const std::string& folderId);

  private:
    struct HandleCloser {
        using pointer = HANDLE;
        void operator()(HANDLE handle) const {
            if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
        }
    };
    void Write(const std::string& line);
    std::string m_path;
    std::unique_ptr<HANDLE, HandleCloser> m_file;
};

/// Throws Failure naming file and line. A last line that was cut short by the end of the program is no fault.
UndoLog ReadUndoFile(const std::string& path);

}  // namespace host
