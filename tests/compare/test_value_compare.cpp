// Typed comparison at the thresholds of each type, emptiness, elements of multi-valued texts, and the checks
// of the values that hosts hand in.

#include <cmath>
#include <limits>

#include "base/mapi_extra.h"
#include "compare/value_compare.h"
#include "quorvel.h"
#include "tests/compare/sample_values.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;

using namespace std::string_literals;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr long long kMin64 = std::numeric_limits<long long>::min();

// The results are exact where a raw difference is promised, else signs.
TEST(ValueCompare, EachTypeAtItsThresholds) {
    Arena a;
    enum Exactness { sign, raw };
    const struct {
        const char* what;
        ULONG type;
        _PV first, second;
        int expected;
        Exactness exactness;
    } rows[] = {
        {"short, widened", PT_I2, a.Of<short>(-32768), a.Of<short>(32767), -65535, raw},
        {"long", PT_LONG, a.Of<LONG>(7), a.Of<LONG>(3), 4, raw},
        {"long wraps", PT_LONG, a.Of<LONG>(0x7FFFFFFF), a.Of<LONG>(-1), std::numeric_limits<int>::min(), raw},
        {"null compares its word", PT_NULL, a.Of<LONG>(5), a.Of<LONG>(8), -3, raw},
        {"error compares its code", PT_ERROR, a.Of<LONG>(9), a.Of<LONG>(8), 1, raw},
        {"floats are all equal", PT_R4, a.Of(1.0f), a.Of(2.0f), 0, raw},
        {"a second infinite float too", PT_R4, a.Of(1.0f), a.Of(static_cast<float>(kInf)), 0, raw},
        {"a first infinite float", PT_R4, a.Of(static_cast<float>(kInf)), a.Of(1.0f), -1, raw},
        {"a first float that is no number", PT_R4, a.Of(static_cast<float>(kNaN)), a.Of(1.0f), -1, raw},
        {"double", PT_DOUBLE, a.Of(1.5), a.Of(1.25), 1, raw},
        {"double zeros", PT_DOUBLE, a.Of(0.0), a.Of(-0.0), 0, raw},
        {"no number sorts first", PT_DOUBLE, a.Of(1.0), a.Of(kNaN), -1, raw},
        {"infinity minus itself", PT_APPTIME, a.Of(kInf), a.Of(kInf), -1, raw},
        {"application time", PT_APPTIME, a.Of(2.0), a.Of(3.0), -1, raw},
        {"equal 64-bit values", PT_I8, a.Of(5LL), a.Of(5LL), 1, raw},
        {"64-bit below", PT_I8, a.Of(4LL), a.Of(5LL), -1, raw},
        {"64-bit wraps", PT_I8, a.Of(kMin64), a.Of(1LL), 1, raw},
        {"equal currency", PT_CURRENCY, a.Of(0LL), a.Of(0LL), 1, raw},
        {"booleans by being non-zero", PT_BOOLEAN, a.Of<short>(1), a.Of<short>(-1), 0, raw},
        {"false before true", PT_BOOLEAN, a.Of<short>(0), a.Of<short>(-1), -1, raw},
        {"8-bit text", PT_STRING8, a.Text8("abc"), a.Text8("ABD"), -1, sign},
        {"wide text", PT_UNICODE, a.Text(L"abc"), a.Text(L"ABC"), 0, sign},
        {"a null text is empty", PT_UNICODE, a.Of<void*>(nullptr), a.Text(L""), 0, sign},
        {"a null 8-bit text sorts first", PT_STRING8, a.Of<void*>(nullptr), a.Text8("a"), -1, sign},
        {"time", PT_SYSTIME, a.Of(FileTime(1ULL << 32)), a.Of(FileTime(0xFFFFFFFF)), 1, sign},
        {"binary by size first", PT_BINARY, a.Binary("zz"), a.Binary("aaaaa"), -3, raw},
        {"binary by unsigned bytes", PT_BINARY, a.Binary("a\xff"), a.Binary("a\x01"), 1, sign},
        {"empty binaries", PT_BINARY, a.Binary(""), a.Binary(""), 0, raw},
        {"array by count first", PT_MV_LONG, a.Array("\x01\0\0\0\x01\0\0\0"s, 4), a.Array("\x09\0\0\0"s, 4),
         1, raw},
        {"array by its bytes: 256 before 1", PT_MV_LONG, a.Array("\0\x01\0\0"s, 4), a.Array("\x01\0\0\0"s, 4),
         -1, sign},
        {"array of shorts, last byte", PT_MV_I2, a.Array("aabb", 2), a.Array("aabc", 2), -1, sign},
        {"array of floats, last byte", PT_MV_R4, a.Array("aabc", 4), a.Array("aabb", 4), 1, sign},
        {"array of doubles, last byte", PT_MV_DOUBLE, a.Array("12345679", 8), a.Array("12345678", 8), 1,
         sign},
        {"array of currencies, equal", PT_MV_CURRENCY, a.Array("12345678", 8), a.Array("12345678", 8), 0,
         raw},
        {"array of application times, equal", PT_MV_APPTIME, a.Array("87654321", 8), a.Array("87654321", 8),
         0, raw},
        {"array of times, last byte", PT_MV_SYSTIME, a.Array("12345678", 8), a.Array("12345679", 8), -1,
         sign},
        {"array of 8 bytes, last byte", PT_MV_I8, a.Array("12345678abcdefgh", 8),
         a.Array("12345678abcdefgi", 8), -1, sign},
        {"array of guids, last byte", PT_MV_CLSID, a.Array("0123456789abcdeg", 16),
         a.Array("0123456789abcdef", 16), 1, sign},
        {"texts: the first difference", PT_MV_UNICODE, a.Texts({L"A", L"c", L"a"}),
         a.Texts({L"a", L"b", L"z"}), 1, sign},
        {"texts: equal", PT_MV_STRING8, a.Texts8({"A", ""}), a.Texts8({"a", ""}), 0, sign},
        {"texts: count", PT_MV_STRING8, a.Texts8({"a"}), a.Texts8({"a", "a", "a"}), -2, raw},
        {"binaries: size of the second", PT_MV_BINARY, a.Binaries({"a", "bcd"}), a.Binaries({"a", "z"}), 2,
         raw},
        {"binaries: empty ones", PT_MV_BINARY, a.Binaries({"", "b"}), a.Binaries({"", "c"}), -1, sign},
        {"missing bytes", PT_BINARY, a.Binary("ab"), a.Missing(2), 2, raw},
        {"missing bytes on both sides", PT_BINARY, a.Missing(2), a.Missing(3), 0, raw},
        {"missing elements", PT_MV_LONG, a.Missing(1), a.Array("aaaa", 4), -1, raw},
        {"missing texts", PT_MV_UNICODE, a.Texts({L"a"}), a.Missing(1), 1, raw},
        {"missing texts on both sides", PT_MV_STRING8, a.Missing(1), a.Missing(1), 0, raw},
        {"unknown type", PT_OBJECT, a.Of<LONG>(1), a.Of<LONG>(1), -1, raw},
        {"unknown multi-valued type", 0x100D, a.Of<LONG>(1), a.Of<LONG>(1), -1, raw},
    };
    for (const auto& row : rows) {
        const int result = compare::PV_Compare(row.first, row.second, PROP_TAG(row.type, 0x3001), cmExact);
        EXPECT_EQ(row.exactness == raw ? result : SignOf(result), row.expected) << row.what;
    }
    GUID g1{}, g2{};
    g2.Data4[7] = 1;
    EXPECT_LT(compare::PV_Compare(a.Of(&g1), a.Of(&g2), PT_CLSID, cmExact), 0) << "a guid's last byte counts";
    const _PV none = a.Of<void*>(nullptr);
    EXPECT_LT(compare::PV_Compare(none, a.Of(&g1), PT_CLSID, cmExact), 0) << "a null guid sorts first";
    EXPECT_GT(compare::PV_Compare(a.Of(&g1), none, PT_CLSID, cmExact), 0);
    EXPECT_EQ(compare::PV_Compare(none, none, PT_CLSID, cmExact), 0);
}

