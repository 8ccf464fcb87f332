#include "host/output_file.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string_view>

#include "host/text.h"

namespace host {

namespace {

constexpr wchar_t kTemporaryEnding[] = L".quorvel-new";

// How the files of a kind are recognised: these texts, one behind the other, in a part of them.
enum class EPart { Front, FirstLine, Head, LastLine };
struct TSign {
    EOutput kind;
    EPart part;
    std::initializer_list<const char*> texts;
};
constexpr std::streamoff kHead = 4096;
const TSign kSigns[] = {
    {EOutput::Scan, EPart::Head, {"\"format\": \"quorvel-report\""}},
    {EOutput::Scan, EPart::Head, {"<meta name=\"generator\" content=\"quorvel\">"}},
    {EOutput::Scan, EPart::Front, {"\xEF\xBB\xBF\"group\",\"copy\",\"store\","}},
    {EOutput::Scan, EPart::FirstLine, {": ", " item", " in ", " folder", ", keep "}},
    {EOutput::Plan, EPart::Head, {"\"format\": \"quorvel-plan\""}},
    {EOutput::Matrix, EPart::Head, {"\"format\": \"quorvel-matrix\""}},
    {EOutput::Matrix, EPart::Head, {"A  ", "\nB  ", "\n\n                                   A   "}},
    {EOutput::Similar, EPart::Head, {"\"format\": \"quorvel-similar\""}},
    {EOutput::Similar, EPart::Head, {"<meta name=\"generator\" content=\"quorvel similar\">"}},
    {EOutput::Similar, EPart::LastLine, {" contact", ", ", " that resemble one another, ", " strictly"}},
    {EOutput::Cabinet, EPart::Front, {"MSCF"}},
    {EOutput::Log, EPart::FirstLine, {"\xEF\xBB\xBF", "/", "/", " ", ":", ":", " ", " in ", ": "}},
};

constexpr struct {
    EOutput kind;
    const char* name;
} kNames[] = {
    {EOutput::Scan, "report of a scan"},
    {EOutput::Plan, "plan of a clean"},
    {EOutput::Matrix, "comparison of items"},
    {EOutput::Similar, "list of contacts"},
    {EOutput::Cabinet, "cabinet"},
    {EOutput::Log, "log"},
};

struct THandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const {
        if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    }
};

bool Identity(const std::string& path, BY_HANDLE_FILE_INFORMATION& info) {
    const std::unique_ptr<HANDLE, THandleCloser> file(CreateFileW(
        Widen(path).c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return file.get() != INVALID_HANDLE_VALUE && GetFileInformationByHandle(file.get(), &info);
}

}  // namespace

bool IsSameFile(const std::string& a, const std::string& b) {
    BY_HANDLE_FILE_INFORMATION first;
    BY_HANDLE_FILE_INFORMATION second;
    return Identity(a, first) && Identity(b, second) &&
           first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
           first.nFileIndexHigh == second.nFileIndexHigh && first.nFileIndexLow == second.nFileIndexLow;
}

namespace {

struct TText {
    std::string head;
    std::string lastLine;
};

TText ReadText(const std::string& path) {
    std::ifstream stream(std::filesystem::path(Widen(path)), std::ios::binary);
    const auto take = [&](std::streamoff from) {
        std::string text(kHead, '\0');
        stream.clear();
        stream.seekg(from);
        stream.read(text.data(), kHead);
        text.resize(static_cast<size_t>(stream.gcount()));
        return text;
    };
    TText text{take(0), {}};
    stream.clear();
    stream.seekg(0, std::ios::end);
    text.lastLine = take(std::max<std::streamoff>(0, stream.tellg() - kHead));
    if (text.lastLine.ends_with('\n')) text.lastLine.pop_back();
    text.lastLine.erase(0, text.lastLine.rfind('\n') + 1);
    return text;
}

bool Bears(const TText& text, const TSign& sign) {
    const std::string_view part = sign.part == EPart::LastLine ? text.lastLine : text.head;
    const size_t end = sign.part == EPart::FirstLine ? part.find('\n') : std::string_view::npos;
    size_t at = 0;
    for (const char* piece : sign.texts) {
        at = part.substr(0, end).find(piece, at);
        if (at == std::string_view::npos) return false;
        if (sign.part == EPart::Front && at != 0) return false;
        at += strlen(piece);
    }
    return true;
}

bool IsOfKind(const std::string& path, EOutput kind) {
    const TText text = ReadText(path);
    // A file with nothing in it is nobody's loss.
    if (text.head.empty()) return true;
    return std::any_of(std::begin(kSigns), std::end(kSigns),
                       [&](const TSign& sign) { return sign.kind == kind && Bears(text, sign); });
}

const char* NameOf(EOutput kind) {
    return std::find_if(std::begin(kNames), std::end(kNames),
                        [&](const auto& row) { return row.kind == kind; })
        ->name;
}

}  // namespace

void CheckOutput(const std::string& path, EOutput kind, const std::vector<std::string>& inputs, bool force) {
    for (const std::string& input : inputs) {
        if (IsSameFile(path, input))
            throw TFailure("\"" + path + "\" is what is read here, and is not overwritten.");
    }
    BY_HANDLE_FILE_INFORMATION info;
    if (!Identity(path, info)) return;
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        throw TFailure("\"" + path + "\" is a folder, no file.");
    if (!force && !IsOfKind(path, kind)) {
        throw TFailure("\"" + path + "\" exists and is no " + NameOf(kind) +
                       (kind == EOutput::Log ? "." : "; --force overwrites it all the same."));
    }
}

CNewFile::CNewFile(const std::string& path)
    : m_target(std::filesystem::absolute(Widen(path))), m_temporary(m_target) {
    std::error_code error;
    if (!std::filesystem::is_directory(m_target.parent_path(), error))
        throw TFailure("\"" + path + "\" cannot be written: its folder does not exist.");
    m_temporary += kTemporaryEnding;
}

CNewFile::~CNewFile() {
    if (!m_temporary.empty()) DeleteFileW(m_temporary.c_str());
}

bool CNewFile::TakePlace() {
    if (!MoveFileExW(m_temporary.c_str(), m_target.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        return false;
    }
    m_temporary.clear();
    return true;
}

void WriteFileWhole(const std::string& path, const std::string& content) {
    CNewFile file(path);
    bool isWritten = false;
    {
        const std::unique_ptr<FILE, int (*)(FILE*)> stream(_wfopen(file.Path().c_str(), L"wb"), fclose);
        isWritten = stream && fwrite(content.data(), 1, content.size(), stream.get()) == content.size() &&
                    fflush(stream.get()) == 0;
    }
    if (!isWritten || !file.TakePlace()) throw TFailure("The file \"" + path + "\" cannot be written.");
}

}  // namespace host
