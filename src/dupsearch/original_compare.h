#pragma once
// Which of two items is to be kept.

#include "dupsearch/CItems.h"

/// 1 when a is preferred over b as original, -1 when b is; never 0. Not transitive for okLargestValues and
/// okApntRecurrence. `sizes`: how many ValuesSizes an item has. What an item's facts leave open is logged and
/// passed on to the number of filled properties, then to the order of addition.
int fnCompareOriginal(const TItem& a, const TItem& b, unsigned nKind, size_t sizes);
