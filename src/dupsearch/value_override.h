#pragma once
// Values as a search compares them: what replaces a value that was read before it is filed.

#include "dupsearch/CItems.h"
#include "quorvel.h"

/// An item while it is being added.
struct TAddedItem {
    TItem& item;
    IMessage* message;  // null: it is not to be asked
};

/// Applied to every value read: the size without what the store adds, the unread state, trimmed subjects.
/// True when the value changed. Texts are trimmed in place.
bool OverrideReadValue(SPropValue& value, const TAddedItem& added);
/// Applied to a copy of a value before it is filed under a definition: all-day-like appointments, recurrence.
/// True when it changed. A text is left as it is; the item keeps the one that replaces it.
bool OverrideComparedValue(SPropValue& value, const TComparyProp& definition, TAddedItem& added);
/// Whether that does anything under this definition.
bool IsOverridden(const TComparyProp& definition);
/// Whether it makes a value of a missing one, and whether the item is asked for that.
bool FillsMissing(const TComparyProp& definition);
bool AsksItemToFill(const TComparyProp& definition);

/// Turns an unread state that the store does not keep into one computed from the message flags. False, and
/// the value untouched, when these are missing too.
bool ComputeContentUnread(SPropValue& value, IMessage* message);
