#include "log/CLog.h"

#include <cstring>
#include <new>
#include <utility>

#include "log/trim_file.h"

namespace logging {

// Constructed before and destroyed after every other static object of the library: all of them may log.
CLog g_Log __attribute__((init_priority(101)));

namespace {

constexpr size_t kLine = 4096;
constexpr unsigned long kErrFileLimit = 0x20000;
constexpr unsigned long kLogFileLimit = 0xA00000;
constexpr const char* kSeverityNames[] = {"Inf", "War", "Err"};

std::unique_ptr<char[]> CopyPath(const char* path) {
    if (!path) return nullptr;
    const size_t size = strlen(path) + 1;
    std::unique_ptr<char[]> copy(new (std::nothrow) char[size]);
    if (copy) memcpy(copy.get(), path, size);
    return copy;
}

bool GoesToErrFile(ESeverity severity) {
    return severity == sevWarning || severity == sevError;
}

// Cut to what a line holds, wherever in a character that falls.
void ToUtf8(const wchar_t* message, char (&out)[kLine]) {
    char whole[kLine * 3];
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, message, -1, whole, sizeof whole, nullptr, nullptr);
    const size_t kept = bytes <= 0                           ? 0
                        : static_cast<size_t>(bytes) < kLine ? static_cast<size_t>(bytes)
                                                             : kLine - 1;
    memcpy(out, whole, kept);
    out[kept] = 0;
}

void WriteMark(FILE* stream) {
    fprintf(stream, "%c%c%c", 239, 187, 191);
}

}  // namespace

CLog::CLog() : m_szPrefix{}, m_bExtra(0), m_bDebugOutput(true), m_nLevel(1), m_liFrequency(0), m_liStart(0) {
    LARGE_INTEGER frequency;
    if (QueryPerformanceFrequency(&frequency)) m_liFrequency = frequency.QuadPart;
}

CLog::~CLog() {
    Close();
}

void CLog::Close() {
    m_lpszLogFile.reset();
    m_lpszErrFile.reset();
    m_fpLog.reset();
    m_fpErr.reset();
}

void CLog::Configure(const char* errPath, const char* logPath, bool debugOutput, int verbosity, int extra) {
    // Copied first: the arguments may be this log's own names.
    Path err = CopyPath(errPath);
    Path log = CopyPath(logPath);
    Close();
    m_lpszErrFile = std::move(err);
    m_lpszLogFile = std::move(log);
    if (m_lpszErrFile) TrimLogFile(m_lpszErrFile.get(), kErrFileLimit, m_lpszLogFile.get());
    if (m_lpszLogFile) TrimLogFile(m_lpszLogFile.get(), kLogFileLimit, m_lpszErrFile.get());
    m_nLevel = verbosity;
    m_bExtra = static_cast<unsigned int>(extra);
    m_bDebugOutput = debugOutput;
}

void CLog::Info(int verbosity, const char* tag, const char* format, ...) {
    if (!IsLevel(verbosity)) return;
    va_list arguments;
    va_start(arguments, format);
    Format(sevInfo, tag, format, arguments);
    va_end(arguments);
}

void CLog::InfoW(int verbosity, const char* tag, const wchar_t* format, ...) {
    if (!IsLevel(verbosity)) return;
    va_list arguments;
    va_start(arguments, format);
    Format(sevInfo, tag, format, arguments);
    va_end(arguments);
}

void CLog::Warning(const char* tag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Format(sevWarning, tag, format, arguments);
    va_end(arguments);
}

void CLog::WarningW(const char* tag, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Format(sevWarning, tag, format, arguments);
    va_end(arguments);
}

void CLog::Error(const char* tag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Format(sevError, tag, format, arguments);
    va_end(arguments);
}

void CLog::ErrorW(const char* tag, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Format(sevError, tag, format, arguments);
    va_end(arguments);
}

