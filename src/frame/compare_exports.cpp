// Exports of value comparison.

#include "compare/item_compare.h"
#include "compare/value_operations.h"
#include "quorvel.h"

int Quorvel_ComparePropValues(SPropValue* pv1, SPropValue* pv2, long* pnResult, ECompareMethod method) {
    return compare::ComparePropValues(pv1, pv2, pnResult, method);
}

int Quorvel_IsEmptyValue(SPropValue* pv, int* pbEmpty, unsigned long* pnSize) {
    return compare::IsEmptyValue(pv, pbEmpty, pnSize);
}

long Quorvel_IsMVPropsIntersects(SPropValue* pv1, SPropValue* pv2, int* pbIntersects, ECompareMethod method) {
    return compare::IsMVPropsIntersects(pv1, pv2, pbIntersects, method);
}

HRESULT Quorvel_CompareStreamProp(IMessage* msg1, IMessage* msg2, unsigned long ulPropTag, long* pnResult,
                                  bool* pbCompared) {
    return compare::CompareStreamProp(msg1, msg2, ulPropTag, pnResult, pbCompared);
}

void Quorvel_CountProps2(SPropValue* values, unsigned long count, long* pnFilled, unsigned long* sizes) {
    compare::CountProps2(values, count, pnFilled, sizes);
}

HRESULT Quorvel_CountProps(IMessage* item, SPropTagArray* tags, long* pnFilled, unsigned long* sizes) {
    return compare::CountProps(item, tags, pnFilled, sizes);
}

HRESULT Quorvel_CountStreamProps(IMessage* msg, SPropTagArray* tags, long* pnFilled, unsigned long* sizes) {
    return compare::CountStreamProps(msg, tags, pnFilled, sizes);
}
