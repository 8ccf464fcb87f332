#pragma once
// The JSON of a mailbox file into records.

#include <memory>
#include <string>

#include "mailbox/CDatabase.h"

namespace mailbox {

/// Fills an empty database, whose long values stay in the text. False when the text is no mailbox: why then says
/// what is wrong, with line and column or the place in the JSON, and the database is to be thrown away. piece:
/// bytes that are read at a time.
bool ReadMailbox(const std::shared_ptr<CFileText>& text, CDatabase& database, std::wstring& why,
                 size_t piece = 1 << 18);

}  // namespace mailbox
