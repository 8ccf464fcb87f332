#pragma once
// The address book and its entries: opened by identifier and read, never changed or shown.
//
// What is made here has one reference and keeps the mailbox alive as long as it lives.

#include <memory>

#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

IAddrBook* NewAddressBook(std::shared_ptr<CDatabase> database);
/// OpenEntry of session and address book for an entry of it.
HRESULT OpenAddressEntry(const std::shared_ptr<CDatabase>& database, ULONG size, const ENTRYID* id,
                         const IID* iid, ULONG* type, IUnknown** out);

}  // namespace mailbox
