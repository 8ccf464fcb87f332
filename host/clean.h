#pragma once
// The `clean` command: moves the duplicates that a scan found to a folder, never deleting. Undo
// (undo.h) puts them back.
//
// The undo file is written as the moves go: a line before each move with everything that is needed to find
// the item again, flushed to the disk. Killed at any moment, the file names every item that may have moved.
// Clean closes the session itself: what it counts as moved is saved.

#include <map>
#include <string>
#include <vector>

#include "host/clean_plan.h"
#include "host/platform.h"
#include "host/progress.h"

namespace host {

struct TCleanOptions {
    std::string folder = "Duplicates";
    std::string undoFile;  // empty: a new name in the current folder
    std::string mailbox;   // as the user named it, for the line that says how to undo
    bool yes = false;
};

struct TMoved {
    std::map<const TPlannedItem*, std::string> stays;  // duplicates of the plan that stay, and why
    size_t moved = 0;                                  // without `yes`: that would be
    size_t completed = 0;        // kept copies that merging changed; of an undo, those that are as they were
    size_t refused = 0;          // were to be moved and were not: changed, gone, or the platform refused
    bool isInterrupted = false;  // by Ctrl-C: the rest was left
};

/// Says what it does, and does it only with `yes`. Items that changed since the scan, and groups whose kept
/// copy did, are left alone and named, as is what a fresh search of the two does not find to be a duplicate; all
/// of this is asked again when their turn comes. A plan that merges says then what merging makes of it, and completes
/// the kept copy of a group first; where that fails its duplicates stay. Throws Failure: for a plan that moves what it
/// keeps or that is of another mailbox, before anything is done; and when nothing could be saved, which the undo file
/// then says.
TMoved Clean(CSession& session, TPlan& plan, const TCleanOptions& options, CProgress& progress);

}  // namespace host
