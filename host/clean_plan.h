#pragma once
// The plan of a clean: which copies stay and which are moved, out of a scan of this run or out of the report of an
// earlier one.

#include <string>
#include <vector>

#include "host/definitions.h"
#include "host/plan.h"
#include "host/scan.h"

namespace host {

/// An item that is to be moved, or kept, as a scan saw it.
struct PlannedItem {
    std::string folder;  // path and number, for people
    std::string title;
    std::string modified;  // IsoTime of the last modification
    std::string entryId;
    std::string folderId;
    std::string storeId;
    // Of a duplicate only.
    EFate fate = EFate::Move;
    std::vector<TLoss> losses;
};

std::string WhyItStays(const PlannedItem& item);

struct PlannedGroup {
    size_t definitions = 0;  // index into the plan's
    PlannedItem keep;
    std::vector<PlannedItem> duplicates;
};

struct TPlan {
    std::vector<Definitions> definitions;
    std::vector<PlannedGroup> groups;
    bool isVerified = false;  // this run has held each duplicate against the kept copy
    bool allowLoss = false;   // what would be lost is no reason to stay
    bool sentCopies = false;  // the sent and the received copy of a mail are duplicates too
};

TPlan PlanOf(const ScanResult& result);
/// Reads a JSON report; throws Failure.
TPlan PlanFromReport(const std::string& path);

/// Duplicates that stayed for what the kept copy lacks move all the same.
void AllowLoss(TPlan& plan);

}  // namespace host
