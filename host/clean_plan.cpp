#include "host/clean_plan.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>

#include <nlohmann/json.hpp>

#include "host/decisions.h"
#include "host/text.h"

namespace host {

namespace {

using nlohmann::json;

// An identifier in the one form that reports have: another one of the same item would hide that they are one.
std::string IdOf(const json& object, const char* member) {
    std::string id = object.at(member).get<std::string>();
    for (char& c : id) {
        if (c >= 'a' && c <= 'f') c = static_cast<char>(c - 'a' + 'A');
    }
    if (id.empty() || id.size() % 2 != 0 || id.find_first_not_of("0123456789ABCDEF") != std::string::npos)
        throw std::out_of_range(member);
    return id;
}

// A choice that nobody offered.
struct TNoChoice : TFailure {
    using TFailure::TFailure;
};

}  // namespace

unsigned CountFrom(const json& number) {
    const auto count = number.is_number_unsigned() ? number.get<std::uint64_t>() : 0;
    if (count == 0 || count > std::numeric_limits<unsigned>::max()) throw std::out_of_range("number");
    return static_cast<unsigned>(count);
}

TPlannedItem PlannedItemFrom(const json& object) {
    TPlannedItem item;
    item.folder = OneLine(object.at("folder").get<std::string>()) + "#" +
                  std::to_string(CountFrom(object.at("number")));
    item.title = OneLine(object.at("title").get<std::string>());
    item.modified = object.at("modified").get<std::string>();
    item.entryId = IdOf(object, "entryId");
    item.folderId = IdOf(object, "folderId");
    item.storeId = IdOf(object, "storeId");
    return item;
}

namespace {

TLoss LossFromJson(const json& object) {
    TLoss loss{OneLine(object.at("property").get<std::string>()),
               OneLine(object.at("value").get<std::string>()), OneLine(object.at("kept").get<std::string>()),
               object.at("id").get<std::string>()};
    if (!object.contains("choice")) return loss;
    // Only what the scan offered can be chosen.
    const json choices = object.value("choices", json::array());
    if (object.at("merge") != MergeName(EMerge::Conflict) ||
        std::find(choices.begin(), choices.end(), object.at("choice")) == choices.end()) {
        throw TNoChoice("choice");
    }
    loss.choice = ChoiceOf(object.at("choice").get<std::string>());
    return loss;
}

TPlannedItem DuplicateFromJson(const json& object, const std::string& place) {
    TPlannedItem item = PlannedItemFrom(object);
    item.fate = FateOf(object.at("fate").get<std::string>());
    for (const json& loss : object.at("losses")) {
        try {
            item.losses.push_back(LossFromJson(loss));
        } catch (const TNoChoice&) {
            throw TNoChoice("\"" + place + ".losses[" + std::to_string(item.losses.size()) +
                            "].choice\" is none of the choices that the scan gave; nothing was moved.");
        }
    }
    return item;
}

size_t DefinitionsOf(const TPlan& plan, const EKind kind) {
    for (size_t i = 0; i < plan.definitions.size(); ++i) {
        if (plan.definitions[i].kind == kind) return i;
    }
    throw std::out_of_range("kind");
}

}  // namespace

std::string WhyItStays(const TPlannedItem& item) {
    return WhyItStays(item.fate, item.losses);
}

TPlan PlanOf(const TScanResult& result) {
    const auto planned = [&](const TGroup& group, size_t index) {
        const TItem& item = result.items[group.items[index]];
        const TFolder& folder = result.catalog.folders[item.folder];
        return TPlannedItem{Place(result.catalog, item),
                            item.title,
                            IsoTime(item.modified),
                            item.entryId,
                            folder.entryId,
                            result.catalog.stores[folder.store].entryId,
                            group.fates[index].values,
                            group.fates[index].fate,
                            group.fates[index].losses};
    };
    TPlan plan;
    for (const TKindScan& scan : result.scans) plan.definitions.push_back(scan.definitions);
    for (const TGroup& group : result.groups) {
        TPlannedGroup one;
        one.definitions = group.scan;
        one.keep = planned(group, 0);
        for (size_t i = 1; i < group.items.size(); ++i) one.duplicates.push_back(planned(group, i));
        plan.groups.push_back(std::move(one));
    }
    plan.isVerified = true;
    plan.sentCopies = result.policy.sentCopies;
    return plan;
}

namespace {

TPlan PlanFromReport(const json& report, const std::string& path) {
    if (report.at("format") != "quorvel-report" || report.at("version") != 2)
        throw std::out_of_range("format");
    TPlan plan;
    plan.allowLoss = report.at("policy").at("allowLoss").get<bool>();
    plan.sentCopies = report.at("policy").at("sentCopies").get<bool>();
    for (const json& scan : report.at("scans"))
        plan.definitions.push_back(ParseDefinitions(path, scan.at("definitions").dump()));
    for (const json& group : report.at("groups")) {
        TPlannedGroup one;
        one.definitions = DefinitionsOf(plan, KindOf(group.at("kind").get<std::string>()));
        one.keep = PlannedItemFrom(group.at("keep"));
        const std::string place = "groups[" + std::to_string(plan.groups.size()) + "].duplicates[";
        for (const json& item : group.at("duplicates"))
            one.duplicates.push_back(
                DuplicateFromJson(item, place + std::to_string(one.duplicates.size()) + "]"));
        plan.groups.push_back(std::move(one));
    }
    return plan;
}

}  // namespace

namespace {

// "line 3, column 12" of a byte, counted from 1.
std::string PlaceIn(const std::string& path, size_t byte) {
    std::ifstream stream(std::filesystem::path(Widen(path)), std::ios::binary);
    size_t line = 1, column = 1;
    for (int c = stream.get(); byte > 1 && c != EOF; c = stream.get(), --byte) {
        line += c == '\n';
        column = c == '\n' ? 1 : column + 1;
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace

TPlan PlanFromFile(const std::string& path) {
    std::ifstream stream(std::filesystem::path(Widen(path)), std::ios::binary);
    if (!stream) throw TFailure("The report \"" + path + "\" cannot be read.");
    json file;
    try {
        file = json::parse(stream);
        if (!AreDecisions(file)) return PlanFromReport(file, path);
    } catch (const TNoChoice&) {
        throw;
    } catch (const json::parse_error& error) {
        throw TFailure("\"" + path + "\", " + PlaceIn(path, error.byte) +
                       ": this is not JSON, or it is cut short; nothing was moved.");
    } catch (const std::exception&) {
        throw TFailure("\"" + path + "\" is no JSON report of a scan by this version, or was changed.");
    }
    return PlanFromDecisions(file, path);
}

std::string PlanText(const TPlan& plan, const std::map<const TPlannedItem*, std::string>& stays) {
    using ordered = nlohmann::ordered_json;
    ordered file{{"format", "quorvel-plan"}, {"version", 1}};
    file["groups"] = ordered::array();
    const auto itemJson = [](const TPlannedItem& item) {
        return ordered{{"place", item.folder}, {"title", item.title}, {"entryId", item.entryId}};
    };
    const auto staying = [&](const TPlannedItem& item, const std::string& why) {
        ordered object = itemJson(item);
        object["move"] = why.empty();
        object["why"] = why;
        return object;
    };
    for (const TPlannedGroup& group : plan.groups) {
        ordered one{{"keep", itemJson(group.keep)}, {"duplicates", ordered::array()}};
        for (const TPlannedItem& item : group.duplicates) {
            const auto found = stays.find(&item);
            one["duplicates"].push_back(staying(item, found == stays.end() ? "" : found->second));
        }
        for (const TPlannedItem& item : group.left)
            one["duplicates"].push_back(staying(item, "left there by the decisions"));
        file["groups"].push_back(std::move(one));
    }
    return EscapeActing(file.dump(1, ' ', false, json::error_handler_t::replace)) + "\n";
}

bool HasChoices(const TPlan& plan) {
    const auto isChosen = [](const TLoss& loss) { return loss.choice != EChoice::None; };
    for (const TPlannedGroup& group : plan.groups) {
        if (!group.chosen.empty()) return true;
        for (const TPlannedItem& item : group.duplicates) {
            if (std::ranges::any_of(item.losses, isChosen)) return true;
        }
    }
    return false;
}

void AllowLoss(TPlan& plan) {
    plan.allowLoss = true;
    for (TPlannedGroup& group : plan.groups) {
        for (TPlannedItem& item : group.duplicates) {
            if (item.fate == EFate::Loss) item.fate = EFate::Move;
        }
    }
}

}  // namespace host
