#pragma once
// Values of items as a person reads them: in the matrix and in reports.

#include <string>

#include "host/platform.h"
#include "host/property_catalogue.h"

namespace host {

/// The value of a property on an item, derived ones included; empty when the item has none. Long texts are
/// cut after about `limit` characters and end in an ellipsis then. Line breaks stay.
std::string ShowValue(IMessage* message, const CatalogueEntry& property, size_t limit);

}  // namespace host
