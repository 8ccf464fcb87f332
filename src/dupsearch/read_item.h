#pragma once
// The first step of an addition: what the plan reads of an item, into the item's record.

#include <memory_resource>

#include "dupsearch/plan.h"
#include "dupsearch/value_override.h"

/// Reads the plain values and the derived ones, with one request where that can be, and replaces values of which
/// items do not keep what is wanted. memory: where texts and values are kept. False, and a line, when the item
/// cannot be read.
bool ReadItem(TPlan& plan, TAddedItem& added, std::pmr::memory_resource& memory);

/// Writes that something replaced a value that was read.
void LogChangedValue(const wchar_t* name, const SPropValue& value);
