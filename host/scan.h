#pragma once
// The duplicate search over the folders of a session: what is scanned, and what came out of it.

#include <optional>
#include <string>
#include <vector>

#include "host/definitions.h"
#include "host/folders.h"
#include "host/progress.h"

namespace host {

/// Which copy of a group is kept. "field=NAME:TEXT" names a property of the definitions.
struct Keep {
    enum class Rule { MostFilled, First, Last, LargestValues, Largest, Field, Recurrence, CrmId };
    Rule rule = Rule::MostFilled;
    std::string field;
    std::string text;
};
/// Throws Failure naming what is allowed.
Keep KeepOf(const std::string& text);
std::string KeepText(const Keep& keep);

struct ScanOptions {
    std::vector<std::string> folders;  // empty: every folder of the kinds
    std::vector<Kind> kinds;           // empty: every kind, or those of the folders
    std::optional<Algorithm> algorithm;
    std::string keep;                 // empty: as the definitions say
    std::vector<std::string> except;  // in addition to the definitions' rules
    std::string definitionsFile;      // empty: the built-in ones
    bool findNear = false;
};

struct KindScan {
    Kind kind = Kind::Other;
    Definitions definitions;
    Keep keep;
    std::vector<size_t> folders;
    std::vector<size_t> items;
    std::vector<size_t> unreadable;    // items that the search could not read
    std::vector<size_t> unidentified;  // equal items without any value that identifies them
};

/// Items that are equal; the first is the one to keep.
struct Group {
    size_t scan = 0;  // index into the scans
    std::vector<size_t> items;
    std::string reason;  // why the first one
};

/// Two items that one property keeps apart.
struct NearPair {
    size_t scan = 0;
    size_t a = 0;
    size_t b = 0;
    std::string property;  // for people
};

struct ScanResult {
    Catalog catalog;
    std::vector<Item> items;
    std::vector<KindScan> scans;
    std::vector<Group> groups;
    std::vector<NearPair> nearPairs;
    double seconds = 0;

    size_t Duplicates() const;
    unsigned long long DuplicateBytes() const;
};

/// Throws Failure, and TInterrupted on Ctrl-C.
ScanResult Scan(IMAPISession* session, const ScanOptions& options, Progress& progress);

}  // namespace host
