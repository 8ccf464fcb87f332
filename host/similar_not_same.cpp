#include "host/similar_not_same.h"

#include <filesystem>
#include <fstream>
#include <string_view>
#include <unordered_map>

#include "host/text.h"

namespace host {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBetween = "<>";
constexpr std::string_view kBlanks = " \t\r";

/// Finds contacts by identifier or place.
class CContactNames {
  public:
    explicit CContactNames(const TSimilarResult& result) : m_result(result) {
        for (uint32_t i = 0; i < result.contacts.size(); ++i)
            m_byId.try_emplace(result.contacts[i].entryId, i);
    }

    /// How many there are; *contact is one of them.
    size_t Find(const std::string& name, uint32_t* contact) const {
        if (const auto known = m_byId.find(name); known != m_byId.end()) {
            *contact = known->second;
            return 1;
        }
        if (name.find('#') == std::string::npos) return 0;
        size_t found = 0;
        for (uint32_t i = 0; i < m_result.contacts.size(); ++i) {
            if (!IsPlace(Place(m_result.catalog, m_result.contacts[i]), name)) continue;
            *contact = i;
            ++found;
        }
        return found;
    }

  private:
    /// A whole place, or its tail.
    static bool IsPlace(const std::string& place, const std::string& name) {
        if (name.size() >= place.size()) return EqualNoCase(place, name);
        const size_t begin = place.size() - name.size();
        return place[begin - 1] == '/' && EqualNoCase(place.substr(begin), name);
    }

    const TSimilarResult& m_result;
    std::unordered_map<std::string, uint32_t> m_byId;
};

std::string_view Trimmed(std::string_view text) {
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

}  // namespace

void ReadNotSame(const std::string& path, TSimilarResult* result) {
    std::ifstream stream(std::filesystem::path(Widen(path)), std::ios::binary);
    if (!stream) throw TFailure("The file \"" + path + "\" cannot be read.");
    const CContactNames known(*result);
    std::string line;
    for (size_t number = 1; std::getline(stream, line); ++number) {
        const auto refuse = [&](const std::string& why) {
            throw TFailure("Line " + std::to_string(number) + " of \"" + path + "\" " + why);
        };
        if (number == 1 && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
        std::string_view rest = Trimmed(line);
        if (rest.empty() || rest.starts_with('#')) continue;
        if (rest.find(kBetween) == std::string_view::npos)
            refuse("names no two contacts with \"<>\" between them.");
        std::vector<uint32_t> contacts;
        for (bool isLast = false; !isLast;) {
            const size_t end = rest.find(kBetween);
            isLast = end == std::string_view::npos;
            const std::string name(Trimmed(rest.substr(0, end)));
            if (!isLast) rest.remove_prefix(end + kBetween.size());
            if (name.empty()) refuse("lacks a contact beside a \"<>\".");
            uint32_t contact = 0;
            const size_t found = known.Find(name, &contact);
            if (found > 1) refuse("has \"" + name + "\", which several contacts are; give the whole path.");
            if (found == 1)
                contacts.push_back(contact);
            else
                ++result->unknown;
        }
        for (size_t i = 0; i < contacts.size(); ++i)
            for (size_t k = 0; k < i; ++k)
                if (contacts[i] != contacts[k]) result->notSame.insert(std::minmax(contacts[i], contacts[k]));
    }
    if (stream.bad()) throw TFailure("The file \"" + path + "\" cannot be read.");
}

std::string NotSameLine(const TSimilarResult& result, const TCluster& cluster) {
    std::string line;
    for (const uint32_t contact : cluster.contacts)
        line += (line.empty() ? "" : " <> ") + result.contacts[contact].entryId;
    return line;
}

}  // namespace host
