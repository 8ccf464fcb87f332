#include "tests/support/CapturedLog.h"

#include <algorithm>
#include <cctype>
#include <ostream>

using enum logging::ESeverity;
using logging::ESeverity;
using logging::g_Log;

namespace {
const std::string_view kMark = "\xEF\xBB\xBF";
const char* const kSeverities[] = {"Inf", "War", "Err"};

std::string WithoutCarriageReturns(std::string_view content) {
    std::string result;
    result.reserve(content.size());
    for (size_t i = 0; i < content.size(); ++i)
        if (content[i] != '\r' || i + 1 == content.size() || content[i + 1] != '\n') result += content[i];
    return result;
}

/// "13/11/2026 20:26:27 Inf in Tag: " at the start of text: its length, or 0.
size_t PrefixLength(std::string_view text, LogLine* line) {
    static const std::string_view kShape = "00/00/0000 00:00:00 ";
    if (text.size() < kShape.size() + 8) return 0;
    for (size_t i = 0; i < kShape.size(); ++i)
        if (kShape[i] == '0' ? !isdigit(static_cast<unsigned char>(text[i])) : text[i] != kShape[i]) return 0;
    const std::string_view name = text.substr(kShape.size(), 3);
    const auto* severity = std::find(std::begin(kSeverities), std::end(kSeverities), name);
    if (severity == std::end(kSeverities) || text.substr(kShape.size() + 3, 4) != " in ") return 0;
    const size_t tag = kShape.size() + 7;
    const size_t end = text.find(": ", tag);
    if (end == std::string_view::npos) return 0;
    line->severity = static_cast<ESeverity>(severity - std::begin(kSeverities));
    line->tag = text.substr(tag, end - tag);
    return end + 2;
}

/// Where the message that begins at start ends: behind its line break or in front of the next prefix.
size_t MessageEnd(std::string_view text, size_t start) {
    LogLine ignored;
    for (size_t i = start; i < text.size(); ++i) {
        if (text[i] == '\n') return i + 1;
        if (i > start && isdigit(static_cast<unsigned char>(text[i])) &&
            PrefixLength(text.substr(i), &ignored) != 0)
            return i;
    }
    return text.size();
}
}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << (line.severity == sevRaw ? "Raw" : kSeverities[line.severity]) << " in " << line.tag
               << ": \"" << line.text << '"';
}

LogLines ParseLog(std::string_view content) {
    std::string text = WithoutCarriageReturns(content);
    if (text.starts_with(kMark)) text.erase(0, kMark.size());
    LogLines lines;
    for (size_t at = 0; at < text.size();) {
        LogLine line{sevRaw, "", ""};
        at += PrefixLength(std::string_view(text).substr(at), &line);
        const size_t end = MessageEnd(text, at);
        line.text = text.substr(at, end - at);
        lines.push_back(std::move(line));
        at = end;
    }
    return lines;
}

std::string ReadWholeFile(const std::string& path) {
    std::string content;
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr) return content;
    char block[65536];
    while (const size_t read = fread(block, 1, sizeof block, file)) content.append(block, read);
    fclose(file);
    return content;
}

TemporaryFolder::TemporaryFolder() {
    char base[MAX_PATH], name[MAX_PATH];
    GetTempPathA(MAX_PATH, base);
    // The system makes a file of a name that nobody has; a folder takes its place.
    do {
        GetTempFileNameA(base, "qvt", 0, name);
        DeleteFileA(name);
        // Another program may have taken the name meanwhile.
    } while (!CreateDirectoryA(name, nullptr) && GetLastError() == ERROR_ALREADY_EXISTS);
    m_path = name;
}

TemporaryFolder::~TemporaryFolder() {
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA((m_path + "\\*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            SetFileAttributesA(File(found.cFileName).c_str(), FILE_ATTRIBUTE_NORMAL);
            DeleteFileA(File(found.cFileName).c_str());
        } while (FindNextFileA(search, &found));
        FindClose(search);
    }
    RemoveDirectoryA(m_path.c_str());
}

CapturedLog::CapturedLog(int verbosity, bool extra) : m_file(m_folder.File("log.txt")) {
    g_Log.Configure(nullptr, m_file.c_str(), false, verbosity, extra);
}

CapturedLog::~CapturedLog() {
    g_Log.Configure(nullptr, nullptr, false, 1, 0);
}

LogLines CapturedLog::Lines() const {
    const std::string content = ReadWholeFile(m_file);
    return ParseLog(std::string_view(content).substr(std::min(m_start, content.size())));
}

LogLines CapturedLog::Lines(ESeverity severity) const {
    LogLines lines = Lines();
    std::erase_if(lines, [&](const LogLine& line) { return line.severity != severity; });
    return lines;
}

LogLines CapturedLog::Lines(ESeverity severity, std::string_view tag) const {
    LogLines lines = Lines(severity);
    std::erase_if(lines, [&](const LogLine& line) { return line.tag != tag; });
    return lines;
}

size_t CapturedLog::Count(ESeverity severity, std::string_view tag, std::string_view text) const {
    const LogLines lines = Lines();
    return static_cast<size_t>(
        std::count(lines.begin(), lines.end(), LogLine{severity, std::string(tag), std::string(text)}));
}

void CapturedLog::Clear() {
    m_start = ReadWholeFile(m_file).size();
}
