#include "host/scan.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <unordered_map>

#include "host/attachments.h"
#include "host/identity.h"
#include "host/keep_reason.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

constexpr struct {
    Keep::Rule rule;
    const char* name;
    EOriginalKind kind;
} kKeeps[] = {
    {Keep::Rule::MostFilled, "most-filled", okMostFilled},
    {Keep::Rule::First, "first", okCallerOrder},
    {Keep::Rule::Last, "last", okCallerOrder},
    {Keep::Rule::LargestValues, "largest-values", okLargestValues},
    {Keep::Rule::Largest, "largest", okLargestItem},
    {Keep::Rule::Field, "field", okFieldValue},
    {Keep::Rule::Recurrence, "recurrence", okApntRecurrence},
    {Keep::Rule::CrmId, "crm-id", okHasCrmId},
};

// Rule 4 of the exceptions works only while these are compared.
constexpr unsigned kFirstLastRule = 4;
constexpr const char* kFirstLastNeeds[] = {"Contact.FirstName", "Contact.LastName", "Contact.AnyEmail",
                                           "Contact.AnyPhone"};

struct SearchDeleter {
    using pointer = HSearch;
    void operator()(HSearch search) const { Search_Delete(search); }
};
using Search = std::unique_ptr<HSearch, SearchDeleter>;

EOriginalKind KindOfKeep(const Keep& keep) {
    for (const auto& row : kKeeps) {
        if (row.rule == keep.rule) return row.kind;
    }
    return okMostFilled;
}

size_t FieldIndex(const Definitions& definitions, const std::string& name) {
    std::vector<std::string> known;
    for (size_t i = 0; i < definitions.properties.size(); ++i) {
        const CatalogueEntry& property = *definitions.properties[i].property;
        if (EqualNoCase(name, property.key) || EqualNoCase(name, Narrow(property.name))) return i;
        known.emplace_back(property.key);
    }
    throw Failure("--keep field=" + name + ": the definitions of " + KindName(definitions.kind) +
                  " items have no such property." + Suggestion(name, known));
}

// One search: the groups as indexes into items, and the items that could not be read.
struct SearchOutcome {
    std::vector<std::vector<size_t>> groups;
    std::vector<size_t> unreadable;
};

std::string KeyOf(const std::string& entryId, const std::string& storeId) {
    return entryId + '|' + storeId;
}

// The two-call protocol of the identifier getters.
template <typename Getter>
std::string ReadKey(Getter getter) {
    unsigned entrySize = 0;
    unsigned storeSize = 0;
    getter(nullptr, &entrySize, nullptr, &storeSize);
    std::string entryId(entrySize, '\0');
    std::string storeId(storeSize, '\0');
    getter(entryId.data(), &entrySize, storeId.data(), &storeSize);
    entryId.resize(entrySize ? entrySize - 1 : 0);
    storeId.resize(storeSize ? storeSize - 1 : 0);
    return KeyOf(entryId, storeId);
}

SearchOutcome RunSearch(IMAPISession* session, const ScanResult& scan, const KindScan& kind,
                        const Definitions& definitions, Progress& progress) {
    PropertyList properties(definitions);
    const std::wstring wanted = Widen(kind.keep.text);
    TOriginalDefinition original{};
    original.nKind = static_cast<unsigned>(KindOfKeep(kind.keep));
    original.nFieldType = PT_UNICODE;
    original.lpszValue = wanted.c_str();
    if (kind.keep.rule == Keep::Rule::Field) {
        original.nField = static_cast<unsigned>(FieldIndex(definitions, kind.keep.field));
    }
    std::vector<unsigned> rules = definitions.exceptions;
    const Search search(Search_Create2(session, properties.get(), &original,
                                       static_cast<unsigned>(definitions.algorithm), definitions.grouped,
                                       rules.data(), static_cast<unsigned>(rules.size())));
    if (!search) throw Failure("The search cannot be created.");

    SearchOutcome outcome;
    std::unordered_map<std::string, size_t> byKey;
    const std::string what = std::string(KindName(kind.kind)) + " items compared";
    for (size_t i = 0; i < kind.items.size(); ++i) {
        const Item& item = scan.items[kind.items[i]];
        const std::string& storeId = scan.catalog.stores[scan.catalog.folders[item.folder].store].entryId;
        unsigned found = 0;
        // The lower rank is kept: counting down keeps the last.
        const unsigned rank =
            kind.keep.rule == Keep::Rule::Last ? static_cast<unsigned>(kind.items.size() - i) : 0;
        if (Search_Add(search.get(), item.entryId.c_str(), storeId.c_str(), &found, rank)) {
            byKey.emplace(KeyOf(item.entryId, storeId), kind.items[i]);
        } else {
            outcome.unreadable.push_back(kind.items[i]);
        }
        progress(what, i + 1, kind.items.size());
        StopIfInterrupted();
    }
    if (!Search_Build(search.get())) throw Failure("Grouping the duplicates failed; --log FILE tells more.");

    const int groups = static_cast<int>(Search_GetOriginalCount(search.get()));
    for (int i = 0; i < groups; ++i) {
        std::vector<size_t> group;
        group.push_back(
            byKey.at(ReadKey([&](char* entry, unsigned* entrySize, char* store, unsigned* storeSize) {
                Search_GetOriginal(search.get(), i, entry, entrySize, store, storeSize);
            })));
        const int duplicates = static_cast<int>(Search_GetDuplicateCount(search.get(), i));
        for (int j = 0; j < duplicates; ++j) {
            group.push_back(
                byKey.at(ReadKey([&](char* entry, unsigned* entrySize, char* store, unsigned* storeSize) {
                    Search_GetDuplicate(search.get(), i, j, entry, entrySize, store, storeSize);
                })));
        }
        outcome.groups.push_back(std::move(group));
    }
    return outcome;
}

