#pragma once
// The mailbox file behind a database: found, locked, read at logon, written whole and put in place at once.
//
// A database without a file (built by a test) is never read or written; its sessions work the same.

#include <memory>
#include <string>

#include "mailbox/CDatabase.h"

namespace mailbox {

/// The mailbox that a logon opens: the installed one, else the one of the configured file, which is read
/// unless the process uses it already. Failures leave their reason with SetLastError.
HRESULT OpenMailbox(std::shared_ptr<CDatabase>& database);
/// Counts the sessions of a mailbox; the last one's end writes the file.
void BeginSession(CDatabase& database);
HRESULT EndSession(CDatabase& database);
/// Whether a change would ever be written: MAPI_E_END_OF_SESSION once all sessions are off, MAPI_E_NO_ACCESS
/// where nothing can be written beside the file.
HRESULT CheckChange(const CDatabase& database);
/// Writes the file if something was saved since it was read or written.
HRESULT WriteMailbox(CDatabase& database);

}  // namespace mailbox
