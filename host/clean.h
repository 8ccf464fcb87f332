#pragma once
// The `clean` command: moves the duplicates that a scan found to a folder, never deleting, and puts them
// back.
//
// The undo file is written as the moves go: a line before each move with everything that is needed to find
// the item again, flushed to the disk, and a line behind it with the item's new identifier. Killed at any
// moment, the file names every item that may have moved.

#include <string>
#include <vector>

#include "host/plan.h"
#include "host/scan.h"

namespace host {

std::vector<PlannedGroup> PlanOf(const ScanResult& result);
/// Reads a JSON report; throws Failure.
std::vector<PlannedGroup> PlanFromReport(const std::string& path);

struct CleanOptions {
    std::string folder = "Duplicates";
    std::string undoFile;  // empty: a new name in the current folder
    bool yes = false;
};

/// Says what it does, and does it only with `yes`. Items that changed since the scan, and groups whose kept
/// copy did, are left alone and named. Returns the number of items moved, or that would be. Throws Failure.
size_t Clean(IMAPISession* session, const std::vector<PlannedGroup>& plan, const CleanOptions& options);

/// Puts back what a run of Clean moved, whole or killed. Items that are back already are passed over. Throws
/// Failure when the file is none of ours or belongs to another mailbox; nothing is moved then.
size_t Undo(IMAPISession* session, const std::string& undoFile);

}  // namespace host
