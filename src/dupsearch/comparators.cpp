#include "dupsearch/comparators.h"

#include <bit>

#include "base/text.h"
#include "base/ticks.h"
#include "compare/CDefinitions.h"
#include "compare/item_compare.h"
#include "compare/value_compare.h"
#include "compare/value_operations.h"
#include "log/CLog.h"

namespace dupsearch {

using items::TDerivedValue;
using logging::g_Log;
using store::ComPtr;

namespace {

constexpr char kTag[] = "CDuplicateSearch.fnCompare";
constexpr char kApproxTag[] = "CCmpData.fnCompare_ApproxStart";
constexpr ULONGLONG kSecondsPerDay = 86400;

int Fail(bool& error, int order = 1) {
    error = true;
    return order;
}

unsigned TypeOf(const TSubValue& subValue) {
    return static_cast<unsigned>(PROP_TYPE(subValue.derived.value->ulPropTag));
}

}  // namespace

ECompareMethod ValueMethod(const TComparyProp& definition) {
    switch (definition.nCompareMethod) {
        case cmApntAlldaylikeSubject:
        case cmApntAlldaylikeStart:
        case cmApntApproxStart:
            return cmExact;
        default:
            return static_cast<ECompareMethod>(definition.nCompareMethod);
    }
}

int fnCompare(const TCompareContext& context, const SPropValue* other, uint32_t otherItem, bool& error) {
    if (context.definition.nInterface != 0) {
        g_Log.Error(kTag, "nInterface must be 0\n");
        return Fail(error);
    }
    if (!context.pPropValue) {
        g_Log.Error(kTag, "pContext->pPropValue must be not NULL\n");
        return Fail(error);
    }
    if (!other) {
        g_Log.ErrorW(kTag, L"PVal2 == NULL, PropKey=%s, EntryID=%s\n", compare::KeyOf(context.definition),
                     base::Widen(context.items[otherItem].EntryID).c_str());
        return 1;
    }
    long order = 0;
    if (!compare::ComparePropValues(context.pPropValue, other, &order, ValueMethod(context.definition)))
        return Fail(error);
    return static_cast<int>(order);
}

int fnCompareStream(const TCompareContext& context, uint32_t otherItem, bool& error,
                    ComPtr<IMessage>* opened) {
    if (context.definition.nInterface != 1) {
        g_Log.Error(kTag, "nInterface must be 1\n");
        return Fail(error);
    }
    if (!context.lpMessage) {
        g_Log.Error(kTag, "pContext->lpMessage must be not equal NULL\n");
        return Fail(error);
    }
    const TItem& other = context.items[otherItem];
    // Nobody can tell what is in an item that does not open, and a passing failure would part it from its equals.
    for (int attempts = 2;; --attempts) {
        long order = 0;
        bool bCmpWritten = false;
        HRESULT compared = E_FAIL;
        const ComPtr<IMessage> otherMessage =
            context.items.Reader().Open(other.EntryID, other.StoreID()).message;
        if (otherMessage) {
            if (opened) *opened = otherMessage;
            compared =
                compare::CompareStreamProp(context.lpMessage, context.TagOf(context.item), otherMessage.Get(),
                                           context.TagOf(other), &order, &bCmpWritten);
        }
        if (bCmpWritten) return static_cast<int>(order);
        if (attempts > 1 && compared != S_OK) continue;
        if (!otherMessage) {
            g_Log.Error(kTag, "cant open message, see prev errors in log\n");
        } else {
            g_Log.ErrorW(kTag, L"bCmpWritten = false, PropKey=%s, EntryID1=%s, EntryID2=%s\n",
                         compare::KeyOf(context.definition), base::Widen(context.item.EntryID).c_str(),
                         base::Widen(other.EntryID).c_str());
        }
        return Fail(error);
    }
}

int ElementOf(const TSubValue& subValue) {
    const int slot = std::countr_zero(subValue.mask);
    const auto& elements = subValue.derived.value->Value.MVszW;
    for (ULONG i = 0; i < elements.cValues && i < compare::kPhoneKinds; ++i) {
        if (subValue.derived.kinds[i] == slot) return static_cast<int>(i);
    }
    return -1;
}

int fnCompareSubValues(const TCompareContext& context, const TSubValue& mine, const TSubValue& other,
                       bool& error) {
    const uint32_t masks[] = {mine.mask, other.mask};
    for (int i = 0; i < 2; ++i) {
        if (masks[i] != 0) continue;
        g_Log.Error(kTag, "uItem%dPropMask == 0\n", i + 1);
        return Fail(error);
    }
    const unsigned type = TypeOf(mine), otherType = TypeOf(other);
    if (type != otherType) {
        g_Log.Error(kTag, "PROP_TYPE1(0x%x) != PROP_TYPE2(0x%x), PROP_ID=0x%x\n", type, otherType,
                    static_cast<unsigned>(PROP_ID(mine.derived.value->ulPropTag)));
        return Fail(error, type > otherType ? 1 : -1);
    }
    if (type == PT_ERROR) {
        g_Log.Error(kTag, "PROP_TYPE == PT_ERROR\n");
        return Fail(error);
    }
    int order = 0;
    const int ret =
        compare::PV_SubCompare(mine.derived.value->Value, ElementOf(mine), other.derived.value->Value,
                               ElementOf(other), type, ValueMethod(context.definition), &order);
    if (ret != 0) {
        g_Log.Error(kTag, "CompareSubValues failed, ret = 0x%x\n", static_cast<unsigned>(ret));
        return Fail(error);
    }
    return order;
}

int CompareApproxStart(const FILETIME& t1, const FILETIME& t2) {
    const ULONGLONG a = base::Ticks(t1), b = base::Ticks(t2);
    const ULONGLONG difference = a > b ? a - b : b - a;
    const ULONGLONG seconds = difference / base::kTicksPerSecond + (difference % base::kTicksPerSecond != 0);
    if (seconds < kSecondsPerDay) return 0;
    return a > b ? 1 : -1;
}

int fnCompare_ApproxStart(const SPropValue* value1, const SPropValue* value2, bool& error) {
    const bool present = value1 && value2;
    g_Log.Assert(present, kApproxTag, __LINE__, "pValue1 or/and pValue2 is NULL");
    if (!present) return Fail(error);
    const bool times =
        PROP_TYPE(value1->ulPropTag) == PT_SYSTIME && PROP_TYPE(value2->ulPropTag) == PT_SYSTIME;
    g_Log.Assert(times, kApproxTag, __LINE__, "PROP_TYPE( pValue1/2->ulPropTag ) == PT_SYSTIME");
    if (!times) return Fail(error);
    return CompareApproxStart(value1->Value.ft, value2->Value.ft);
}

const TDerivedValue* FindDerived(const TItem& item, ULONG tag) {
    for (const TDerivedValue& derived : item.derived) {
        if (derived.value && PROP_ID(derived.value->ulPropTag) == PROP_ID(tag)) return &derived;
    }
    return nullptr;
}

}  // namespace dupsearch
