#include "compare/value_operations.h"

#include <mapicode.h>

#include "compare/value_compare.h"
#include "log/CLog.h"

namespace compare {

using logging::g_Log;

namespace {

unsigned TypeOf(const SPropValue* value) {
    return static_cast<unsigned>(PROP_TYPE(value->ulPropTag));
}

}  // namespace

int ComparePropValues(const SPropValue* pv1, const SPropValue* pv2, long* result, ECompareMethod method) {
    constexpr char tag[] = "Quorvel_ComparePropValues";
    if (!pv1 || !pv2) {
        g_Log.Error(tag, "PropValue1 == NULL || PropValue2 == NULL\n");
        return FALSE;
    }
    if (PROP_ID(pv1->ulPropTag) != PROP_ID(pv2->ulPropTag)) {
        g_Log.Error(tag, "PropValue1->Tag != PropValue2->Tag\n");
        return FALSE;
    }
    if (TypeOf(pv1) == PT_ERROR || TypeOf(pv2) == PT_ERROR) {
        g_Log.Error(tag, "PropType == PT_ERROR\n");
        return FALSE;
    }
    if (TypeOf(pv1) != TypeOf(pv2)) {
        g_Log.Warning(tag, "Prop1Type(0x%x) != Prop2Type(0x%x), Tag=0x%x\n", TypeOf(pv1), TypeOf(pv2),
                      static_cast<unsigned>(pv1->ulPropTag));
        *result = TypeOf(pv1) > TypeOf(pv2) ? 1 : -1;
        return TRUE;
    }
    *result = PV_Compare(pv1->Value, pv2->Value, pv1->ulPropTag, method);
    return TRUE;
}

int IsEmptyValue(const SPropValue* pv, int* empty, ULONG* size) {
    constexpr char tag[] = "Quorvel_IsEmptyValue";
    if (size) *size = 0;
    if (!pv) {
        g_Log.Error(tag, "lpPropValue == NULL\n");
        return FALSE;
    }
    if (TypeOf(pv) != PT_ERROR) {
        *empty = PV_IsEmpty(pv->Value, PROP_TYPE(pv->ulPropTag), size);
        return TRUE;
    }
    if (pv->Value.err != MAPI_E_NOT_FOUND) {
        g_Log.Error(tag, "Type=PT_ERROR, Value(0x%x)!=MAPI_E_NOT_FOUND\n",
                    static_cast<unsigned>(pv->Value.err));
        return FALSE;
    }
    *empty = TRUE;
    return TRUE;
}

long IsMVPropsIntersects(const SPropValue* pv1, const SPropValue* pv2, int* intersects,
                         ECompareMethod method) {
    constexpr char tag[] = "Quorvel_IsArraysIntersects";
    if (!pv1) {
        g_Log.Error(tag, "pVal1 == NULL || pVal1 == NULL\n");
        return 0;
    }
    *intersects = 0;
    if (!(TypeOf(pv1) & MV_FLAG)) {
        g_Log.Error(tag, "PropType(0x%x) has no MV_FLAG\n", TypeOf(pv1));
        return 0;
    }
    if (TypeOf(pv1) != TypeOf(pv2)) {
        g_Log.Error(tag, "PropType1(0x%x) != PropType2(0x%x)\n", TypeOf(pv1), TypeOf(pv2));
        return 0;
    }
    return static_cast<long>(PV_IsMVIntersects(pv1->Value, pv2->Value, TypeOf(pv1), method, intersects));
}

void CountProps2(const SPropValue* values, ULONG count, long* filled, ULONG* sizes) {
    *filled = 0;
    for (ULONG i = 0; i < count; ++i) {
        const SPropValue& value = values[i];
        if (TypeOf(&value) == PT_ERROR && value.Value.err != S_OK) {
            if (value.Value.err != MAPI_E_NOT_FOUND) {
                g_Log.Error("Quorvel_CountProps2", "PropError(%d)\n", static_cast<int>(value.Value.err));
            }
            continue;
        }
        ULONG size = 0;
        if (PV_IsEmpty(value.Value, TypeOf(&value), sizes ? &size : nullptr)) continue;
        ++*filled;
        if (sizes) sizes[i] = size;
    }
}

}  // namespace compare
