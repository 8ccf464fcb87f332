#pragma once
// What merging would make of the kept copy of a group: for each value that would go with a duplicate, whether it goes
// into the kept copy, and how, or is a conflict. Every report shows it, `clean --merge` carries it out.
//
// In JSON reports it stands with each loss of a duplicate (docs/schemas/report.schema.json):
//
//   {"property": "Birthday", "value": "1980-05-06 00:00 UTC", "kept": "1981-05-06 00:00 UTC",
//    "id": "3A42",            which value it is, one of its kind in a duplicate; as PropertyName gives it, or
//                             "recipients", "attachment:2", "attachment-type:plan.pdf", "attachment-id:plan.png",
//                             "photo:0"
//    "merge": "conflict",     what merging does (EMerge): copy, slot, unite, join, mark, attach, photo, held, conflict
//    "mergeText": "...",      the same for people
//    "choices": ["kept", "duplicate"]}     of a conflict alone: what one may choose; only ["kept"] where the kept
//                                          value never changes
//
// A decision is one more member of a conflict, "choice": one of its "choices". `clean --from FILE --merge=ask` follows
// it: "kept" leaves the kept value and takes the loss of the other for wanted, "duplicate" puts the duplicate's value in
// its place. A conflict without a choice stays a loss, for which the duplicate stays unless --allow-loss. A choice
// anywhere else, or one that is not among the choices, makes clean refuse the file, and so does a file with choices
// without --merge=ask.

#include <optional>
#include <string>
#include <vector>

#include "host/attachments.h"
#include "host/definitions.h"
#include "host/item_values.h"
#include "host/plan.h"

namespace host {

/// A duplicate with what would be lost with it.
struct TMergeCopy {
    const TItem* item = nullptr;
    const TItemValues* values = nullptr;
    std::vector<TLoss>* losses = nullptr;
    bool mayMove = true;  // nothing is taken from one that stays in any case
};

/// Settles what merging does about each loss, one duplicate after the other: what one brings, the next one meets.
/// Of a duplicate that stays, because of a conflict that nobody chose for (and not allowLoss), or because it may not
/// move, nothing is taken.
void PlanMerge(CItemReader& reader, const TDefinitions& definitions, const TItem& keptItem,
               const TItemValues& kept, const std::vector<TMergeCopy>& copies, bool allowLoss);

/// The same for two alone; the losses are those of a copy that goes.
void PlanMergeOfTwo(CItemReader& reader, const TDefinitions& definitions, const TItem& keptItem,
                    const TItemValues& kept, const TItem& item, const TItemValues& values,
                    std::vector<TLoss>& losses);

/// Whether the kept copy changes for it.
bool IsTaken(const TLoss& loss);
/// What a conflict is about, the same in all copies of a group: TLoss::id, or "photo".
std::string ConflictId(const TLoss& loss);
/// Of an attachment or a photo.
int NumberOf(const TLoss& loss);

/// The kept text with a line and the other one behind it; the longer one when it holds the shorter.
std::string JoinTexts(const std::string& kept, const std::string& other);

/// Whether a duplicate with these losses goes when its group is merged.
bool IsMergeable(const std::vector<TLoss>& losses, bool allowLoss);

}  // namespace host
