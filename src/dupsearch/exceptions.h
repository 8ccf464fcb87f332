#pragma once
// Exception rules: pairs of items that the compared properties call equal and that are no duplicates all the
// same.

#include <vector>

#include "dupsearch/CItems.h"
#include "dupsearch/TPreparation.h"

/// Name of a rule for the log, "unknown" for a number that names none.
const char* ExceptionName(unsigned rule, bool bShort);

/// Makes the search read what its rules need, besides what it compares.
void PrepareExceptions(IMessage* item, TPreparation& preparation);

/// Whether a rule exempts the pair: they are no duplicates. The first rule of the list that does decides.
/// With extra logging on, every rule asked is written.
bool IsExempt(const TPreparation& preparation, const CItems& items, uint32_t item, uint32_t equal);
