#pragma once
// The one notion of two property values being the same: typed three-way comparison under a method, emptiness,
// intersection of multi-valued strings, counts of filled properties, comparison of two streams.
//
// A comparison is negative when the first value sorts before the second, 0 when they count as equal, positive
// otherwise. Only the sign means something; some types return a raw difference, which may wrap. What callers
// can and cannot rely on (tests/compare holds the list against random values):
//   - Swapping the arguments flips the sign. Not so for PT_I8 and PT_CURRENCY: equal values give +1 and
//     so never compare equal. PT_R4 values are all equal. A double that is no number gives -1.
//   - PT_LONG and other raw differences order only values less than 2^31 apart.
//   - Multi-valued numbers are ordered by their bytes: consistently, not numerically.
//   - Equality under the tolerant methods on times (cmTimeWithin10Min, cmTimeWithinDay, cmDayAndMonth) is not
//     transitive.
// A null text counts as an empty one, and a count of bytes or elements without a pointer to them as none.
// Nothing here allocates. Recipient lists (cmRecipients) are normalised in place by their first comparison,
// so one list must not be compared on two threads at once.

#include <mapidefs.h>
#include <windows.h>

#include "quorvel.h"

namespace compare {

/// Typed comparison of two values of the type in ulPropTag's low 16 bits.
int PV_Compare(const _PV& value1, const _PV& value2, ULONG ulPropTag, ECompareMethod method);
/// Compares element index1 of one multi-valued string with element index2 of another: 0 and *result, or -1
/// for an index out of range or another type.
int PV_SubCompare(const _PV& mv1, int index1, const _PV& mv2, int index2, ULONG propType,
                  ECompareMethod method, int* result);
/// *found is 1 when an element of one multi-valued string equals an element of the other; empty strings equal
/// none. 0 when decided, 0xFFFFFFFF for a type that is no multi-valued string.
ULONG PV_IsMVIntersects(const _PV& mv1, const _PV& mv2, ULONG propType, ECompareMethod method, int* found);
/// Inverted to its name, as callers rely on: 1 when the element holds a character, 0 when it is empty. An
/// index out of range is asserted and gives 0; a type that is no multi-valued string gives 1.
int PV_IsSubEmpty(const _PV& mv, int index, ULONG propType);
/// Non-zero when empty; *size, when given, receives characters, bytes or elements by type, 1 for a type that
/// is never empty.
int PV_IsEmpty(const _PV& value, ULONG propType, ULONG* size);

}  // namespace compare
