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

/// A value that goes when the duplicate does: the kept copy lacks it or holds another one.
struct TLoss {
    std::string property;  // for people
    std::string value;     // of the duplicate
    std::string kept;      // of the kept copy; empty: it has none
};

/// Why a duplicate is not moved: "holds what the kept copy lacks: Notes, Birthday". Empty when it is.
std::string WhyItStays(EFate fate, const std::vector<TLoss>& losses);

}  // namespace host
