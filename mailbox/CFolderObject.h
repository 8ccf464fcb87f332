#pragma once
// Folders: their tables, their messages made, copied, moved and deleted, their subfolders. Changes are seen
// at once.
//
// What is made here has one reference and keeps the mailbox alive as long as it lives.

#include <memory>

#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

IMAPIFolder* NewFolderObject(std::shared_ptr<CDatabase> database, std::shared_ptr<TFolder> folder,
                             bool writable);

}  // namespace mailbox
