#pragma once
// Which copy of a group stays, and what never moves: what the user said, the roles of the folders, the
// rules.

#include <string>
#include <vector>

#include "host/keep_rules.h"

namespace host {

struct TPolicyOptions {
    std::vector<std::string> prefer;   // folders, the first the most
    std::vector<std::string> protect;  // nothing in these folders moves
    std::vector<std::string> skip;     // not looked at
    std::vector<std::string> keep;     // rules; empty: as the definitions say
    bool allowLoss = false;            // move what holds more than the kept copy
    bool sentCopies = false;           // the sent and the received copy of a mail are duplicates too
};

/// The options for the folders of a session, subfolders included. By folder.
struct TPolicy {
    std::vector<size_t> preference;  // place among the preferred; behind them all for the others
    std::vector<bool> isProtected;
    std::vector<bool> isSkipped;
    bool allowLoss = false;
    bool sentCopies = false;
};

/// Throws Failure for a folder that does not exist, naming those that do.
TPolicy ResolvePolicy(const TCatalog& catalog, const TPolicyOptions& options);

/// How an item ranks by where it is and what it is marked as: the lower stays.
unsigned PlaceRank(const TCatalog& catalog, const TPolicy& policy, const TItem& item);

struct TChoice {
    size_t kept = 0;  // index into the items
    std::string reason;
};
/// items: at least one, in the order of the folders. What is in the trash or marked as deleted does not
/// stay beside another copy; then the preferred folders, the roles, the rules in their order, and the order
/// of the folders decide. The reason names the one that did.
TChoice ChooseCopy(CItemReader& reader, const TPolicy& policy, const TDefinitions& definitions,
                   const std::vector<TKeep>& rules, const std::vector<const TItem*>& items);

/// Copies that are no duplicates of one another although they are equal: a mail to oneself as it was sent
/// and as it was received. Indexes into the items.
std::vector<std::vector<size_t>> PartBySentAndReceived(CItemReader& reader, const TPolicy& policy,
                                                       const std::vector<const TItem*>& items);

}  // namespace host
