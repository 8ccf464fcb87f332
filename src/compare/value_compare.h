#pragma once
// The one notion of two property values being the same: typed three-way comparison under a method, emptiness,
// intersection of multi-valued strings. Only the sign of a comparison means something, unless said otherwise.

#include <windows.h>
#include <mapidefs.h>

#include "quorvel.h"

/// Typed comparison of two values of the type in ulPropTag's low 16 bits.
int PV_Compare(const _PV& value1, const _PV& value2, ULONG ulPropTag, ECompareMethod method);
/// Compares element index1 of one multi-valued string with element index2 of another: 0 and *result, or -1.
int PV_SubCompare(const _PV& mv1, int index1, const _PV& mv2, int index2, ULONG propType,
                  ECompareMethod method, int* result);
/// 0 when decided, 0xFFFFFFFF for a type that is no multi-valued string.
ULONG PV_IsMVIntersects(const _PV& mv1, const _PV& mv2, ULONG propType, ECompareMethod method, int* found);
/// Inverted to its name, as callers rely on: 1 when the element holds a character, 0 when it is empty.
int PV_IsSubEmpty(const _PV& mv, int index, ULONG propType);
/// Non-zero when empty; *size, when given, receives characters, bytes, elements, or 1.
int PV_IsEmpty(const _PV& value, ULONG propType, ULONG* size);

namespace compare {
int ComparePropValues(const SPropValue* pv1, const SPropValue* pv2, long* result, ECompareMethod method);
int IsEmptyValue(const SPropValue* pv, int* empty, ULONG* size);
long IsMVPropsIntersects(const SPropValue* pv1, const SPropValue* pv2, int* intersects,
                         ECompareMethod method);
void CountProps2(const SPropValue* values, ULONG count, long* filled, ULONG* sizes);
HRESULT CountProps(IMessage* item, SPropTagArray* tags, long* filled, ULONG* sizes);
HRESULT CountStreamProps(IMessage* item, SPropTagArray* tags, long* filled, ULONG* sizes);
HRESULT CompareStreamProp(IMessage* item1, IMessage* item2, ULONG tag, long* result, bool* compared);
}  // namespace compare
