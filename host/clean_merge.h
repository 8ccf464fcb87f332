#pragma once
// Merging in a clean: what becomes of the duplicates of a plan when the kept copies are completed from them, by what the
// items hold now.

#include <optional>
#include <string>
#include <vector>

#include "host/merge_plan.h"
#include "host/plan_check.h"

namespace host {

/// A group as its items are now, with what merging does about each loss.
struct TLiveGroup {
    TItem kept;
    TItemValues keptValues;
    struct TDuplicate {
        const TPlannedItem* planned = nullptr;
        TItem item;
        TItemValues values;
        std::vector<TLoss> losses;
    };
    std::vector<TDuplicate> duplicates;
    std::vector<TPlannedGroup::TChosen> unfollowed;  // choices of values of copies that do not go

    /// Those that go, for writing what is taken of them.
    std::vector<TMergeCopy> Copies();
    /// Whether the kept copy changes.
    bool IsCompleted() const;
};

/// Of these duplicates of the group. What somebody decided holds as far as the copies are among them. Nothing when an
/// item cannot be read. Throws Failure when a report has a choice about a value that is not there.
std::optional<TLiveGroup> ReadLive(CPlanCheck& check, const TPlannedGroup& group,
                                   const std::vector<const TPlannedItem*>& duplicates);

/// Duplicates that stayed for what the kept copy lacks move when it goes into the kept copy; those that have a conflict
/// stay for it, unless the plan allows the loss. What cannot be read is left as it is planned.
void PlanMerging(CPlanCheck& check, TPlan& plan, CProgress& progress);

}  // namespace host
