#pragma once
// Writes what merging makes of a kept copy, and takes it back. The old values are in the undo file, on the disk, before
// the item changes; the item is saved once, with everything, and looked at again. What a store refuses leaves the item
// as it was.

#include <string>
#include <vector>

#include "host/merge_plan.h"
#include "host/undo_file.h"

namespace host {

/// Brings into the kept copy what PlanMerge took of the copies' losses. title, place: of the kept copy, for people.
/// Empty when it is done and saved; else why not, and the item is as it was. Throws Failure when the undo file cannot
/// be written: then nothing is changed.
std::string CompleteItem(CItemReader& reader, const TItem& kept, const std::vector<TMergeCopy>& copies,
                         const std::string& title, const std::string& place, CUndoWriter& undo);

struct TRestored {
    bool isChanged = false;         // something was put back
    std::vector<std::string> left;  // properties that hold something else by now, and stay
    std::string why;                // nothing could be put back; empty when all was that could be
};
/// Puts back the values that an item had before it was completed, where it still holds what merging wrote, and deletes
/// the attachments that came with it. What is as it was before is passed over.
TRestored RestoreItem(CItemReader& reader, const TUndoMerge& merge);

}  // namespace host
