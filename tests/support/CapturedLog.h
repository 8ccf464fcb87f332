#pragma once
// What the log writes while an object of this class lives, read back from the log file: so a test sees the
// line that a host would see.
//
//     CapturedLog log;
//     EXPECT_EQ(store::OpenStore(...), E_FAIL);
//     EXPECT_EQ(log.Lines(), LogLines({{sevError, "Quorvel_OpenStore",
//                                       "lpSession->OpenMsgStore returned 0x80004005\n"}}));
//
// One at a time: it configures g_Log, and leaves it silent.

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "log/CLog.h"

/// One message. Dumps (sevRaw) have an empty tag. text is UTF-8 and keeps its line break, if it has one.
struct LogLine {
    logging::ESeverity severity;
    std::string tag;
    std::string text;
    bool operator==(const LogLine&) const = default;
};
using LogLines = std::vector<LogLine>;
std::ostream& operator<<(std::ostream& out, const LogLine& line);

/// Takes the content of a log file apart: CR LF or LF, with or without mark. A message reaches to its first
/// line break or to the next line's date, whichever comes first; what follows without a date is sevRaw, a
/// line each.
LogLines ParseLog(std::string_view content);
/// Content of a file as it is; empty when it cannot be read.
std::string ReadWholeFile(const std::string& path);

/// A folder of its own below the temporary folder, deleted with the files in it.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    const std::string& Path() const { return m_path; }
    std::string File(std::string_view name) const { return m_path + "\\" + std::string(name); }

  private:
    std::string m_path;
};

class CapturedLog {
  public:
    explicit CapturedLog(int verbosity = 1, bool extra = false);
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;

    /// Everything since construction or the last Clear.
    LogLines Lines() const;
    LogLines Lines(logging::ESeverity severity) const;
    LogLines Lines(logging::ESeverity severity, std::string_view tag) const;
    size_t Count(logging::ESeverity severity, std::string_view tag, std::string_view text) const;
    /// Forgets what was written up to now.
    void Clear();

  private:
    TemporaryFolder m_folder;
    std::string m_file;
    size_t m_start = 0;
};
