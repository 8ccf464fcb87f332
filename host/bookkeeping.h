#pragma once
// The properties that stores and mail programs keep for themselves: they differ from copy to copy, and
// nobody misses them. And the names of the others for people. Both stand in definitions/bookkeeping.json
// beside the program.

#include <map>
#include <set>
#include <string>

#include "host/folders.h"

namespace host {

inline constexpr unsigned long kAllBits = 0xFFFFFFFF;

struct TBookkeeping {
    /// By property, in the form of PropertyName: the bits that mean something to the owner, 0 for none.
    std::map<std::string, unsigned long> properties;
    /// Keys that two copies may have of their own: a loss only where the kept copy has none.
    std::set<std::string> keys;
    /// By property, and by kind and property ("contact/1000") where kinds have names of their own for it.
    std::map<std::string, std::string> names;

    unsigned long Meaningful(const std::string& property) const;
    /// For people; the property itself when it has no name.
    std::string Name(EKind kind, const std::string& property) const;
};

/// Throws Failure naming the file and what is wrong with it.
TBookkeeping LoadBookkeeping();

}  // namespace host