TEST(ValueCompare, LogsWhatCannotBeCompared) {
    const _PV zero{};
    CapturedLog log;
    compare::PV_Compare(zero, zero, PT_NULL, cmExact);
    compare::PV_Compare(zero, zero, PT_ERROR, cmExact);
    compare::PV_Compare(zero, zero, 0x3001000D, cmExact);
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, "_PV_Compare", "type is PT_NULL!\n"},
                                     {sevError, "_PV_Compare", "type is PT_ERROR!\n"},
                                     {sevError, "_PV_Compare", "Invalid type in tag(0x3001000d)\n"}}));
}

TEST(ValueCompare, AMethodForAnotherTypeIsIgnored) {
    Arena a;
    for (int method = cmExact; method <= cmApntApproxStart; ++method) {
        const auto m = static_cast<ECompareMethod>(method);
        EXPECT_EQ(compare::PV_Compare(a.Of<LONG>(2), a.Of<LONG>(5), PT_LONG, m), -3) << method;
        if (m != cmRecipients) {
            EXPECT_LT(compare::PV_Compare(a.Binary("a"), a.Binary("b"), PT_BINARY, m), 0) << method;
        }
        if (m != cmLast7Digits) {
            EXPECT_GT(compare::PV_Compare(a.Text(L"b1"), a.Text(L"a2"), PT_UNICODE, m), 0) << method;
        }
    }
}

