#include "host/scan.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <unordered_map>

#include "host/duplicate_search.h"
#include "host/groups.h"
#include "host/identity.h"
#include "host/merge_plan.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

// Rule 4 of the exceptions works only while these are compared.
constexpr unsigned kFirstLastRule = 4;
constexpr const char* kFirstLastNeeds[] = {"Contact.FirstName", "Contact.LastName", "Contact.AnyEmail",
                                           "Contact.AnyPhone"};

std::vector<TSearchItem> Searched(const TScanResult& result, const TKindScan& scan) {
    std::vector<TSearchItem> searched;
    searched.reserve(scan.items.size());
    for (const size_t item : scan.items)
        searched.push_back({item, PlaceRank(result.catalog, result.policy, result.items[item])});
    return searched;
}

}  // namespace

TDefinitions WithoutProperty(const TDefinitions& definitions, size_t left) {
    TDefinitions fewer = definitions;
    fewer.properties.erase(fewer.properties.begin() + static_cast<std::ptrdiff_t>(left));
    const auto needs = [&](const char* key) {
        return EqualNoCase(definitions.properties[left].property->key, key);
    };
    if (std::any_of(std::begin(kFirstLastNeeds), std::end(kFirstLastNeeds), needs)) {
        std::erase(fewer.exceptions, kFirstLastRule);
    }
    return fewer;
}

namespace {

// The pairs that become equal once one property is left out. A group stands for its items: a pair is shown
// once, between the copies to keep.
void FindNear(CItemReader& reader, TScanResult& result, size_t scanIndex, CProgress& progress) {
    const TKindScan& scan = result.scans[scanIndex];
    std::unordered_map<size_t, size_t> head;
    for (const TGroup& group : result.groups) {
        for (const size_t item : group.items) head[item] = group.items.front();
    }
    for (const size_t item : scan.unidentified) head[item] = scan.unidentified.front();
    for (const std::vector<size_t>& mails : scan.sentAndReceived) {
        for (const size_t item : mails) head[item] = mails.front();
    }
    const auto headOf = [&](size_t item) {
        const auto found = head.find(item);
        return found == head.end() ? item : found->second;
    };
    for (size_t left = 0; left < scan.definitions.properties.size(); ++left) {
        if (!scan.definitions.properties[left].compare) continue;
        const TDefinitions fewer = WithoutProperty(scan.definitions, left);
        if (std::none_of(fewer.properties.begin(), fewer.properties.end(),
                         [](const TPropertyChoice& other) { return other.compare; })) {
            continue;
        }
        const std::string property = Narrow(scan.definitions.properties[left].property->name);
        std::set<std::pair<size_t, size_t>> shown;
        const TSearchOutcome outcome = RunSearch(reader, fewer, result.items, Searched(result, scan),
                                                 "near pairs but for " + property, progress);
        for (const std::vector<size_t>& group : outcome.groups) {
            StopIfInterrupted();
            if (!HasIdentity(reader.session(), result.catalog, result.items[group.front()], fewer)) continue;
            for (const std::vector<size_t>& part : PartGroup(reader, result, scan, group)) {
                for (const size_t item : part) {
                    const std::pair<size_t, size_t> pair{headOf(part.front()), headOf(item)};
                    if (pair.first == pair.second || !shown.insert(pair).second) continue;
                    result.nearPairs.push_back(TNearPair{scanIndex, pair.first, pair.second, property, left});
                }
            }
        }
    }
}

std::vector<size_t> ChooseFolders(const TCatalog& catalog, const TPolicy& policy,
                                  const TScanOptions& options) {
    std::vector<size_t> chosen;
    for (size_t i = 0; i < catalog.folders.size() && options.folders.empty(); ++i) chosen.push_back(i);
    for (const std::string& path : options.folders) {
        for (const size_t folder : FindFolders(catalog, path)) {
            if (std::find(chosen.begin(), chosen.end(), folder) == chosen.end()) chosen.push_back(folder);
        }
    }
    std::erase_if(chosen, [&](size_t folder) { return policy.isSkipped[folder]; });
    return chosen;
}

// What is scanned for one kind; no folders when there is nothing.
TKindScan PlanKind(const TCatalog& catalog, EKind kind, const std::vector<size_t>& folders,
                   const TScanOptions& options) {
    TKindScan scan;
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
    for (const std::string& rule : options.policy.keep.empty() ? scan.definitions.keep : options.policy.keep)
        scan.keep.push_back(KeepOf(rule));
    // A tie falls to the most filled.
    if (std::none_of(scan.keep.begin(), scan.keep.end(), [](const TKeep& keep) {
            return keep.rule == TKeep::ERule::MostFilled || keep.rule == TKeep::ERule::First ||
                   keep.rule == TKeep::ERule::Last;
        })) {
        scan.keep.push_back(TKeep{});
    }
    CheckKeep(scan.definitions, scan.keep);
    return scan;
}

std::vector<EKind> ChooseKinds(const TScanOptions& options) {
    if (!options.definitionsFile.empty()) {
        const EKind kind = LoadDefinitions(Widen(options.definitionsFile)).kind;
        if (!options.kinds.empty() && options.kinds != std::vector<EKind>{kind}) {
            throw TFailure("The definitions file is for " + std::string(KindName(kind)) + " items.");
        }
        return {kind};
    }
    if (!options.kinds.empty()) return options.kinds;
    return {std::begin(kScannedKinds), std::end(kScannedKinds)};
}

}  // namespace

