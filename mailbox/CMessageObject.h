#pragma once
// Messages and their attachments: what is open is a copy of its own from the first change on, and others see
// the changes when SaveChanges succeeds - of an attachment to its message, of a message to its store.
//
// What is made here has one reference and keeps the mailbox alive as long as it lives.

#include <memory>

#include "mailbox/CDatabase.h"
#include "mailbox/platform_headers.h"

namespace mailbox {

/// A message of the store as it is saved at this moment.
IMessage* NewMessageObject(std::shared_ptr<CDatabase> database, std::shared_ptr<TItem> item, bool writable);
/// A new message, which comes into the folder with its first save.
IMessage* NewMessageIn(std::shared_ptr<CDatabase> database, std::shared_ptr<TFolder> folder, bool associated);

/// Marks of an item (PR_MESSAGE_FLAGS, PR_MSG_STATUS), which change at once and without a save.
ULONG Marks(const TItem& item, ULONG tag);
void SetMarks(TItem& item, ULONG tag, ULONG bits, ULONG mask);

}  // namespace mailbox