// A group of the search, parted by what the attachments hold where the definitions say so.
std::vector<std::vector<size_t>> Parts(IMAPISession* session, const ScanResult& result, const KindScan& scan,
                                       const std::vector<size_t>& group) {
    if (!scan.definitions.attachments) return {group};
    return PartByAttachments(session, result.catalog, result.items, group);
}

// Takes over a group of the search. Copies that only their attachments keep from the first are near pairs;
// items that nothing identifies are no duplicates.
void AddGroup(IMAPISession* session, ScanResult& result, size_t scanIndex, const std::vector<size_t>& group) {
    KindScan& scan = result.scans[scanIndex];
    if (!HasIdentity(session, result.catalog, result.items[group.front()], scan.definitions)) {
        scan.unidentified.insert(scan.unidentified.end(), group.begin(), group.end());
        return;
    }
    for (std::vector<size_t>& part : Parts(session, result, scan, group)) {
        if (part.front() != group.front()) {
            result.nearPairs.push_back(NearPair{scanIndex, group.front(), part.front(), "Attachments"});
        }
        if (part.size() < 2) continue;
        std::string reason =
            KeepReason(session, result.catalog, result.items, part, scan.definitions, scan.keep);
        result.groups.push_back(Group{scanIndex, std::move(part), std::move(reason)});
    }
}

// The kind's definitions less one property, and less the exception rule that would need it.
Definitions Without(const Definitions& definitions, size_t left) {
    Definitions fewer = definitions;
    fewer.properties.erase(fewer.properties.begin() + static_cast<std::ptrdiff_t>(left));
    const auto needs = [&](const char* key) {
        return EqualNoCase(definitions.properties[left].property->key, key);
    };
    if (std::any_of(std::begin(kFirstLastNeeds), std::end(kFirstLastNeeds), needs)) {
        std::erase(fewer.exceptions, kFirstLastRule);
    }
    return fewer;
}

// The pairs that become equal once one property is left out. A group stands for its items: a pair is told
// once, between the copies to keep.
void FindNear(IMAPISession* session, ScanResult& result, size_t scanIndex, Progress& progress) {
    const KindScan& scan = result.scans[scanIndex];
    std::unordered_map<size_t, size_t> head;
    for (const Group& group : result.groups) {
        for (const size_t item : group.items) head[item] = group.items.front();
    }
    for (const size_t item : scan.unidentified) head[item] = scan.unidentified.front();
    const auto headOf = [&](size_t item) {
        const auto found = head.find(item);
        return found == head.end() ? item : found->second;
    };
    for (size_t left = 0; left < scan.definitions.properties.size(); ++left) {
        if (!scan.definitions.properties[left].compare) continue;
        const Definitions fewer = Without(scan.definitions, left);
        if (std::none_of(fewer.properties.begin(), fewer.properties.end(),
                         [](const PropertyChoice& other) { return other.compare; })) {
            continue;
        }
        KindScan again = scan;
        if (again.keep.rule == Keep::Rule::Field) again.keep = Keep{};
        std::set<std::pair<size_t, size_t>> told;
        for (const std::vector<size_t>& group : RunSearch(session, result, again, fewer, progress).groups) {
            if (!HasIdentity(session, result.catalog, result.items[group.front()], fewer)) continue;
            for (const std::vector<size_t>& part : Parts(session, result, scan, group)) {
                for (const size_t item : part) {
                    const std::pair<size_t, size_t> pair{headOf(part.front()), headOf(item)};
                    if (pair.first == pair.second || !told.insert(pair).second) continue;
                    result.nearPairs.push_back(
                        NearPair{scanIndex, pair.first, pair.second,
                                 Narrow(scan.definitions.properties[left].property->name)});
                }
            }
        }
    }
}

