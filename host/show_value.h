#pragma once
// Values of items as a person reads them: in the matrix and in reports.

#include <span>
#include <string>

#include "host/platform.h"
#include "host/property_catalogue.h"

namespace host {

/// The value of a property on an item, derived ones included; empty when the item has none. Long texts are
/// cut after about `limit` characters and end in an ellipsis then. Line breaks stay.
std::string ShowValue(IMessage* message, const TCatalogueEntry& property, size_t limit);

/// Whether the item has a value that cannot be read, which is something else than none. False for derived
/// properties and for what is read through a stream.
bool IsUnreadable(IMessage* message, const TCatalogueEntry& property);

/// The tag that a named property has in the item's store; 0 when it has none.
ULONG ResolvedTag(IMessage* message, const char* set, int id, const wchar_t* stringId, unsigned type);

/// What a derived property is gathered from: numbers of the address set, or tags.
std::span<const int> DerivedNumbers(int id);
std::span<const ULONG> DerivedTags(int id);
inline constexpr char kDerivedSet[] = "{7A3C5E19-4B82-4D6F-9E15-3F8A2C6B7D40}";
inline constexpr char kAddressSet[] = "{00062004-0000-0000-C000-000000000046}";

}  // namespace host
