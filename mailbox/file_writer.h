#pragma once
// The records of a mailbox as the JSON of its file.

#include <functional>
#include <string_view>

#include "mailbox/CDatabase.h"

namespace mailbox {

/// Gives the JSON to write piece by piece; stops and returns false once write does, or when a value that lies in a
/// file cannot be read there. Notes for each place where it is in what was written.
bool FormatMailbox(const CDatabase& database, const std::function<bool(std::string_view piece)>& write);

}  // namespace mailbox
