#pragma once
// Files that a command writes. Nothing of the user's is overwritten: an output is never one of the command's
// own inputs, and a file that stands there already is replaced only when it is of the kind that the command
// writes, or on request. What is written stands beside it, whole, before it takes its place.

#include <filesystem>
#include <string>
#include <vector>

namespace host {

/// What a command writes; an earlier file of the same kind may be replaced.
enum class EOutput { Scan, Plan, Matrix, Similar, Cabinet, Log };

/// inputs: the files that the command reads, the mailbox among them; they are recognised by what they are, not by
/// name. force: replace any other file. Throws Failure; call it before the work begins.
void CheckOutput(const std::string& path, EOutput kind, const std::vector<std::string>& inputs, bool force);

/// Whether two paths name one file, by whatever names and links; false when one of them is missing.
bool IsSameFile(const std::string& a, const std::string& b);

/// A file that is being written beside the one it is to become, under a name of this program's own. Removed
/// unless it took its place; what an earlier run left behind when it was killed is written over.
class CNewFile {
  public:
    /// Throws Failure when there is no such folder.
    explicit CNewFile(const std::string& path);
    ~CNewFile();
    CNewFile(const CNewFile&) = delete;
    CNewFile& operator=(const CNewFile&) = delete;

    const std::filesystem::path& Path() const { return m_temporary; }
    /// Puts it in place of the file; false when the system refuses, and the file is as it was.
    bool TakePlace();

  private:
    std::filesystem::path m_target;
    std::filesystem::path m_temporary;
};

/// Writes a report; throws Failure, and leaves no half file, when the disk does not take it.
void WriteFileWhole(const std::string& path, const std::string& content);

}  // namespace host
