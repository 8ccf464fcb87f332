#include "compare/value_compare.h"

#include <array>
#include <cstring>
#include <cwchar>

#include "compare/recipients.h"
#include "compare/string_compare.h"
#include "log/CLog.h"

namespace compare {

using logging::g_Log;

namespace {

constexpr char kTag[] = "_PV_Compare";

/// Difference of two 32-bit numbers; one that does not fit wraps.
int RawDifference(ULONG a, ULONG b) {
    return static_cast<int>(a - b);
}

/// Bytes of a binary, elements of a multi-valued one, whose members all are a count and a pointer; a count
/// without a pointer stands for none, as a null text stands for an empty one.
ULONG CountOf(const SBinary& bytes) {
    return bytes.lpb ? bytes.cb : 0;
}
ULONG CountOf(const _PV& array) {
    return array.MVl.lpl ? array.MVl.cValues : 0;
}

// ---- Comparison, one function a rule of the table below ----

int CompareShort(const _PV& a, const _PV& b, ECompareMethod) {
    return a.i - b.i;
}

int CompareLong(const _PV& a, const _PV& b, ECompareMethod) {
    return RawDifference(a.ul, b.ul);
}

int CompareNull(const _PV& a, const _PV& b, ECompareMethod method) {
    g_Log.Error(kTag, "type is PT_NULL!\n");
    return CompareLong(a, b, method);
}

int CompareError(const _PV& a, const _PV& b, ECompareMethod method) {
    g_Log.Error(kTag, "type is PT_ERROR!\n");
    return CompareLong(a, b, method);
}

// Hosts rely on single-precision values never telling two items apart: the first value is taken from itself,
// which gives 0 unless it is infinite or no number.
int CompareFloat(const _PV& a, const _PV&, ECompareMethod) {
    return a.flt - a.flt == 0.0f ? 0 : -1;
}

int CompareDouble(const _PV& a, const _PV& b, ECompareMethod) {
    const double difference = a.dbl - b.dbl;
    if (difference == 0.0) return 0;
    return difference > 0.0 ? 1 : -1;  // no number sorts first
}

// Equal 64-bit values never compare equal; hosts rely on that too.
int CompareInt64(const _PV& a, const _PV& b, ECompareMethod) {
    const auto difference = static_cast<ULONGLONG>(a.li.QuadPart) - static_cast<ULONGLONG>(b.li.QuadPart);
    return static_cast<LONGLONG>(difference) < 0 ? -1 : 1;
}

int CompareBoolean(const _PV& a, const _PV& b, ECompareMethod) {
    return (a.b != 0) - (b.b != 0);
}

int CompareString8(const _PV& a, const _PV& b, ECompareMethod method) {
    return LPCSTR_Compare(a.lpszA, b.lpszA, method);
}

int CompareUnicode(const _PV& a, const _PV& b, ECompareMethod method) {
    return LPCWSTR_Compare(a.lpszW, b.lpszW, method);
}

int CompareTime(const _PV& a, const _PV& b, ECompareMethod method) {
    return FILETIME_Compare(a.ft, b.ft, method);
}

// A missing identifier sorts first, as a missing text does.
int CompareGuid(const _PV& a, const _PV& b, ECompareMethod) {
    if (!a.lpguid || !b.lpguid) return (a.lpguid != nullptr) - (b.lpguid != nullptr);
    return std::memcmp(a.lpguid, b.lpguid, sizeof(GUID));
}

int CompareRecipientBinaries(const SBinary& a, const SBinary& b) {
    const bool complete = a.cb >= sizeof(TRecipientList) && b.cb >= sizeof(TRecipientList);
    g_Log.Assert(complete, kTag, 427, nullptr);
    if (!complete) return a.cb < b.cb ? -1 : 1;
    return CompareRecipientLists(reinterpret_cast<TRecipientList*>(a.lpb),
                                 reinterpret_cast<TRecipientList*>(b.lpb));
}

int CompareBytes(const SBinary& a, const SBinary& b) {
    const ULONG count = CountOf(a);
    if (count != CountOf(b)) return RawDifference(count, CountOf(b));
    return count == 0 ? 0 : std::memcmp(a.lpb, b.lpb, count);
}

int CompareBinary(const _PV& a, const _PV& b, ECompareMethod method) {
    return method == cmRecipients ? CompareRecipientBinaries(a.bin, b.bin) : CompareBytes(a.bin, b.bin);
}

template <size_t kElementSize>
int CompareArray(const _PV& a, const _PV& b, ECompareMethod) {
    const ULONG count = CountOf(a);
    if (count != CountOf(b)) return RawDifference(count, CountOf(b));
    return count == 0 ? 0 : std::memcmp(a.MVl.lpl, b.MVl.lpl, count * kElementSize);
}

/// First non-zero comparison of elements at the same place, after the counts.
template <typename CompareElements>
int CompareElementwise(const _PV& a, const _PV& b, CompareElements&& compareElements) {
    const ULONG count = CountOf(a);
    if (count != CountOf(b)) return RawDifference(count, CountOf(b));
    for (ULONG i = 0; i < count; ++i) {
        if (const int order = compareElements(i)) return order;
    }
    return 0;
}

int CompareString8Array(const _PV& a, const _PV& b, ECompareMethod method) {
    return CompareElementwise(
        a, b, [&](ULONG i) { return LPCSTR_Compare(a.MVszA.lppszA[i], b.MVszA.lppszA[i], method); });
}

int CompareUnicodeArray(const _PV& a, const _PV& b, ECompareMethod method) {
    return CompareElementwise(
        a, b, [&](ULONG i) { return LPCWSTR_Compare(a.MVszW.lppszW[i], b.MVszW.lppszW[i], method); });
}

int CompareBinaryArray(const _PV& a, const _PV& b, ECompareMethod) {
    return CompareElementwise(a, b,
                              [&](ULONG i) { return CompareBytes(a.MVbin.lpbin[i], b.MVbin.lpbin[i]); });
}

// ---- Size; a value of size 0 is empty. The characters of a text are counted up to `most` ----

ULONG SizeOne(const _PV&, size_t) {
    return 1;
}
ULONG SizeString8(const _PV& value, size_t most) {
    return value.lpszA ? static_cast<ULONG>(strnlen(value.lpszA, most)) : 0;
}
ULONG SizeUnicode(const _PV& value, size_t most) {
    return value.lpszW ? static_cast<ULONG>(wcsnlen(value.lpszW, most)) : 0;
}
ULONG SizeBinary(const _PV& value, size_t) {
    return CountOf(value.bin);
}
ULONG SizeArray(const _PV& value, size_t) {
    return CountOf(value);
}

// ---- The types ----

struct TTypeRule {
    ULONG type;
    int (*compare)(const _PV& a, const _PV& b, ECompareMethod method);
    ULONG (*size)(const _PV& value, size_t most);
};

constexpr TTypeRule kRules[] = {
    {PT_NULL, CompareNull, SizeOne},
    {PT_I2, CompareShort, SizeOne},
    {PT_LONG, CompareLong, SizeOne},
    {PT_R4, CompareFloat, SizeOne},
    {PT_DOUBLE, CompareDouble, SizeOne},
    {PT_CURRENCY, CompareInt64, SizeOne},
    {PT_APPTIME, CompareDouble, SizeOne},
    {PT_ERROR, CompareError, SizeOne},
    {PT_BOOLEAN, CompareBoolean, SizeOne},
    {PT_I8, CompareInt64, SizeOne},
    {PT_STRING8, CompareString8, SizeString8},
    {PT_UNICODE, CompareUnicode, SizeUnicode},
    {PT_SYSTIME, CompareTime, SizeOne},
    {PT_CLSID, CompareGuid, SizeOne},
    {PT_BINARY, CompareBinary, SizeBinary},
    {PT_MV_I2, CompareArray<2>, SizeArray},
    {PT_MV_LONG, CompareArray<4>, SizeArray},
    {PT_MV_R4, CompareArray<4>, SizeArray},
    {PT_MV_DOUBLE, CompareArray<8>, SizeArray},
    {PT_MV_CURRENCY, CompareArray<8>, SizeArray},
    {PT_MV_APPTIME, CompareArray<8>, SizeArray},
    {PT_MV_SYSTIME, CompareArray<8>, SizeArray},
    {PT_MV_I8, CompareArray<8>, SizeArray},
    {PT_MV_CLSID, CompareArray<16>, SizeArray},
    {PT_MV_STRING8, CompareString8Array, SizeArray},
    {PT_MV_UNICODE, CompareUnicodeArray, SizeArray},
    {PT_MV_BINARY, CompareBinaryArray, SizeArray},
};

// The types are sparse 16-bit numbers. Folding the bit of the multi-valued types and that of the binary types
// into the low byte keeps them apart, so a rule is found with one look.
constexpr size_t Slot(ULONG type) {
    return (type & 0x5F) | (type & 0x1000 ? 0x80u : 0u) | (type & 0x0100 ? 0x20u : 0u);
}

constexpr std::array<signed char, 256> RulesBySlot() {
    std::array<signed char, 256> slots{};
    for (auto& slot : slots) slot = -1;
    for (size_t i = 0; i < std::size(kRules); ++i) {
        if (slots[Slot(kRules[i].type)] != -1) throw "two types share a slot";  // fails to compile
        slots[Slot(kRules[i].type)] = static_cast<signed char>(i);
    }
    return slots;
}

constexpr std::array<signed char, 256> kRuleOfSlot = RulesBySlot();

const TTypeRule* FindRule(ULONG type) {
    const int index = kRuleOfSlot[Slot(type)];
    return index >= 0 && kRules[index].type == type ? &kRules[index] : nullptr;
}

// ---- Elements of multi-valued strings ----

bool IsStringArray(ULONG type, const char* tag) {
    if (type == PT_MV_STRING8 || type == PT_MV_UNICODE) return true;
    g_Log.Error(tag, "Unsupported type(0x%x)\n", static_cast<unsigned>(type));
    return false;
}

bool IsElement(const _PV& mv, int index) {
    return index >= 0 && static_cast<ULONG>(index) < CountOf(mv);
}

bool HasText(const _PV& mv, ULONG index, ULONG type) {
    if (type == PT_MV_UNICODE) return mv.MVszW.lppszW[index] && mv.MVszW.lppszW[index][0];
    return mv.MVszA.lppszA[index] && mv.MVszA.lppszA[index][0];
}

int CompareElements(const _PV& mv1, ULONG index1, const _PV& mv2, ULONG index2, ULONG type,
                    ECompareMethod method) {
    if (type == PT_MV_UNICODE)
        return LPCWSTR_Compare(mv1.MVszW.lppszW[index1], mv2.MVszW.lppszW[index2], method);
    return LPCSTR_Compare(mv1.MVszA.lppszA[index1], mv2.MVszA.lppszA[index2], method);
}

}  // namespace

int PV_Compare(const _PV& value1, const _PV& value2, ULONG ulPropTag, ECompareMethod method) {
    if (const TTypeRule* rule = FindRule(PROP_TYPE(ulPropTag))) return rule->compare(value1, value2, method);
    g_Log.Error(kTag, "Invalid type in tag(0x%x)\n", static_cast<unsigned>(ulPropTag));
    return -1;
}

int PV_IsEmpty(const _PV& value, ULONG propType, ULONG* size) {
    const TTypeRule* rule = FindRule(propType);
    // Whether there is a first character is all that matters where nobody asks for the size.
    const ULONG valueSize = rule ? rule->size(value, size ? SIZE_MAX : 1) : 1;
    if (size) *size = valueSize;
    return valueSize == 0;
}

int PV_SubCompare(const _PV& mv1, int index1, const _PV& mv2, int index2, ULONG propType,
                  ECompareMethod method, int* result) {
    if (!IsStringArray(propType, "_PV_SubCompare")) return -1;
    if (!IsElement(mv1, index1) || !IsElement(mv2, index2)) return -1;
    *result =
        CompareElements(mv1, static_cast<ULONG>(index1), mv2, static_cast<ULONG>(index2), propType, method);
    return 0;
}

ULONG PV_IsMVIntersects(const _PV& mv1, const _PV& mv2, ULONG propType, ECompareMethod method, int* found) {
    *found = 0;
    if (!IsStringArray(propType, "_PV_IsMVIntersects")) return 0xFFFFFFFF;
    for (ULONG i = 0; i < CountOf(mv1); ++i) {
        if (!HasText(mv1, i, propType)) continue;
        for (ULONG k = 0; k < CountOf(mv2); ++k) {
            if (!HasText(mv2, k, propType)) continue;
            if (CompareElements(mv1, i, mv2, k, propType, method) == 0) {
                *found = 1;
                return 0;
            }
        }
    }
    return 0;
}

int PV_IsSubEmpty(const _PV& mv, int index, ULONG propType) {
    if (!IsStringArray(propType, "_PV_IsSubEmpty")) return 1;
    g_Log.Assert(IsElement(mv, index), "_PV_IsSubEmpty", 712, nullptr);
    return IsElement(mv, index) && HasText(mv, static_cast<ULONG>(index), propType);
}

}  // namespace compare
