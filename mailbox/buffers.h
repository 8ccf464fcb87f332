#pragma once
// Blocks of MAPIAllocateBuffer. More blocks can be hung onto one; freeing the first frees them all.

#include <windows.h>
#include <mapidefs.h>

namespace mailbox {

/// Null when there is no memory.
void* NewBuffer(size_t size);
/// A further block that is freed together with root.
void* NewBufferMore(size_t size, void* root);
/// Null is allowed. False when this is no block, or one already freed.
bool FreeBuffer(void* buffer);
/// The rows, each row's values, and the set itself. Null is allowed.
void FreeRows(SRowSet* rows);

}  // namespace mailbox
