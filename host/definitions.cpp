#include "host/definitions.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "host/text.h"

namespace host {

namespace {

using nlohmann::json;

constexpr struct {
    const char* name;
    ECompareMethod method;
} kMethods[] = {
    {"exact", cmExact},
    {"within-10-minutes", cmTimeWithin10Min},
    {"within-a-day", cmTimeWithinDay},
    {"all-day-subject", cmApntAlldaylikeSubject},
    {"last7digits", cmLast7Digits},
    {"day-and-month", cmDayAndMonth},
    {"all-day-start", cmApntAlldaylikeStart},
    {"recipients", cmRecipients},
    {"approximate-start", cmApntApproxStart},
};

constexpr const char* kRules[] = {
    "cleApntSubject",
    "cleContCompanyContact",
    "cleContFirstLastOnDiffSides",
    "cleContFirstLast",
    "cleTaskSubjectEmptyOnOneSide",
    "cleTaskStartAndDueOnDiffSides",
    "cleMailSubjectEmptyOnOneSide",
    "cleJrnlSubjectEmptyOnOneSide",
    "cleJrnlSubjectEmptyOnBothSides",
};

std::string Joined(const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    }
    return text;
}

std::vector<std::string> MethodNames() {
    std::vector<std::string> names;
    for (const auto& row : kMethods) names.emplace_back(row.name);
    return names;
}

// One file while it is read: its text tells the line of what is wrong.
class CReader {
  public:
    CReader(std::string name, std::string text) : m_name(std::move(name)), m_text(std::move(text)) {}

    TDefinitions Read();

  private:
    [[noreturn]] void Fail(size_t offset, const std::string& what) const {
        const auto end = m_text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, m_text.size()));
        const auto line = 1 + std::count(m_text.begin(), end, '\n');
        throw TFailure(m_name + ", line " + std::to_string(line) + ": " + what + ".");
    }

    // Where a text stands in quotes, looked for from the place of the last one found.
    size_t Find(const std::string& text) {
        const std::string quoted = json(text).dump();
        size_t at = m_text.find(quoted, m_nAt);
        if (at == std::string::npos) at = m_text.find(quoted);
        if (at == std::string::npos) at = m_nAt;
        m_nAt = at;
        return at;
    }

    void CheckMembers(const json& object, const std::vector<std::string>& allowed) {
        for (const auto& [name, value] : object.items()) {
            if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
                Fail(Find(name), "\"" + name + "\" is unknown here; allowed are " + Joined(allowed));
            }
        }
    }

    std::string Text(const json& object, const char* member) {
        const auto found = object.find(member);
        if (found == object.end()) return {};
        if (!found->is_string()) Fail(Find(member), std::string("\"") + member + "\" is a text");
        return found->get<std::string>();
    }

    bool Flag(const json& object, const char* member, bool otherwise) {
        const auto found = object.find(member);
        if (found == object.end()) return otherwise;
        if (!found->is_boolean()) Fail(Find(member), std::string("\"") + member + "\" is true or false");
        return found->get<bool>();
    }

    json List(const json& object, const char* member) {
        const auto found = object.find(member);
        if (found == object.end()) return json::array();
        if (!found->is_array()) Fail(Find(member), std::string("\"") + member + "\" is a list");
        return *found;
    }

    // A name given to a look-up that throws Failure: the sentence gets file and line.
    template <typename LookUp>
    auto At(const json& name, LookUp lookUp) {
        const std::string text = name.get<std::string>();
        try {
            return lookUp(text);
        } catch (const TFailure& failure) {
            std::string what = failure.what();
            if (!what.empty() && what.back() == '.') what.pop_back();
            Fail(Find(text), what);
        }
    }

    template <typename LookUp>
    auto Checked(const char* member, const json& object, LookUp lookUp) {
        const std::string text = Text(object, member);
        if (text.empty()) Fail(Find(member), std::string("\"") + member + "\" is missing");
        return At(json(text), lookUp);
    }

    TPropertyChoice ReadChoice(const json& entry) {
        if (!entry.is_object()) Fail(Find("properties"), "every entry of \"properties\" is an object");
        CheckMembers(entry, {"property", "method", "compare", "identifies", "group", "why"});
        TPropertyChoice choice{};
        choice.property = Checked("property", entry, [](const std::string& key) {
            const TCatalogueEntry* property = FindProperty(key);
            if (property) return property;
            std::vector<std::string> keys;
            for (const TCatalogueEntry& known : Catalogue()) keys.emplace_back(known.key);
            throw TFailure("\"" + key + "\" is no property;" + Suggestion(key, keys) + " allowed are " +
                           Joined(keys));
        });
        choice.method = cmExact;
        if (entry.contains("method")) {
            choice.method = Checked("method", entry, [](const std::string& name) {
                for (const auto& row : kMethods) {
                    if (EqualNoCase(name, row.name)) return row.method;
                }
                throw TFailure("\"" + name + "\" is no method; allowed are " + Joined(MethodNames()));
            });
        }
        choice.compare = Flag(entry, "compare", true);
        choice.identifies = Flag(entry, "identifies", true);
        if (const auto group = entry.find("group"); group != entry.end()) {
            if (!group->is_number_integer()) Fail(Find("group"), "\"group\" is a number");
            choice.group = group->get<int>();
        }
        choice.why = Text(entry, "why");
        return choice;
    }

    std::string m_name;
    std::string m_text;
    size_t m_nAt = 0;
};

