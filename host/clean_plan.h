#pragma once
// The plan of a clean: which copies stay and which are moved, out of a scan of this run or out of the report of an
// earlier one.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "host/definitions.h"
#include "host/plan.h"
#include "host/scan.h"

namespace host {

/// An item that is to be moved, or kept, as a scan saw it.
struct TPlannedItem {
    std::string folder;  // path and number, for people
    std::string title;
    std::string modified;  // IsoTime of the last modification
    std::string entryId;
    std::string folderId;
    std::string storeId;
    std::string values;  // check over what it held; empty: nobody recorded it
    // Of a duplicate only.
    EFate fate = EFate::Move;
    std::vector<TLoss> losses;
};

std::string WhyItStays(const TPlannedItem& item);

struct TPlannedGroup {
    size_t definitions = 0;  // index into the plan's
    TPlannedItem keep;
    std::vector<TPlannedItem> duplicates;
    // Of decisions only.
    std::vector<TPlannedItem> left;  // stay where they are
    /// Which copy's value stays, where merging found two.
    struct TChosen {
        std::string id;               // ConflictId
        std::string property;         // for people
        std::optional<size_t> copy;   // of the duplicates; nothing: the kept one
        std::set<size_t> offered;     // duplicates whose values one could choose
        std::set<std::string> texts;  // as shown, those values; a copy that has one of them need not be named
    };
    std::vector<TChosen> chosen;
    /// Somebody said that they are duplicates: they are held against what was recorded of them, not against each other.
    bool isRecorded = false;
    std::string place;  // in the file of decisions
};

struct TPlan {
    std::vector<TDefinitions> definitions;
    std::vector<TPlannedGroup> groups;
    bool isVerified = false;  // this run has held each duplicate against the kept copy
    bool allowLoss = false;   // what would be lost is no reason to stay
    bool isDecided = false;   // by somebody, item by item: what it names must be there
    bool isMerging = false;   // what would be lost goes into the kept copy where it can
    bool sentCopies = false;  // the sent and the received copy of a mail are duplicates too
};

TPlan PlanOf(const TScanResult& result);
/// Reads a JSON report, or decisions (decisions.h); throws Failure.
TPlan PlanFromFile(const std::string& path);

/// A number from 1, and no other value that could be taken for one. Throws as PlannedItemFrom does.
unsigned CountFrom(const nlohmann::json& number);
/// What a file says of an item, whatever becomes of it. Throws an exception of the standard library for anything else.
TPlannedItem PlannedItemFrom(const nlohmann::json& object);

/// What comes of a plan, as docs/schemas/plan.schema.json says: for who moves the items by other means. stays: why, of
/// those that do not move.
std::string PlanText(const TPlan& plan, const std::map<const TPlannedItem*, std::string>& stays);

/// Whether somebody chose between two values for merging (merge_plan.h).
bool HasChoices(const TPlan& plan);

/// Duplicates that stayed for what the kept copy lacks move all the same.
void AllowLoss(TPlan& plan);

}  // namespace host
