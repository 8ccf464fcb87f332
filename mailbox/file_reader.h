#pragma once
// The JSON of a mailbox file into records.

#include <string>
#include <string_view>

#include "mailbox/Database.h"

namespace mailbox {

/// Fills an empty database. False when the text is no mailbox: why then says what is wrong, with line and
/// column or the place in the JSON, and the database is to be thrown away.
bool ReadMailbox(std::string_view json, Database& database, std::wstring& why);

}  // namespace mailbox