TDefinitions CReader::Read() {
    json document;
    try {
        document = json::parse(m_text);
    } catch (const json::parse_error& error) {
        Fail(error.byte == 0 ? 0 : error.byte - 1, "this is not JSON");
    }
    if (!document.is_object()) Fail(0, "the file holds one object");
    CheckMembers(document, {"kind", "about", "algorithm", "grouped", "attachments", "keep", "exceptions",
                            "properties"});
    TDefinitions definitions;
    definitions.kind = Checked("kind", document, [](const std::string& name) { return KindOf(name); });
    definitions.about = Text(document, "about");
    if (document.contains("algorithm")) definitions.algorithm = Checked("algorithm", document, AlgorithmOf);
    definitions.grouped = Flag(document, "grouped", false);
    definitions.attachments = Flag(document, "attachments", false);
    if (const auto keep = document.find("keep"); keep != document.end() && keep->is_array()) {
        for (const json& rule : *keep) {
            if (!rule.is_string()) Fail(Find("keep"), "\"keep\" is the name of a rule, or a list of names");
            definitions.keep.push_back(rule.get<std::string>());
        }
    } else {
        definitions.keep = {document.contains("keep") ? Text(document, "keep") : "most-filled"};
    }
    for (const json& name : List(document, "exceptions")) {
        if (!name.is_string()) Fail(Find("exceptions"), "\"exceptions\" is a list of names");
        definitions.exceptions.push_back(At(name, ExceptionRule));
    }
    for (const json& entry : List(document, "properties"))
        definitions.properties.push_back(ReadChoice(entry));
    if (std::none_of(definitions.properties.begin(), definitions.properties.end(),
                     [](const TPropertyChoice& choice) { return choice.compare; })) {
        Fail(Find("properties"), "at least one property has to be compared");
    }
    return definitions;
}

}  // namespace

TDefinitions LoadDefinitions(const std::filesystem::path& file) {
    const std::string name = Narrow(file.wstring());
    std::ifstream stream(file, std::ios::binary);
    std::stringstream text;
    text << stream.rdbuf();
    if (!stream) throw TFailure("The definitions file \"" + name + "\" cannot be read.");
    return ParseDefinitions(name, text.str());
}

TDefinitions ParseDefinitions(const std::string& name, std::string text) {
    return CReader(name, std::move(text)).Read();
}

std::string DefinitionsText(const TDefinitions& definitions) {
    nlohmann::ordered_json text;
    text["kind"] = KindName(definitions.kind);
    text["algorithm"] = definitions.algorithm == saIdentical ? "identical" : "similar";
    text["grouped"] = definitions.grouped;
    text["attachments"] = definitions.attachments;
    text["keep"] = definitions.keep;
    text["exceptions"] = json::array();
    for (const unsigned rule : definitions.exceptions) text["exceptions"].push_back(kRules[rule - 1]);
    text["properties"] = json::array();
    for (const TPropertyChoice& choice : definitions.properties) {
        const auto method = std::find_if(std::begin(kMethods), std::end(kMethods),
                                         [&](const auto& row) { return row.method == choice.method; });
        text["properties"].push_back({{"property", choice.property->key},
                                      {"method", method->name},
                                      {"compare", choice.compare},
                                      {"identifies", choice.identifies},
                                      {"group", choice.group}});
    }
    return text.dump();
}

std::filesystem::path BuiltInFile(const std::string& name) {
    wchar_t program[MAX_PATH * 4];
    const DWORD length = GetModuleFileNameW(nullptr, program, static_cast<DWORD>(std::size(program)));
    const std::filesystem::path folder = std::filesystem::path(std::wstring(program, length)).parent_path();
    return folder / "definitions" / name;
}

std::filesystem::path BuiltInDefinitions(EKind kind) {
    return BuiltInFile(std::string(KindName(kind)) + ".json");
}

unsigned ExceptionRule(const std::string& name) {
    for (unsigned i = 0; i < std::size(kRules); ++i) {
        if (EqualNoCase(name, kRules[i])) return i + 1;
    }
    throw TFailure("\"" + name + "\" is no exception rule; allowed are " +
                   Joined({std::begin(kRules), std::end(kRules)}) + ".");
}

ESearchAlgorithm AlgorithmOf(const std::string& name) {
    if (EqualNoCase(name, "similar")) return saSimilar;
    if (EqualNoCase(name, "identical")) return saIdentical;
    throw TFailure("\"" + name + "\" is no algorithm: similar or identical.");
}

CPropertyList::CPropertyList(const TDefinitions& definitions) {
    for (const TPropertyChoice& choice : definitions.properties) {
        const TCatalogueEntry& property = *choice.property;
        TComparyProp entry{};
        entry.lpszKey = property.keyW;
        entry.lpszName = property.name;
        entry.ulPropTag = property.tag;
        entry.lpszGuid = property.set;
        entry.nID = property.id;
        entry.lpszID = property.stringId;
        entry.nType = property.type;
        entry.nInterface = property.stream ? 1 : 0;
        entry.bCompare = choice.compare;
        entry.nCompareMethod = static_cast<unsigned>(choice.method);
        entry.nGroup = choice.group;
        m_entries.push_back(entry);
    }
    m_list.n = static_cast<int>(m_entries.size());
    m_list.lpProps = m_entries.data();
}

}  // namespace host
