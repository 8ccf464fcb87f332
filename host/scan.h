#pragma once
// The duplicate search over the folders of a session: what is scanned, and what came out of it.

#include <optional>
#include <string>
#include <vector>

#include "host/definitions.h"
#include "host/folders.h"
#include "host/plan.h"
#include "host/policy.h"
#include "host/progress.h"

namespace host {

struct TScanOptions {
    std::vector<std::string> folders;  // empty: every folder of the kinds
    std::vector<EKind> kinds;          // empty: every kind, or those of the folders
    std::optional<ESearchAlgorithm> algorithm;
    TPolicyOptions policy;
    std::vector<std::string> except;  // in addition to the definitions' rules
    std::string definitionsFile;      // empty: the built-in ones
    bool findNear = false;
};

struct TKindScan {
    EKind kind = EKind::Other;
    TDefinitions definitions;
    std::vector<TKeep> keep;
    std::vector<size_t> folders;
    std::vector<size_t> items;
    std::vector<size_t> unreadable;    // items that the search could not read
    std::vector<size_t> unidentified;  // equal items without any value that identifies them
    /// Equal mails that are no duplicates of one another: as they were sent and as they were received.
    std::vector<std::vector<size_t>> sentAndReceived;
};

struct TCopyFate {
    EFate fate = EFate::Move;
    std::vector<TLoss> losses;
    std::string values;  // check over what the copy holds
};

/// Items that are equal to the first one, which stays.
struct TGroup {
    size_t scan = 0;  // index into the scans
    std::vector<size_t> items;
    std::vector<TCopyFate> fates;  // one for each item; what becomes of the first says nothing
    std::string reason;            // why the first one stays
};

/// Two items that one property, or what their attachments hold, keeps apart.
inline constexpr size_t kNoProperty = static_cast<size_t>(-1);
struct TNearPair {
    size_t scan = 0;
    size_t a = 0;
    size_t b = 0;
    std::string property;       // for people
    size_t left = kNoProperty;  // which of the definitions' properties
};

struct TScanResult {
    TCatalog catalog;
    TPolicyOptions policyOptions;
    TPolicy policy;
    std::vector<TItem> items;
    std::vector<TKindScan> scans;
    std::vector<TGroup> groups;
    std::vector<TNearPair> nearPairs;
    double seconds = 0;

    size_t Duplicates() const;
    /// Those that are not moved.
    size_t Staying() const;
    /// Those that are not moved when groups are merged.
    size_t StayingUnmerged() const;
    unsigned long long DuplicateBytes() const;
};

/// A kind's definitions less one property, and less the exception rule that would need it.
TDefinitions WithoutProperty(const TDefinitions& definitions, size_t left);

/// Throws Failure, and TInterrupted on Ctrl-C.
TScanResult Scan(IMAPISession* session, const TScanOptions& options, CProgress& progress);

}  // namespace host