size_t TScanResult::Duplicates() const {
    size_t count = 0;
    for (const TGroup& group : groups) count += group.items.size() - 1;
    return count;
}

size_t TScanResult::Staying() const {
    size_t count = 0;
    for (const TGroup& group : groups) {
        for (const TCopyFate& fate : group.fates) count += fate.fate != EFate::Move;
    }
    return count;
}

size_t TScanResult::StayingUnmerged() const {
    size_t count = 0;
    for (const TGroup& group : groups) {
        for (const TCopyFate& fate : group.fates) {
            count += fate.fate == EFate::Protected ||
                     (fate.fate == EFate::Loss && !IsMergeable(fate.losses, false));
        }
    }
    return count;
}

unsigned long long TScanResult::DuplicateBytes() const {
    unsigned long long bytes = 0;
    for (const TGroup& group : groups) {
        for (size_t i = 1; i < group.items.size(); ++i) bytes += items[group.items[i]].size;
    }
    return bytes;
}

TScanResult Scan(IMAPISession* session, const TScanOptions& options, CProgress& progress) {
    const auto start = std::chrono::steady_clock::now();
    TScanResult result;
    result.catalog = ReadCatalog(session);
    result.policyOptions = options.policy;
    result.policy = ResolvePolicy(result.catalog, options.policy);
    const TBookkeeping bookkeeping = LoadBookkeeping();
    CItemReader reader(session, result.catalog, bookkeeping);
    const std::vector<size_t> folders = ChooseFolders(result.catalog, result.policy, options);
    for (const EKind kind : ChooseKinds(options)) {
        TKindScan scan = PlanKind(result.catalog, kind, folders, options);
        if (!scan.folders.empty()) result.scans.push_back(std::move(scan));
    }
    if (result.scans.empty()) throw TFailure("There is no folder of the kinds that are to be scanned.");
    for (size_t i = 0; i < result.scans.size(); ++i) {
        TKindScan& scan = result.scans[i];
        for (const size_t folder : scan.folders) {
            const size_t first = result.items.size();
            StopIfInterrupted();
            progress("folders listed", static_cast<size_t>(&folder - scan.folders.data()),
                     scan.folders.size());
            ReadItems(session, result.catalog, folder, result.items);
            for (size_t item = first; item < result.items.size(); ++item) scan.items.push_back(item);
        }
        const std::string kind = KindName(scan.kind);
        const TSearchOutcome outcome = RunSearch(reader, scan.definitions, result.items,
                                                 Searched(result, scan), kind + " items compared", progress);
        scan.unreadable = outcome.unreadable;
        for (size_t group = 0; group < outcome.groups.size(); ++group) {
            progress(kind + " groups verified", group, outcome.groups.size());
            StopIfInterrupted();
            AddGroup(reader, result, i, outcome.groups[group]);
        }
        if (options.findNear) FindNear(reader, result, i, progress);
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

}  // namespace host
