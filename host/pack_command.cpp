#include "host/pack_command.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>

#include "host/output_file.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

struct TCabinetDeleter {
    using pointer = HFci;
    void operator()(HFci cabinet) const { FCI_Delete(cabinet); }
};

// The cabinet writer takes 8-bit paths. What the code page cannot express has a short name in it that it can.
std::string AnsiPath(const std::filesystem::path& path) {
    const auto convert = [](const std::wstring& wide) {
        BOOL isLossy = FALSE;
        char text[MAX_PATH * 2] = "";
        WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide.c_str(), -1, text, sizeof text, nullptr,
                            &isLossy);
        return isLossy ? std::string() : std::string(text);
    };
    std::string text = convert(path.wstring());
    if (!text.empty()) return text;
    wchar_t shortPath[MAX_PATH * 2] = L"";
    GetShortPathNameW(path.c_str(), shortPath, static_cast<DWORD>(std::size(shortPath)));
    text = convert(shortPath);
    if (text.empty())
        throw TFailure("The path \"" + Narrow(path.wstring()) + "\" has no form in the system's code page.");
    return text;
}

struct TLessNoCase {
    bool operator()(const std::string& a, const std::string& b) const {
        return lstrcmpiA(a.c_str(), b.c_str()) < 0;
    }
};
// Whoever unpacks on Windows has one file of names that differ in case alone.
using Names = std::set<std::string, TLessNoCase>;

std::string DistinctName(const std::filesystem::path& file, Names& names) {
    const std::string stem = AnsiPath(file.stem());
    const std::string extension = file.extension().empty() ? "" : AnsiPath(file.extension());
    std::string name = stem + extension;
    for (int n = 2; !names.insert(name).second; ++n) name = stem + "-" + std::to_string(n) + extension;
    return name;
}

bool WriteCabinet(const std::filesystem::path& path, const std::vector<std::string>& files) {
    const std::string folder = AnsiPath(path.parent_path()) + "\\";
    const std::unique_ptr<HFci, TCabinetDeleter> writer(
        FCI_Create(folder.c_str(), AnsiPath(path.filename()).c_str()));
    if (!writer) throw TFailure("The system's cabinet library is missing or refuses to start.");
    Names names;
    for (const std::string& file : files) {
        const std::filesystem::path source = std::filesystem::absolute(Widen(file));
        if (!FCI_AddFile(writer.get(), AnsiPath(source).c_str(),
                         DistinctName(source.filename(), names).c_str())) {
            throw TFailure("The file \"" + file + "\" cannot be packed.");
        }
    }
    return FCI_FlushCabinet(writer.get()) != 0;
}

}  // namespace

void Pack(const std::string& cabinet, const std::vector<std::string>& files, bool force) {
    std::error_code error;
    for (const std::string& file : files) {
        if (!std::filesystem::is_regular_file(Widen(file), error)) {
            throw TFailure("The file \"" + file + "\" does not exist.");
        }
    }
    CheckOutput(cabinet, EOutput::Cabinet, files, force);
    CNewFile target(cabinet);
    if (!WriteCabinet(target.Path(), files) || !target.TakePlace())
        throw TFailure("The cabinet \"" + cabinet + "\" cannot be written.");
    printf("%s: %s, %s\n", cabinet.c_str(), Count(files.size(), "file", "files").c_str(),
           SizeText(std::filesystem::file_size(Widen(cabinet), error)).c_str());
}

}  // namespace host
