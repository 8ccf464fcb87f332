#pragma once
// Puts back what a run of Clean moved and completed, whole or killed.

#include <string>

#include "host/clean.h"

namespace host {

/// Items that are in their place are passed over; those that are not put back are named, and counted as refused. Throws
/// Failure when the file is none of ours, was changed or belongs to another mailbox, before anything is moved; and when
/// nothing could be saved. Closes the session itself: what it counts as put back is saved.
TMoved Undo(CSession& session, const std::string& undoFile, CProgress& progress);

}  // namespace host
