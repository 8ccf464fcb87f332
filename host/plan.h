#pragma once
// What is to become of the copies that a scan found: the one record that reports show and `clean` carries out.

#include <string>
#include <vector>

namespace host {

/// What becomes of a duplicate. Anything but Move stays where it is.
enum class EFate {
    Move,
    Loss,       // it holds what the kept copy lacks; --allow-loss moves it
    Protected,  // its folder is
};
/// "move", "loss", "protected": as reports say it.
const char* FateName(EFate fate);
/// Throws Failure for a name that is no fate.
EFate FateOf(const std::string& name);

/// A value that goes when the duplicate does: the kept copy lacks it or holds another one.
struct TLoss {
    std::string property;  // for people
    std::string value;     // of the duplicate
    std::string kept;      // of the kept copy; empty: it has none
};

/// Why a duplicate is not moved: "holds what the kept copy lacks: Notes, Birthday". Empty when it is.
std::string WhyItStays(EFate fate, const std::vector<TLoss>& losses);

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
    PlannedItem keep;
    std::vector<PlannedItem> duplicates;
};

/// Duplicates that stayed for what the kept copy lacks move all the same.
void AllowLoss(std::vector<PlannedGroup>& plan);

}  // namespace host
