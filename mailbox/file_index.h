#pragma once
// What makes a mailbox out of the records of its file.

#include <string>

#include "mailbox/CDatabase.h"

namespace mailbox {

/// Gives identifiers to what has none, fills the indices of the stores, and checks that everything is unique
/// that must be and that all references lead somewhere. False: why says where not, as a place in the JSON.
bool IndexMailbox(CDatabase& database, std::wstring& why);

}  // namespace mailbox
