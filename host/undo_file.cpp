#include "host/undo_file.h"

#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "host/text.h"

namespace host {

namespace {
using json = nlohmann::ordered_json;
constexpr char kFormat[] = "quorvel-undo";

constexpr struct {
    const char* name;
    std::string UndoMove::*member;
} kMembers[] = {
    {"entryId", &UndoMove::entryId},
    {"searchKey", &UndoMove::searchKey},
    {"title", &UndoMove::title},
    {"folder", &UndoMove::folder},
    {"folderId", &UndoMove::folderId},
    {"storeId", &UndoMove::storeId},
    {"targetFolderId", &UndoMove::targetFolderId},
};

}  // namespace

UndoWriter::UndoWriter(const std::string& path)
    : m_path(path),
      m_file(
          CreateFileW(Widen(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr)) {
    if (m_file.get() == INVALID_HANDLE_VALUE) {
        throw Failure("The undo file \"" + path + "\" exists already or cannot be made; nothing was moved.");
    }
    Write(json{{"format", kFormat}, {"version", 1}}.dump());
}

void UndoWriter::Write(const std::string& line) {
    const std::string whole = line + "\n";
    DWORD written = 0;
    if (!WriteFile(m_file.get(), whole.data(), static_cast<DWORD>(whole.size()), &written, nullptr) ||
        written != whole.size() || !FlushFileBuffers(m_file.get())) {
        throw Failure("The undo file \"" + m_path + "\" cannot be written: stopped before the next move.");
    }
}

void UndoWriter::WillMove(const UndoMove& move) {
    json object;
    for (const auto& row : kMembers) object[row.name] = move.*row.member;
    Write(json{{"move", object}}.dump(-1, ' ', false, json::error_handler_t::replace));
}

void UndoWriter::Moved(const std::string& newEntryId) {
    Write(json{{"moved", newEntryId}}.dump());
}

void UndoWriter::MadeFolder(const std::string& storeId, const std::string& folderId) {
    Write(json{{"madeFolder", {{"storeId", storeId}, {"folderId", folderId}}}}.dump());
}

UndoLog ReadUndoFile(const std::string& path) {
    std::ifstream stream(std::filesystem::path(Widen(path)), std::ios::binary);
    if (!stream) throw Failure("The undo file \"" + path + "\" cannot be read.");
    UndoLog log;
    std::string line;
    for (size_t number = 1; std::getline(stream, line); ++number) {
        const bool isCutShort = stream.eof();  // no line break: the program ended while it wrote
        try {
            const json object = json::parse(line);
            if (number == 1) {
                if (object.at("format") != kFormat || object.at("version") != 1)
                    throw std::out_of_range("format");
            } else if (const auto move = object.find("move"); move != object.end()) {
                UndoMove read;
                for (const auto& row : kMembers) read.*row.member = move->at(row.name).get<std::string>();
                log.moves.push_back(std::move(read));
            } else if (const auto moved = object.find("moved"); moved != object.end()) {
                if (log.moves.empty()) throw std::out_of_range("moved");
                log.moves.back().newEntryId = moved->get<std::string>();
            } else {
                const json& made = object.at("madeFolder");
                log.madeFolders.emplace_back(made.at("storeId").get<std::string>(),
                                             made.at("folderId").get<std::string>());
            }
        } catch (const std::exception&) {
            if (isCutShort && number > 1) break;
            throw Failure(path + ", line " + std::to_string(number) + ": this is no line of an undo file.");
        }
    }
    return log;
}

}  // namespace host
