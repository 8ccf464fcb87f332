#pragma once
// Comparing, judging and counting values as hosts hand them in: arguments are checked first.

#include <mapidefs.h>
#include <windows.h>

#include "quorvel.h"

namespace compare {

// The exports of the same names (quorvel.h documents them), without their frame.
int ComparePropValues(const SPropValue* pv1, const SPropValue* pv2, long* result, ECompareMethod method);
int IsEmptyValue(const SPropValue* pv, int* empty, ULONG* size);
long IsMVPropsIntersects(const SPropValue* pv1, const SPropValue* pv2, int* intersects,
                         ECompareMethod method);
void CountProps2(const SPropValue* values, ULONG count, long* filled, ULONG* sizes);

}  // namespace compare
