#pragma once
// Stores: their tables and what they say of themselves.
//
// What is made here has one reference and keeps the mailbox alive as long as it lives.

#include <memory>

#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

IMsgStore* NewStoreObject(std::shared_ptr<CDatabase> database, TStore* store, bool writable);

}  // namespace mailbox