void CLog::Extra(const wchar_t* format, ...) {
    if (!IsExtra()) return;
    va_list arguments;
    va_start(arguments, format);
    Format(sevRaw, "", format, arguments);
    va_end(arguments);
}

void CLog::Assert(bool condition, const char* tag, int line, const char* expression) {
    if (condition) return;
    if (expression) {
        Error(tag, "assert failed in line %d: \"%s\" is false\n", line, expression);
    } else {
        Error(tag, "assert failed in line %d\n", line);
    }
}

void CLog::StartTimer() {
    LARGE_INTEGER counter;
    m_liStart = QueryPerformanceCounter(&counter) ? counter.QuadPart : 0;
}

// Judged on the stored names, not on open streams: a file that cannot be opened is tried again with every
// line.
bool CLog::IsWanted(ESeverity severity) const {
    return m_bDebugOutput || m_lpszLogFile || (m_lpszErrFile && GoesToErrFile(severity));
}

void CLog::Format(ESeverity severity, const char* tag, const char* format, va_list arguments) {
    if (!IsWanted(severity)) return;
    // Zeroed: a text that cannot be converted ends the formatter without a terminator.
    char text[kLine] = {};
    _vsnprintf(text, kLine, format, arguments);
    text[kLine - 1] = 0;
    wchar_t message[kLine];
    if (MultiByteToWideChar(CP_ACP, 0, text, -1, message, kLine) == 0) message[0] = 0;
    Write(severity, tag, message);
}

void CLog::Format(ESeverity severity, const char* tag, const wchar_t* format, va_list arguments) {
    if (!IsWanted(severity)) return;
    wchar_t message[kLine] = {};
    _vsnwprintf(message, kLine, format, arguments);
    message[kLine - 1] = 0;
    Write(severity, tag, message);
}

void CLog::Write(ESeverity severity, const char* tag, const wchar_t* message) {
    char prefixLine[kLine] = "";
    if (severity != sevRaw) {
        SYSTEMTIME now;
        GetLocalTime(&now);
        _snprintf(prefixLine, kLine, "%s%02d/%02d/%02d %02d:%02d:%02d %s in %s: ", m_szPrefix, now.wDay,
                  now.wMonth, now.wYear, now.wHour, now.wMinute, now.wSecond, kSeverityNames[severity], tag);
        prefixLine[kLine - 1] = 0;
    }
    if (m_bDebugOutput) {
        if (prefixLine[0]) OutputDebugStringA(prefixLine);
        OutputDebugStringW(message);
    }
    const bool toErrFile = m_lpszErrFile && GoesToErrFile(severity);
    if (!m_lpszLogFile && !toErrFile) return;
    char utf8[kLine];
    ToUtf8(message, utf8);
    if (m_lpszLogFile) WriteLogFile(prefixLine, utf8);
    if (toErrFile) WriteErrFile(prefixLine, utf8);
}

void CLog::WriteLogFile(const char* prefixLine, const char* message) {
    if (!m_fpLog) {
        const bool isEmpty = LogFileSize(m_lpszLogFile.get()) == 0;
        m_fpLog.reset(fopen(m_lpszLogFile.get(), "at"));
        if (!m_fpLog) return;
        if (isEmpty) WriteMark(m_fpLog.get());
    }
    fprintf(m_fpLog.get(), "%s%s", prefixLine, message);
    fflush(m_fpLog.get());
}

void CLog::WriteErrFile(const char* prefixLine, const char* message) {
    if (!m_fpErr) {
        const bool isEmpty = LogFileSize(m_lpszErrFile.get()) == 0;
        m_fpErr.reset(fopen(m_lpszErrFile.get(), "at"));
        if (!m_fpErr) return;
        // Readers know a fresh error file by its missing mark: the mark goes to the log file, in mid-text.
        if (isEmpty && m_fpLog) WriteMark(m_fpLog.get());
    }
    fprintf(m_fpErr.get(), "%s%s%s", m_szPrefix, prefixLine, message);
    fflush(m_fpErr.get());
}

}  // namespace logging
