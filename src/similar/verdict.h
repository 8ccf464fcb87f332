#pragma once
// The verdict on two contacts: the rule tables, walked in their order over the results of the fields.

#include "similar/TCmpData.h"
#include "similar/TVerdict.h"
#include "similar/rules.h"

namespace similar {

/// Compares fields as the rules ask for them, and writes the compared ones to the log.
TVerdict GetSimilarType(TCmpData& data, const TRuleTables& rules);

}  // namespace similar