std::vector<size_t> ChooseFolders(const Catalog& catalog, const ScanOptions& options) {
    std::vector<size_t> chosen;
    if (options.folders.empty()) {
        for (size_t i = 0; i < catalog.folders.size(); ++i) chosen.push_back(i);
        return chosen;
    }
    for (const std::string& path : options.folders) {
        for (const size_t folder : FindFolders(catalog, path)) {
            if (std::find(chosen.begin(), chosen.end(), folder) == chosen.end()) chosen.push_back(folder);
        }
    }
    return chosen;
}

// What is scanned for one kind; no folders when there is nothing.
KindScan PlanKind(const Catalog& catalog, Kind kind, const std::vector<size_t>& folders,
                  const ScanOptions& options) {
    KindScan scan;
    scan.kind = kind;
    for (const size_t folder : folders) {
        if (catalog.folders[folder].kind == kind) scan.folders.push_back(folder);
    }
    if (scan.folders.empty()) return scan;
    scan.definitions = LoadDefinitions(options.definitionsFile.empty()
                                           ? BuiltInDefinitions(kind)
                                           : std::filesystem::path(Widen(options.definitionsFile)));
    if (options.algorithm) scan.definitions.algorithm = *options.algorithm;
    for (const std::string& rule : options.except) {
        const unsigned number = ExceptionRule(rule);
        if (std::find(scan.definitions.exceptions.begin(), scan.definitions.exceptions.end(), number) ==
            scan.definitions.exceptions.end()) {
            scan.definitions.exceptions.push_back(number);
        }
    }
    scan.keep = KeepOf(options.keep.empty() ? scan.definitions.keep : options.keep);
    if (scan.keep.rule == Keep::Rule::Field) FieldIndex(scan.definitions, scan.keep.field);
    return scan;
}

std::vector<Kind> ChooseKinds(const ScanOptions& options) {
    if (!options.definitionsFile.empty()) {
        const Kind kind = LoadDefinitions(Widen(options.definitionsFile)).kind;
        if (!options.kinds.empty() && options.kinds != std::vector<Kind>{kind}) {
            throw Failure("The definitions file is for " + std::string(KindName(kind)) + " items.");
        }
        return {kind};
    }
    if (!options.kinds.empty()) return options.kinds;
    return {std::begin(kScannedKinds), std::end(kScannedKinds)};
}

}  // namespace

Keep KeepOf(const std::string& text) {
    std::string names;
    for (const auto& row : kKeeps) {
        if (row.rule == Keep::Rule::Field) continue;
        if (EqualNoCase(text, row.name)) return Keep{row.rule, {}, {}};
        names += std::string(row.name) + ", ";
    }
    if (text.rfind("field=", 0) == 0) {
        const size_t colon = text.find(':', 6);
        if (colon != std::string::npos && colon > 6 && colon + 1 < text.size()) {
            return Keep{Keep::Rule::Field, text.substr(6, colon - 6), text.substr(colon + 1)};
        }
    }
    throw Failure("\"" + text + "\" does not say which copy to keep; allowed are " + names +
                  "field=NAME:TEXT.");
}

std::string KeepText(const Keep& keep) {
    for (const auto& row : kKeeps) {
        if (row.rule != keep.rule) continue;
        return keep.rule == Keep::Rule::Field ? "field=" + keep.field + ":" + keep.text : row.name;
    }
    return {};
}

size_t ScanResult::Duplicates() const {
    size_t count = 0;
    for (const Group& group : groups) count += group.items.size() - 1;
    return count;
}

unsigned long long ScanResult::DuplicateBytes() const {
    unsigned long long bytes = 0;
    for (const Group& group : groups) {
        for (size_t i = 1; i < group.items.size(); ++i) bytes += items[group.items[i]].size;
    }
    return bytes;
}

ScanResult Scan(IMAPISession* session, const ScanOptions& options, Progress& progress) {
    const auto start = std::chrono::steady_clock::now();
    ScanResult result;
    result.catalog = ReadCatalog(session);
    const std::vector<size_t> folders = ChooseFolders(result.catalog, options);
    for (const Kind kind : ChooseKinds(options)) {
        KindScan scan = PlanKind(result.catalog, kind, folders, options);
        if (!scan.folders.empty()) result.scans.push_back(std::move(scan));
    }
    if (result.scans.empty()) throw Failure("There is no folder of the kinds that are to be scanned.");
    for (size_t i = 0; i < result.scans.size(); ++i) {
        KindScan& scan = result.scans[i];
        for (const size_t folder : scan.folders) {
            const size_t first = result.items.size();
            ReadItems(session, result.catalog, folder, result.items);
            for (size_t item = first; item < result.items.size(); ++item) scan.items.push_back(item);
        }
        SearchOutcome outcome = RunSearch(session, result, scan, scan.definitions, progress);
        scan.unreadable = std::move(outcome.unreadable);
        for (const std::vector<size_t>& group : outcome.groups) AddGroup(session, result, i, group);
        if (options.findNear) FindNear(session, result, i, progress);
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

}  // namespace host
