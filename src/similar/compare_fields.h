#pragma once
// How the fields of two contacts match. A result is worked out when it is first asked for and kept in the data of the
// comparison: those of both names together, and those of all fields of an enabled group.

#include "similar/TCmpData.h"

namespace similar {

/// The method by which a field matches, or Unequal.
int GetFieldResult(TCmpData& data, int field);
inline bool Matched(TCmpData& data, int field) {
    return IsMatch(GetFieldResult(data, field));
}

/// Takes the names of the other contact the other way round. Both are compared already, in one of the reversed modes.
void SwitchReversedMode(TCmpData& data);

}  // namespace similar
