#pragma once
// Sessions: the tables of stores and services, and the ways into them.
//
// What is made here has one reference and keeps the mailbox alive as long as it lives.

#include <memory>

#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

IMAPISession* NewSession(std::shared_ptr<CDatabase> database);
IMsgServiceAdmin* NewServiceAdmin(std::shared_ptr<CDatabase> database);

}  // namespace mailbox
