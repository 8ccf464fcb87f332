#include "host/decisions.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>

#include "host/digest.h"
#include "host/merge_plan.h"
#include "host/merge_rules.h"
#include "host/text.h"

namespace host {

namespace {

using nlohmann::json;

constexpr const char* kFound[] = {"duplicates", "near", "resembling"};

// What is wrong, and where; the file's name comes before it.
struct TWrong : std::runtime_error {
    using std::runtime_error::runtime_error;
};

EFound FoundOf(const std::string& name) {
    const auto found = std::find(std::begin(kFound), std::end(kFound), name);
    if (found == std::end(kFound)) throw std::out_of_range("found");
    return static_cast<EFound>(found - std::begin(kFound));
}

enum class EDecision { Keep, Move, Leave };

EDecision DecisionOf(const std::string& name) {
    static constexpr const char* kNames[] = {"keep", "move", "leave"};
    const auto found = std::find(std::begin(kNames), std::end(kNames), name);
    if (found == std::end(kNames)) throw TWrong("is to be neither kept nor moved nor left");
    return static_cast<EDecision>(found - std::begin(kNames));
}

size_t DefinitionsOf(const TPlan& plan, EKind kind) {
    const auto found = std::find_if(plan.definitions.begin(), plan.definitions.end(),
                                    [&](const TDefinitions& one) { return one.kind == kind; });
    if (found == plan.definitions.end()) throw std::out_of_range("kind");
    return static_cast<size_t>(found - plan.definitions.begin());
}

struct TDecidedGroup {
    TFoundGroup group;
    std::vector<EDecision> decisions;
    std::vector<std::optional<size_t>> choices;  // by conflict
    std::string check;
};

void ReadItem(const json& object, TDecidedGroup& decided) {
    TPlannedItem item = PlannedItemFrom(object);
    item.values = object.at("values").get<std::string>();
    if (object.at("protected").get<bool>()) item.fate = EFate::Protected;
    const EDecision decision = DecisionOf(object.at("decision").get<std::string>());
    if (decision == EDecision::Move && item.fate == EFate::Protected)
        throw TWrong("is to move out of a protected folder");
    decided.group.items.push_back(std::move(item));
    decided.decisions.push_back(decision);
}

// "item 2 (Minutes)"
std::string NameOf(const char* what, size_t index, const json& item) {
    std::string name = what + (" " + std::to_string(index + 1));
    if (item.is_object() && item.contains("title") && item["title"].is_string() && item["title"] != "")
        name += " (" + OneLine(item["title"].get<std::string>()) + ")";
    return name;
}

// "item 2", from 1.
size_t CopyOf(const json& number, size_t copies) {
    const unsigned copy = CountFrom(number);
    if (copy > copies) throw TWrong("names a copy that is not in the group");
    return copy - 1;
}

// A value is chosen of the copy that stays, or of one that goes and so can give it.
std::optional<size_t> ReadChoice(const json& object, const TConflict& conflict,
                                 const TDecidedGroup& decided) {
    if (!object.contains("choice")) return {};
    const size_t copy = CopyOf(object["choice"], decided.decisions.size());
    const auto value = std::ranges::find(conflict.values, copy, &TConflict::TValue::copy);
    if (value == conflict.values.end()) throw TWrong("is chosen of a copy that does not conflict");
    if (decided.decisions[copy] == EDecision::Keep) return copy;
    if (decided.decisions[copy] == EDecision::Leave) throw TWrong("is chosen of a copy that does not move");
    if (!conflict.isReplaceable || value->text.empty())
        throw TWrong("can only be left as the kept copy has it");
    return copy;
}

void ReadConflict(const json& object, TDecidedGroup& decided) {
    TConflict conflict{object.at("property").get<std::string>(),
                       object.at("name").get<std::string>(),
                       object.at("replaceable").get<bool>(),
                       {}};
    for (const json& value : object.at("values")) {
        conflict.values.push_back(
            {CopyOf(value.at("copy"), decided.decisions.size()), value.at("value").get<std::string>()});
    }
    decided.choices.push_back(ReadChoice(object, conflict, decided));
    decided.group.conflicts.push_back(std::move(conflict));
}

// "conflict 1 (Nickname)"
std::string ConflictName(size_t index, const json& conflict) {
    std::string name = "conflict " + std::to_string(index + 1);
    if (conflict.is_object() && conflict.contains("name") && conflict["name"].is_string())
        name += " (" + OneLine(conflict["name"].get<std::string>()) + ")";
    return name;
}

void ReadConflicts(const json& conflicts, TDecidedGroup& decided) {
    for (size_t i = 0; i < conflicts.size(); ++i) {
        try {
            ReadConflict(conflicts.at(i), decided);
        } catch (const TWrong& wrong) {
            throw TWrong(ConflictName(i, conflicts[i]) + " " + wrong.what());
        } catch (const std::exception&) {
            throw TWrong(ConflictName(i, conflicts[i]) + " is not as the page wrote it");
        }
    }
}

TDecidedGroup ReadGroup(const json& object) {
    TDecidedGroup decided;
    decided.group.found = FoundOf(object.at("found").get<std::string>());
    decided.group.kind = KindOf(object.at("kind").get<std::string>());
    decided.check = object.at("check").get<std::string>();
    const json& items = object.at("items");
    for (size_t i = 0; i < items.size(); ++i) {
        try {
            ReadItem(items.at(i), decided);
        } catch (const TWrong& wrong) {
            throw TWrong(NameOf("item", i, items[i]) + " " + wrong.what());
        } catch (const std::exception&) {
            throw TWrong(NameOf("item", i, items[i]) + " is not as the page wrote it");
        }
    }
    const auto kept = std::count(decided.decisions.begin(), decided.decisions.end(), EDecision::Keep);
    if (kept == 0) throw TWrong("nothing of it is kept");
    if (kept > 1) throw TWrong("more than one copy is to be the one that is kept");
    if (object.contains("conflicts")) ReadConflicts(object["conflicts"], decided);
    return decided;
}

TPlannedGroup PlannedFrom(const TPlan& plan, TDecidedGroup decided, std::string place) {
    TPlannedGroup group;
    group.definitions = DefinitionsOf(plan, decided.group.kind);
    group.isRecorded = decided.group.found != EFound::Duplicates;
    group.place = std::move(place);
    std::map<size_t, size_t> moving;  // by copy the place among the duplicates
    for (size_t i = 0; i < decided.decisions.size(); ++i) {
        TPlannedItem& item = decided.group.items[i];
        item.fate = EFate::Move;
        if (decided.decisions[i] == EDecision::Keep) {
            group.keep = std::move(item);
        } else if (decided.decisions[i] == EDecision::Move) {
            moving.emplace(i, group.duplicates.size());
            group.duplicates.push_back(std::move(item));
        } else {
            group.left.push_back(std::move(item));
        }
    }
    for (size_t i = 0; i < decided.choices.size(); ++i) {
        if (!decided.choices[i]) continue;
        const TConflict& conflict = decided.group.conflicts[i];
        const auto copy = moving.find(*decided.choices[i]);
        TPlannedGroup::TChosen one{conflict.id, OneLine(conflict.property), {}, {}, {}};
        if (copy != moving.end()) one.copy = copy->second;
        for (const TConflict::TValue& value : conflict.values) {
            if (const auto at = moving.find(value.copy); at != moving.end()) one.offered.insert(at->second);
            if (conflict.isReplaceable) one.texts.insert(value.text);
        }
        group.chosen.push_back(std::move(one));
    }
    return group;
}

TPlan ReadHead(const json& file, const std::string& path) {
    TPlan plan;
    plan.isDecided = true;
    plan.allowLoss = file.at("policy").at("allowLoss").get<bool>();
    plan.sentCopies = file.at("policy").at("sentCopies").get<bool>();
    for (const json& definitions : file.at("definitions"))
        plan.definitions.push_back(ParseDefinitions(path, definitions.dump()));
    return plan;
}

}  // namespace

const char* FoundName(EFound found) {
    return kFound[static_cast<size_t>(found)];
}

std::vector<TConflict> ConflictsOf(const std::vector<std::vector<TLoss>>& losses) {
    std::vector<TConflict> conflicts;
    for (size_t copy = 1; copy < losses.size(); ++copy) {
        for (const TLoss& loss : losses[copy]) {
            if (loss.merge != EMerge::Conflict) continue;
            const std::string id = ConflictId(loss);
            auto found = std::ranges::find(conflicts, id, &TConflict::id);
            if (found == conflicts.end()) {
                conflicts.push_back({id, Visible(loss.property), true, {{0, Visible(loss.kept)}}});
                found = conflicts.end() - 1;
            }
            found->isReplaceable = found->isReplaceable && loss.isReplaceable;
        }
    }
    for (size_t copy = 1; copy < losses.size(); ++copy) {
        for (const TLoss& loss : losses[copy]) {
            const auto found = std::ranges::find(conflicts, ConflictId(loss), &TConflict::id);
            // Two photos of one copy are one thing to choose.
            if (found == conflicts.end() || found->values.back().copy == copy) continue;
            // What another copy would bring is one of the values, unless it goes to a place where none stands.
            const bool isBrought = loss.merge != EMerge::Conflict;
            if (isBrought && (!found->isReplaceable || PlacesOf(loss.id))) continue;
            found->values.push_back({copy, Visible(loss.value), isBrought});
        }
    }
    return conflicts;
}

std::string CheckOf(const TFoundGroup& group) {
    CDigest digest;
    digest.Add(FoundName(group.found)).Add(KindName(group.kind));
    for (const TPlannedItem& item : group.items) {
        digest.Add(item.storeId).Add(item.folderId).Add(item.entryId).Add(item.folder).Add(item.modified);
        digest.Add(item.values).Add(item.fate == EFate::Protected ? "protected" : "");
    }
    for (const TConflict& conflict : group.conflicts) {
        digest.Add(conflict.id).Add(conflict.property).Add(conflict.isReplaceable ? "replaceable" : "");
        for (const TConflict::TValue& value : conflict.values)
            digest.Add(std::to_string(value.copy)).Add(value.text);
    }
    return digest.Text();
}

std::string CheckOfScan(const TPlan& scan, const std::vector<std::string>& groups) {
    CDigest digest;
    digest.Add(scan.allowLoss ? "allow-loss" : "").Add(scan.sentCopies ? "sent-copies" : "");
    for (const TDefinitions& definitions : scan.definitions) digest.Add(DefinitionsText(definitions));
    for (const std::string& group : groups) digest.Add(group);
    return digest.Text();
}

std::string CheckWithin(const std::string& scan, const std::string& group) {
    return CDigest().Add(scan).Add(group).Text();
}

bool AreDecisions(const json& file) {
    return file.is_object() && file.value("format", json()) == "quorvel-decisions";
}

TPlan PlanFromDecisions(const json& file, const std::string& path) {
    const auto refuse = [&](const std::string& why) {
        throw TFailure("\"" + path + "\"" + why + "; nothing was moved.");
    };
    TPlan plan;
    std::string scan;
    try {
        if (file.at("version") != 1) throw std::out_of_range("version");
        plan = ReadHead(file, path);
        scan = file.at("scan").get<std::string>();
        if (!file.at("groups").is_array()) throw std::out_of_range("groups");
    } catch (const std::exception&) {
        refuse(" is no file of decisions of this version, or was changed");
    }
    std::vector<std::string> found;
    const json& groups = file.at("groups");
    for (size_t i = 0; i < groups.size(); ++i) {
        std::string place = "group " + std::to_string(i + 1);
        try {
            place = NameOf("group", i, groups[i].at("items").at(0));
            TDecidedGroup decided = ReadGroup(groups[i]);
            const std::string check = CheckOf(decided.group);
            if (CheckWithin(scan, check) != decided.check) {
                throw TWrong(
                    "it is not what the scan found: an item in it is another, or it is from "
                    "another scan");
            }
            if (decided.group.found == EFound::Duplicates) found.push_back(check);
            plan.groups.push_back(PlannedFrom(plan, std::move(decided), place));
        } catch (const TWrong& wrong) {
            refuse(", " + place + ": " + wrong.what());
        } catch (const std::exception&) {
            refuse(", " + place + ": it is not as the page wrote it");
        }
    }
    if (CheckOfScan(plan, found) != scan)
        refuse(": groups that the scan found are missing, or how it was asked for was changed");
    return plan;
}

}  // namespace host
