#pragma once
// The process-wide diagnostic log.
//
// One object, g_Log, exists from load to unload of the library. Every line goes to up to three sinks: the
// debugger output, a log file that takes everything, an error file that takes warnings and errors. The log
// owns its file names and streams, never fails and never throws into its caller, and takes no lock.
//
// Every message ends in its own "\n"; nothing is added. The lines are interface: hosts read and search them.

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <memory>

namespace logging {

// Checks arguments against the format at compile time.
#ifdef __clang__
#define QUORVEL_PRINTF(format_, first_) __attribute__((format(printf, format_, first_)))
#else
#define QUORVEL_PRINTF(format_, first_) __attribute__((format(ms_printf, format_, first_)))
#endif

enum ESeverity : int { sevRaw = -1, sevInfo = 0, sevWarning = 1, sevError = 2 };

class CLog {
  public:
    CLog();
    virtual ~CLog();
    CLog(const CLog&) = delete;
    CLog& operator=(const CLog&) = delete;

    /// Closes both files, takes the new names (either may be null: that sink is off) and trims the files to
    /// their limits. The names may be those that ErrFile() and LogFile() returned. The streams open with the
    /// next line.
    void Configure(const char* errPath, const char* logPath, bool debugOutput, int verbosity, int extra);
    void Close();

    /// Written when verbosity is at most the configured level.
    void Info(int verbosity, const char* tag, const char* format, ...) QUORVEL_PRINTF(4, 5);
    void InfoW(int verbosity, const char* tag, const wchar_t* format, ...);
    void Warning(const char* tag, const char* format, ...) QUORVEL_PRINTF(3, 4);
    void WarningW(const char* tag, const wchar_t* format, ...);
    void Error(const char* tag, const char* format, ...) QUORVEL_PRINTF(3, 4);
    void ErrorW(const char* tag, const wchar_t* format, ...);
    /// Dumps: only the text, no date, severity or tag; only while extra logging is on. Callers test IsExtra()
    /// before they build a long text.
    void Extra(const wchar_t* format, ...);
    /// An Error line when the condition is false; the caller goes on either way.
    void Assert(bool condition, const char* tag, int line, const char* expression);

    void StartTimer();

    bool IsExtra() const { return m_bExtra != 0; }
    /// Whether an informational line of this verbosity would be written to the configured level.
    bool IsLevel(int verbosity) const { return verbosity <= m_nLevel; }
    const char* LogFile() const { return m_lpszLogFile.get(); }
    const char* ErrFile() const { return m_lpszErrFile.get(); }

  private:
    struct TStreamCloser {
        void operator()(FILE* stream) const { fclose(stream); }
    };
    using Path = std::unique_ptr<char[]>;
    using Stream = std::unique_ptr<FILE, TStreamCloser>;

    bool IsWanted(ESeverity severity) const;
    void Format(ESeverity severity, const char* tag, const char* format, va_list arguments);
    void Format(ESeverity severity, const char* tag, const wchar_t* format, va_list arguments);
    void Write(ESeverity severity, const char* tag, const wchar_t* message);
    void WriteLogFile(const char* prefixLine, const char* message);
    void WriteErrFile(const char* prefixLine, const char* message);

    char m_szPrefix[32];  // in front of every prefix line; no operation changes it
    Path m_lpszLogFile;
    Stream m_fpLog;  // opened by the first line that needs it
    Path m_lpszErrFile;
    Stream m_fpErr;
    unsigned int m_bExtra;
    bool m_bDebugOutput;
    int m_nLevel;
    long long m_liFrequency;
    long long m_liStart;
};

extern CLog g_Log;

}  // namespace logging