TEST(ValueCompare, LastDigitsOfTextsInEveryForm) {
    Arena a;
    const struct {
        ULONG type;
        _PV first, second;
    } rows[] = {{PT_UNICODE, a.Text(L"(1) 234567"), a.Text(L"1234567")},
                {PT_STRING8, a.Text8("(1) 234567"), a.Text8("1234567")},
                {PT_MV_UNICODE, a.Texts({L"(1) 234567"}), a.Texts({L"1234567"})},
                {PT_MV_STRING8, a.Texts8({"(1) 234567"}), a.Texts8({"1234567"})}};
    for (const auto& row : rows)
        EXPECT_EQ(compare::PV_Compare(row.first, row.second, row.type, cmLast7Digits), 0)
            << std::hex << row.type;
}

TEST(ValueCompare, EmptinessAndSizeByType) {
    Arena a;
    const struct {
        ULONG type;
        _PV value;
        ULONG size;
    } rows[] = {
        {PT_STRING8, a.Text8("abc"), 3},
        {PT_STRING8, a.Text8(""), 0},
        {PT_UNICODE, a.Text(L"\u00e9\xD800"), 2},  // half of a surrogate pair is a character
        {PT_UNICODE, a.Of<void*>(nullptr), 0},
        {PT_BINARY, a.Binary("ab"), 2},
        {PT_BINARY, a.Binary(""), 0},
        {PT_MV_UNICODE, a.Texts({}), 0},
        {PT_MV_UNICODE, a.Texts({L"", L""}), 2},
        {PT_MV_LONG, a.Array("aaaabbbb", 4), 2},
        {PT_MV_BINARY, a.Binaries({}), 0},
        {PT_BINARY, a.Missing(2), 0},
        {PT_MV_LONG, a.Missing(2), 0},
        {PT_LONG, a.Of<LONG>(0), 1},
        {PT_BOOLEAN, a.Of<LONG>(0), 1},
        {PT_SYSTIME, a.Of(FileTime(0)), 1},
        {PT_NULL, a.Of<LONG>(0), 1},
        {PT_OBJECT, a.Of<LONG>(0), 1},
    };
    for (const auto& row : rows) {
        ULONG size = 99;
        EXPECT_EQ(compare::PV_IsEmpty(row.value, row.type, &size) != 0, row.size == 0)
            << std::hex << row.type;
        EXPECT_EQ(size, row.size) << std::hex << row.type;
        EXPECT_EQ(compare::PV_IsEmpty(row.value, row.type, nullptr) != 0, row.size == 0) << "without a size";
    }
}

TEST(ValueCompare, ElementsOfMultiValuedTexts) {
    Arena a;
    int order = 7;
    EXPECT_EQ(compare::PV_SubCompare(a.Missing(1), 0, a.Missing(1), 0, PT_MV_UNICODE, cmExact, &order), -1);
    const _PV wide = a.Texts({L"", L"x", L"+1 (555) 123-4567"}), narrow = a.Texts8({"X", ""});
    CapturedLog log;
    int result = 99;
    EXPECT_EQ(
        compare::PV_SubCompare(wide, 2, a.Texts({L"555.123.4567"}), 0, PT_MV_UNICODE, cmLast7Digits, &result),
        0);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(compare::PV_SubCompare(narrow, 0, a.Texts8({"y"}), 0, PT_MV_STRING8, cmExact, &result), 0);
    EXPECT_LT(result, 0);
    for (const int index : {-1, 3, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(compare::PV_SubCompare(wide, index, wide, 0, PT_MV_UNICODE, cmExact, &result), -1) << index;
        EXPECT_EQ(compare::PV_SubCompare(wide, 0, wide, index, PT_MV_UNICODE, cmExact, &result), -1) << index;
    }
    EXPECT_EQ(log.Lines(), LogLines{}) << "an index out of range is no message";
    EXPECT_EQ(compare::PV_SubCompare(wide, 0, wide, 0, PT_UNICODE, cmExact, &result), -1);
    EXPECT_EQ(compare::PV_IsSubEmpty(wide, 0, PT_MV_UNICODE), 0) << "inverted: 0 says empty";
    EXPECT_EQ(compare::PV_IsSubEmpty(wide, 1, PT_MV_UNICODE), 1);
    EXPECT_EQ(compare::PV_IsSubEmpty(narrow, 0, PT_MV_STRING8), 1);
    EXPECT_EQ(compare::PV_IsSubEmpty(narrow, 1, PT_MV_STRING8), 0);
    EXPECT_EQ(compare::PV_IsSubEmpty(narrow, 2, PT_MV_STRING8), 0);
    EXPECT_EQ(compare::PV_IsSubEmpty(narrow, 0, PT_LONG), 1);
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, "_PV_SubCompare", "Unsupported type(0x1f)\n"},
                                     {sevError, "_PV_IsSubEmpty", "assert failed in line 712\n"},
                                     {sevError, "_PV_IsSubEmpty", "Unsupported type(0x3)\n"}}));
}

