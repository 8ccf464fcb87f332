#pragma once
// Values of items as a person reads them: in the matrix and in reports.

#include <string>

#include "host/platform.h"
#include "host/property_catalogue.h"

namespace host {

/// The value of a property on an item, derived ones included; empty when the item has none. Long texts are
/// cut after about `limit` characters and end in an ellipsis then. Line breaks stay.
std::string ShowValue(IMessage* message, const CatalogueEntry& property, size_t limit);

/// Whether the item has a value that cannot be read, which is something else than none. False for derived
/// properties and for what is read through a stream.
bool IsUnreadable(IMessage* message, const CatalogueEntry& property);

}  // namespace host
