#pragma once
// The first step of an addition: what the plan reads of an item, into the item's record.

#include <memory_resource>

#include "dupsearch/plan.h"

namespace dupsearch {

/// An item while it is being added.
struct TAddedItem {
    TItem& item;
    IMessage* message;  // null: it is not to be asked
};

/// Reads the plain values and the derived ones, with one request where that can be, and replaces values of which
/// items do not keep what is wanted: the size without what the store adds, the unread state, trimmed subjects.
/// memory: where texts and values are kept. False, and a line, when the item cannot be read.
bool ReadItem(TPlan& plan, TAddedItem& added, std::pmr::memory_resource& memory);

/// Writes that something replaced a value that was read.
void LogChangedValue(const wchar_t* name, const SPropValue& value);

/// Turns an unread state that the store does not keep into one computed from the message flags. False, and
/// the value untouched, when these are missing too.
bool ComputeContentUnread(SPropValue& value, IMessage* message);

}  // namespace dupsearch
