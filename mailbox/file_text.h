#pragma once
// The texts of the mailbox file for single things: property keys, times, GUIDs.

#include <string>
#include <string_view>

#include "mailbox/Database.h"

namespace mailbox {

struct PropertyKey {
    /// The whole tag of an unnamed property, the type alone of a named one.
    ULONG tag = 0;
    bool isNamed = false;
    Name name;
};

/// False when the text is no key, or its type no type.
bool ParseKey(std::string_view text, PropertyKey& key);
std::string FormatKey(ULONG tag, const Name* name);

bool ParseGuid(std::string_view text, GUID& guid);
std::string FormatGuid(const GUID& guid);

/// Ticks of 100 ns since 1601, UTC.
bool ParseTime(std::string_view text, unsigned long long& ticks);
/// Empty for times outside the years 1601 to 9999.
std::string FormatTime(unsigned long long ticks);

}  // namespace mailbox