TEST(ValueCompare, IntersectionOfMultiValuedTexts) {
    Arena a;
    const struct {
        const char* what;
        std::vector<std::wstring> first, second;
        ECompareMethod method;
        int expected;
    } rows[] = {
        {"without regard to case", {L"", L"x"}, {L"X"}, cmExact, 1},
        {"empty texts are shared with none", {L""}, {L""}, cmExact, 0},
        {"nor with one of which nothing is seen", {L""}, {L"\x00AD"}, cmExact, 0},
        {"last of each", {L"a", L"b", L"c"}, {L"x", L"y", L"C"}, cmExact, 1},
        {"nothing shared", {L"a"}, {L"b"}, cmExact, 0},
        {"no elements", {}, {L"b"}, cmExact, 0},
        {"last seven digits", {L"(555) 123-4567"}, {L"x", L"+49 5551234567"}, cmLast7Digits, 1},
        {"by whole text they differ", {L"(555) 123-4567"}, {L"5551234567"}, cmExact, 0},
    };
    for (const auto& row : rows) {
        SPropValue v1{PT_MV_UNICODE, 0, a.Texts(row.first)}, v2{PT_MV_UNICODE, 0, a.Texts(row.second)};
        int found = 99;
        EXPECT_EQ(Quorvel_IsMVPropsIntersects(&v1, &v2, &found, row.method), 0) << row.what;
        EXPECT_EQ(found, row.expected) << row.what;
        EXPECT_EQ(Quorvel_IsMVPropsIntersects(&v2, &v1, &found, row.method), 0) << row.what;
        EXPECT_EQ(found, row.expected) << row.what << ", swapped";
    }
}

TEST(ValueCompare, IntersectionRefusesOtherValues) {
    Arena a;
    SPropValue texts{PT_MV_UNICODE, 0, a.Texts({L"a"})}, texts8{PT_MV_STRING8, 0, a.Texts8({"a"})},
        longs{PT_MV_LONG, 0, a.Array("aaaa", 4)}, single{PT_LONG, 0, a.Of<LONG>(1)};
    CapturedLog log;
    int found = 99;
    EXPECT_EQ(Quorvel_IsMVPropsIntersects(nullptr, &texts, &found, cmExact), 0);
    EXPECT_EQ(found, 99);
    EXPECT_EQ(Quorvel_IsMVPropsIntersects(&single, nullptr, &found, cmExact), 0);
    EXPECT_EQ(found, 0);
    EXPECT_EQ(Quorvel_IsMVPropsIntersects(&texts, &texts8, &found, cmExact), 0);
    EXPECT_EQ(Quorvel_IsMVPropsIntersects(&longs, &longs, &found, cmExact), -1);
    const char* tag = "Quorvel_IsArraysIntersects";
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, tag, "pVal1 == NULL || pVal1 == NULL\n"},
                                     {sevError, tag, "PropType(0x3) has no MV_FLAG\n"},
                                     {sevError, tag, "PropType1(0x101f) != PropType2(0x101e)\n"},
                                     {sevError, "_PV_IsMVIntersects", "Unsupported type(0x1003)\n"}}));
}

