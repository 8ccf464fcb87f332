#pragma once
// The texts of the mailbox file for single things: property keys, times, GUIDs.

#include <string>
#include <string_view>

#include "mailbox/CDatabase.h"

namespace mailbox {

struct TPropertyKey {
    /// The whole tag of an unnamed property, the type alone of a named one.
    ULONG tag = 0;
    bool isNamed = false;
    TName name;
};

/// "{set}:0x8215" or "{set}:Keywords". False when the text is no name.
bool ParseName(std::string_view text, TName& name);
std::string FormatName(const TName& name);

/// A name with its type, or a tag. False when the text is no key, or its type no type.
bool ParseKey(std::string_view text, TPropertyKey& key);
std::string FormatKey(ULONG tag, const TName* name);

bool ParseGuid(std::string_view text, GUID& guid);
std::string FormatGuid(const GUID& guid);

/// Ticks of 100 ns since 1601, UTC.
bool ParseTime(std::string_view text, unsigned long long& ticks);
/// Empty for times outside the years 1601 to 9999.
std::string FormatTime(unsigned long long ticks);

}  // namespace mailbox
