#pragma once
// Names and texts of derived properties for the log.

#include <mapidefs.h>

namespace compare {

/// Display name; "unknown" and an error line for any other id.
const wchar_t* QuorvelPropEx_ToStringW(unsigned id);
/// Name of sub-kind index of a derived property, padded for the log: columns of 15 characters for addresses
/// and 11 for phones. The bare index for a property without kinds. buffer holds 32 characters at least and is
/// returned.
const wchar_t* PropExKindText(unsigned propex, int index, wchar_t* buffer, size_t capacity);

/// Renders a value for the log: recipient lists by their recipients, any other value (and propex 0) in the
/// general form. verbose puts the type's label in front. Returns buffer, terminated; capacity in characters.
wchar_t* PropValueToText(const SPropValue* value, wchar_t* buffer, size_t capacity, unsigned propex,
                         bool verbose);

}  // namespace compare
