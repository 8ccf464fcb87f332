#pragma once
// What a person decided of the groups of a report: for each item whether it is kept, moved or left where it is.
//
// The page that `scan --format html` writes saves such a file, as docs/schemas/decisions.schema.json says. It repeats
// what the scan found: checks over each group, and over all of them, tell when it is another scan's or was changed.

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/clean_plan.h"

namespace host {

enum class EFound { Duplicates, Near, Resembling };

/// A property that copies of a group have different values of, so that merging asks.
struct TConflict {
    struct TValue {
        size_t copy;             // of the group's items
        std::string text;        // for people
        bool isBrought = false;  // the first copy gets it while it has none
    };
    std::string id;        // ConflictId
    std::string property;  // for people
    bool isReplaceable = false;
    /// Of the first copy, and of each that differs from it. A choice gives up these and no others.
    std::vector<TValue> values;
};
/// losses: of each copy, against the first, with what merging does about them.
std::vector<TConflict> ConflictsOf(const std::vector<std::vector<TLoss>>& losses);

/// A group as a scan found it, in the order of the report.
struct TFoundGroup {
    EFound found = EFound::Duplicates;
    EKind kind = EKind::Other;
    std::vector<TPlannedItem> items;  // fate: Protected when its folder is
    std::vector<TConflict> conflicts;
};
/// "duplicates", "near", "resembling".
const char* FoundName(EFound found);

/// Checks over a group, and over a scan: how it was asked for and the groups of duplicates, by their checks.
std::string CheckOf(const TFoundGroup& group);
std::string CheckOfScan(const TPlan& scan, const std::vector<std::string>& groups);
/// The check of a group as a file has it: of this scan's.
std::string CheckWithin(const std::string& scan, const std::string& group);

bool AreDecisions(const nlohmann::json& file);
/// Throws Failure with the place: for a group of which nothing or more than one copy is kept, for anything that is
/// not as the scan found it, for what moves out of a protected folder, and for a value that is chosen of a copy which
/// neither stays nor moves.
TPlan PlanFromDecisions(const nlohmann::json& file, const std::string& path);

}  // namespace host
