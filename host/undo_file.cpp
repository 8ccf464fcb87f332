#include "host/undo_file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "host/text.h"

namespace host {

namespace {
using json = nlohmann::ordered_json;
constexpr char kFormat[] = "quorvel-undo";
constexpr int kVersion = 3;

constexpr struct {
    const char* name;
    std::string TUndoMove::*member;
} kMembers[] = {
    {"entryId", &TUndoMove::entryId},
    {"searchKey", &TUndoMove::searchKey},
    {"title", &TUndoMove::title},
    {"folder", &TUndoMove::folder},
    {"folderId", &TUndoMove::folderId},
    {"storeId", &TUndoMove::storeId},
    {"targetFolderId", &TUndoMove::targetFolderId},
};

json ToJson(const TRawValue& value) {
    json object{{"type", value.type}, {"parts", json::array()}};
    for (const std::string& part : value.parts) object["parts"].push_back(Hex(part.data(), part.size()));
    return object;
}

TRawValue RawFrom(const json& object) {
    TRawValue value{object.at("type").get<ULONG>(), {}};
    for (const json& part : object.at("parts")) value.parts.push_back(FromHex(part.get<std::string>()));
    if (!IsWhole(value)) throw std::out_of_range("parts");
    return value;
}

json ToJson(const TUndoMerge& merge) {
    json object{{"entryId", merge.entryId}, {"storeId", merge.storeId}, {"title", merge.title},
                {"folder", merge.folder},   {"values", json::array()},  {"attachments", json::array()},
                {"from", json::array()}};
    for (const TUndoValue& value : merge.values) {
        object["values"].push_back({{"property", value.property},
                                    {"name", value.name},
                                    {"was", ToJson(value.was)},
                                    {"is", ToJson(value.is)}});
    }
    for (const TUndoAttachment& one : merge.attachments) {
        object["attachments"].push_back(
            {{"name", one.name}, {"mark", one.mark}, {"had", one.had}, {"added", one.added}});
    }
    for (const TUndoSource& one : merge.from)
        object["from"].push_back({{"entryId", one.entryId}, {"storeId", one.storeId}});
    return object;
}

TUndoMerge MergeFrom(const json& object) {
    const auto text = [](const json& from, const char* name) { return from.at(name).get<std::string>(); };
    TUndoMerge merge{text(object, "entryId"),
                     text(object, "storeId"),
                     OneLine(text(object, "title")),
                     OneLine(text(object, "folder")),
                     {},
                     {},
                     {}};
    for (const json& value : object.at("values")) {
        merge.values.push_back({text(value, "property"), OneLine(text(value, "name")),
                                RawFrom(value.at("was")), RawFrom(value.at("is"))});
    }
    for (const json& one : object.at("attachments")) {
        merge.attachments.push_back({OneLine(text(one, "name")), text(one, "mark"),
                                     one.at("had").get<size_t>(), one.at("added").get<size_t>()});
    }
    for (const json& one : object.value("from", json::array()))
        merge.from.push_back({text(one, "entryId"), text(one, "storeId")});
    return merge;
}

// 64-bit FNV-1a over the check of the line before and this line's text: against accidents, not against
// malice.
std::string CheckOf(const std::string& before, const std::string& line) {
    unsigned long long hash = 0xCBF29CE484222325u;
    for (const std::string* text : {&before, &line}) {
        for (const char c : *text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    }
    char text[20];
    snprintf(text, sizeof text, "%016llX", hash);
    return text;
}

std::string FirstLine() {
    return json{{"format", kFormat}, {"version", kVersion}}.dump();
}

std::string Dump(const json& object) {
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

// What a file says, line by line. Throws what the JSON library throws, or std::out_of_range, for a line that
// is none of ours.
class CReader {
  public:
    void Line(const std::string& line);
    TUndoLog log;
    std::string check;

  private:
    void Check(json& object);
    void Move(const json& move);
    void Moved(const json& moved);
    TUndoTarget& Target(const json& target);

    int m_nVersion = 0;
};

void CReader::Line(const std::string& line) {
    json object = json::parse(line);
    if (m_nVersion == 0) {
        m_nVersion = object.at("version").get<int>();
        if (object.at("format") != kFormat || m_nVersion < 1 || m_nVersion > kVersion)
            throw std::out_of_range("format");
        check = CheckOf({}, line);
        log.isEnded = m_nVersion == 1;  // which does not say
        return;
    }
    if (m_nVersion > 1)
        Check(object);
    else
        object.erase("check");
    if (object.size() != 1) throw std::out_of_range("members");
    const json::const_iterator member = object.begin();
    if (member.key() == "move") {
        Move(*member);
    } else if (member.key() == "merge") {
        log.merges.push_back(MergeFrom(*member));
    } else if (member.key() == "moved") {
        Moved(*member);
    } else if (member.key() == "target") {
        TUndoTarget& target = Target(*member);
        target.isMade = member->at("made").get<bool>();
        target.had = member->at("had").get<decltype(target.had)>();
    } else if (member.key() == "madeFolder") {
        Target(*member).isMade = true;
    } else if (member.key() == "end") {
        log.isEnded = true;
    } else if (member.key() == "back") {
        log.moves.at(member->get<size_t>()).isBack = true;
    } else {
        throw std::out_of_range("member");
    }
}

void CReader::Check(json& object) {
    const std::string has = object.at("check").get<std::string>();
    object.erase("check");
    check = CheckOf(check, Dump(object));
    if (has != check) throw std::out_of_range("check");
}

void CReader::Move(const json& move) {
    TUndoMove read;
    for (const auto& row : kMembers) read.*row.member = OneLine(move.at(row.name).get<std::string>());
    log.moves.push_back(std::move(read));
}

void CReader::Moved(const json& moved) {
    if (m_nVersion == 1) {
        if (log.moves.empty()) throw std::out_of_range("moved");
        log.moves.back().newEntryId = moved.get<std::string>();
    } else {
        log.moves.at(moved.at("move").get<size_t>()).newEntryId = moved.at("newEntryId").get<std::string>();
    }
}

TUndoTarget& CReader::Target(const json& target) {
    log.targets.push_back(TUndoTarget{
        target.at("storeId").get<std::string>(), target.at("folderId").get<std::string>(), false, {}});
    return log.targets.back();
}

// An identifier that stands twice tells of neither item where it is.
void ForgetRepeated(std::vector<TUndoMove>& moves) {
    std::map<std::string, size_t> seen;
    for (const TUndoMove& move : moves) ++seen[move.newEntryId];
    for (TUndoMove& move : moves) {
        if (seen[move.newEntryId] > 1) move.newEntryId.clear();
    }
}

// Reads the whole lines of a file; gives the bytes that they take.
std::streamoff ReadLines(const std::string& path, CReader& reader) {
    std::ifstream stream(std::filesystem::path(Widen(path)), std::ios::binary);
    if (!stream) throw TFailure("The undo file \"" + path + "\" cannot be read.");
    std::streamoff size = 0;
    std::string line;
    for (size_t number = 1; std::getline(stream, line); ++number) {
        // No line break: the program ended while it wrote.
        if (stream.eof() && (number > 1 || FirstLine().starts_with(line))) break;
        try {
            reader.Line(line);
        } catch (const std::exception&) {
            throw TFailure(path + ", line " + std::to_string(number) +
                           (number == 1 ? ": this is no undo file of this version; nothing was moved."
                                        : ": this is not as it was written; nothing was moved."));
        }
        size += static_cast<std::streamoff>(line.size()) + 1;
    }
    return size;
}

HANDLE MakeNew(const std::string& path) {
    return CreateFileW(Widen(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr);
}

std::string TimedName(int turn) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char name[64];
    snprintf(name, sizeof name, "quorvel-undo-%04u%02u%02u-%02u%02u%02u", now.wYear, now.wMonth, now.wDay,
             now.wHour, now.wMinute, now.wSecond);
    return name + (turn == 1 ? std::string() : "-" + std::to_string(turn)) + ".jsonl";
}

}  // namespace

CUndoWriter CUndoWriter::Create(const std::string& path) {
    std::string name = path.empty() ? TimedName(1) : path;
    File file(MakeNew(name));
    for (int turn = 2; path.empty() && file.get() == INVALID_HANDLE_VALUE &&
                       GetLastError() == ERROR_FILE_EXISTS && turn < 10000;
         ++turn) {
        name = TimedName(turn);
        file.reset(MakeNew(name));
    }
    if (file.get() == INVALID_HANDLE_VALUE) {
        throw TFailure("The undo file \"" + name + "\" exists already or cannot be made; nothing was moved.");
    }
    CUndoWriter writer(name, std::move(file), {});
    writer.Write(FirstLine(), true);
    return writer;
}

CUndoWriter CUndoWriter::Continue(const std::string& path) {
    CReader reader;
    LARGE_INTEGER end{};
    end.QuadPart = ReadLines(path, reader);
    File file(
        CreateFileW(Widen(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    if (file.get() == INVALID_HANDLE_VALUE || !SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) ||
        !SetEndOfFile(file.get())) {
        throw TFailure("The undo file \"" + path + "\" cannot be written; nothing was moved.");
    }
    return {path, std::move(file), reader.check};
}

void CUndoWriter::Write(const std::string& line, bool isUrgent) {
    // Behind a line that is not whole nothing more can follow.
    if (!m_file) throw TFailure("The undo file \"" + m_path + "\" cannot be written.");
    const std::string check = CheckOf(m_check, line);
    // The first line says what the file is, and needs no check of its own.
    const std::string whole =
        (m_check.empty() ? line : line.substr(0, line.size() - 1) + ",\"check\":\"" + check + "\"}") + "\n";
    DWORD written = 0;
    if (!WriteFile(m_file.get(), whole.data(), static_cast<DWORD>(whole.size()), &written, nullptr) ||
        written != whole.size() || (isUrgent && !FlushFileBuffers(m_file.get()))) {
        m_file.reset();
        throw TFailure("The undo file \"" + m_path + "\" cannot be written.");
    }
    m_check = check;
}

void CUndoWriter::Target(const TUndoTarget& target) {
    Write(Dump(json{{"target",
                     {{"storeId", target.storeId},
                      {"folderId", target.folderId},
                      {"made", target.isMade},
                      {"had", target.had}}}}),
          true);
}

void CUndoWriter::WillMerge(const TUndoMerge& merge) {
    Write(Dump(json{{"merge", ToJson(merge)}}), true);
}

void CUndoWriter::WillMove(const TUndoMove& move) {
    json object;
    for (const auto& row : kMembers) object[row.name] = move.*row.member;
    Write(Dump(json{{"move", object}}), true);
}

void CUndoWriter::Moved(size_t move, const std::string& newEntryId) {
    Write(Dump(json{{"moved", {{"move", move}, {"newEntryId", newEntryId}}}}), false);
}

void CUndoWriter::End(bool isSaved) {
    Write(Dump(json{{"end", isSaved ? "saved" : "nothing was saved"}}), true);
}

void CUndoWriter::WillPutBack(size_t move) {
    Write(Dump(json{{"back", move}}), false);
}

TUndoLog ReadUndoFile(const std::string& path) {
    CReader reader;
    ReadLines(path, reader);
    ForgetRepeated(reader.log.moves);
    return reader.log;
}

}  // namespace host
