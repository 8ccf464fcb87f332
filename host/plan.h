#pragma once
// What is to become of the copies that a scan found: what reports show and `clean` carries out.

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

/// What merging does about a value that goes with a duplicate.
enum class EMerge {
    Copy,      // the kept copy has none: it gets this one
    Slot,      // a number or address that goes to a free place of its kind
    Unite,     // the elements that a list lacks
    Join,      // a note, behind the kept one
    Mark,      // read, answered, highlighted: set
    Attach,    // an attachment
    Photo,     // the photo, where there is none
    Held,      // nothing: another duplicate brings the same, or what the kept copy has says it already
    Conflict,  // nothing: the kept value stays, and this one is a loss
};
/// "copy", "slot", ...: as reports say it.
const char* MergeName(EMerge merge);

/// Which of two values somebody chose.
enum class EChoice { None, Kept, Duplicate };
/// "", "kept", "duplicate". ChoiceOf throws Failure for another one.
const char* ChoiceName(EChoice choice);
EChoice ChoiceOf(const std::string& name);

/// A value that goes when the duplicate does: the kept copy lacks it or holds another one.
struct TLoss {
    std::string property;  // for people
    std::string value;     // of the duplicate
    std::string kept;      // of the kept copy; empty: it has none
    /// PropertyName, "recipients", "attachment:2", "photo:0" (by attachment number), "attachment-type:plan.pdf". One of its kind in a copy.
    std::string id;
    EMerge merge = EMerge::Conflict;
    std::string into{};          // of Slot: PropertyName of the place
    std::string note{};          // of Slot: the place for people; of Held and Conflict: why
    bool isReplaceable = false;  // of Conflict: the duplicate's value can be chosen for the kept one
    EChoice choice = EChoice::None;
};

/// Whether merging leaves nothing of it to be lost: it goes into the kept copy, or somebody chose.
bool IsSettled(const TLoss& loss);
/// "merging copies it", "merging leaves it: two values"
std::string MergeText(const TLoss& loss);
/// Of all: "Notes: merging copies it; Birthday: merging leaves it: two values".
std::string MergesText(const std::vector<TLoss>& losses);

/// Why a duplicate is not moved: "holds what the kept copy lacks: Notes, Birthday". Empty when it is.
std::string WhyItStays(EFate fate, const std::vector<TLoss>& losses);

}  // namespace host