TEST(ValueCompare, ComparePropValuesChecksItsArguments) {
    Arena a;
    SPropValue number{PROP_TAG(PT_LONG, 0x3001), 0, a.Of<LONG>(1)},
        other{PROP_TAG(PT_LONG, 0x3002), 0, a.Of<LONG>(1)},
        wide{PROP_TAG(PT_UNICODE, 0x3001), 0, a.Text(L"a")},
        narrow{PROP_TAG(PT_STRING8, 0x3001), 0, a.Text8("a")},
        error{PROP_TAG(PT_ERROR, 0x3001), 0, a.Of<LONG>(MAPI_E_NOT_FOUND)};
    const char* tag = "Quorvel_ComparePropValues";
    const struct {
        SPropValue *first, *second;
        int compared;
        long result;
        LogLines lines;
    } rows[] = {
        {&number, &number, 1, 0, {}},
        {nullptr, &number, 0, 99, {{sevError, tag, "PropValue1 == NULL || PropValue2 == NULL\n"}}},
        {&number, nullptr, 0, 99, {{sevError, tag, "PropValue1 == NULL || PropValue2 == NULL\n"}}},
        {&number, &other, 0, 99, {{sevError, tag, "PropValue1->Tag != PropValue2->Tag\n"}}},
        {&error, &number, 0, 99, {{sevError, tag, "PropType == PT_ERROR\n"}}},
        {&number, &error, 0, 99, {{sevError, tag, "PropType == PT_ERROR\n"}}},
        {&wide, &narrow, 1, 1, {{sevWarning, tag, "Prop1Type(0x1f) != Prop2Type(0x1e), Tag=0x3001001f\n"}}},
        {&narrow, &wide, 1, -1, {{sevWarning, tag, "Prop1Type(0x1e) != Prop2Type(0x1f), Tag=0x3001001e\n"}}},
    };
    CapturedLog log;
    for (const auto& row : rows) {
        long result = 99;
        EXPECT_EQ(Quorvel_ComparePropValues(row.first, row.second, &result, cmExact), row.compared);
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(log.Lines(), row.lines);
        log.Clear();
    }
}

TEST(ValueCompare, ErrorValuesAreEmptyOnlyWhenNotFound) {
    Arena a;
    SPropValue missing{PT_ERROR, 0, a.Of<LONG>(MAPI_E_NOT_FOUND)},
        denied{PT_ERROR, 0, a.Of<LONG>(MAPI_E_NO_ACCESS)}, text{PT_UNICODE, 0, a.Text(L"ab")};
    CapturedLog log;
    int empty = 99;
    ULONG size = 99;
    EXPECT_TRUE(Quorvel_IsEmptyValue(&missing, &empty, &size));
    EXPECT_EQ(empty, 1);
    EXPECT_EQ(size, 0u);
    EXPECT_TRUE(Quorvel_IsEmptyValue(&text, &empty, &size));
    EXPECT_EQ(empty, 0);
    EXPECT_EQ(size, 2u);
    for (SPropValue* value : {&denied, static_cast<SPropValue*>(nullptr)}) {
        empty = 99;
        EXPECT_FALSE(Quorvel_IsEmptyValue(value, &empty, &size));
        EXPECT_EQ(empty, 99) << "untouched";
        EXPECT_EQ(size, 0u);
    }
    EXPECT_EQ(
        log.Lines(),
        (LogLines{{sevError, "Quorvel_IsEmptyValue", "Type=PT_ERROR, Value(0x80070005)!=MAPI_E_NOT_FOUND\n"},
                  {sevError, "Quorvel_IsEmptyValue", "lpPropValue == NULL\n"}}));
}

TEST(ValueCompare, CountsFilledValuesAtTheirOwnIndex) {
    Arena a;
    SPropValue values[] = {{PT_ERROR, 0, a.Of<LONG>(MAPI_E_NOT_FOUND)},
                           {PT_UNICODE, 0, a.Text(L"abc")},
                           {PT_UNICODE, 0, a.Text(L"")},
                           {PT_ERROR, 0, a.Of<LONG>(MAPI_E_NO_ACCESS)},
                           {PT_ERROR, 0, a.Of<LONG>(0)},
                           {PT_LONG, 0, a.Of<LONG>(0)}};
    CapturedLog log;
    long filled = 99;
    ULONG sizes[] = {9, 9, 9, 9, 9, 9};
    Quorvel_CountProps2(values, 6, &filled, sizes);
    EXPECT_EQ(filled, 3);
    EXPECT_EQ(std::vector<ULONG>(sizes, sizes + 6), (std::vector<ULONG>{9, 3, 9, 9, 1, 1}));
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, "Quorvel_CountProps2", "PropError(-2147024891)\n"}}));
    Quorvel_CountProps2(values, 2, &filled, nullptr);
    EXPECT_EQ(filled, 1);
    Quorvel_CountProps2(nullptr, 0, &filled, nullptr);
    EXPECT_EQ(filled, 0);
}

}  // namespace
