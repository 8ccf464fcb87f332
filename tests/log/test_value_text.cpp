#include <gtest/gtest.h>
#include <mapicode.h>

#include <functional>
#include <string>
#include <vector>

#include "log/value_text.h"

namespace {
using Fill = std::function<void(_PV&)>;

char g_ansi[] = "caf\xE9";
wchar_t g_wide[] = L"two\nlines \x20AC";
GUID g_guid = {0x00062004, 0xABCD, 0x1EF0, {0xC0, 0, 0, 0, 0, 0, 0x0A, 0x46}};
char g_first[] = "a\xE4", g_second[] = "";
char* g_ansiList[] = {g_first, g_second};
wchar_t g_one[] = L"one", g_two[] = L"two\r\n\ttabs";
wchar_t* g_wideList[] = {g_one, g_two, nullptr};

SPropValue Value(ULONG type, const Fill& fill) {
    SPropValue value = {};
    value.ulPropTag = PROP_TAG(type, 0x3001);
    memset(&value.Value, 0, sizeof value.Value);
    fill(value.Value);
    return value;
}

std::wstring Text(const SPropValue* value, unsigned flags, size_t capacity = 512) {
    std::vector<wchar_t> buffer(capacity + 1, L'#');
    EXPECT_EQ(logging::PropValueText(value, buffer.data(), capacity, flags), buffer.data());
    EXPECT_EQ(buffer[capacity], L'#') << "written behind the buffer";
    return buffer.data();
}

struct ValueCase {
    ULONG type;
    Fill fill;
    const wchar_t* plain;
    const wchar_t* labelled;
};

const ULONG kSomeTimeHigh = 0x01D9F655, kSomeTimeLow = 0xB85E9680;  // 2023-10-04 00:00:01 UTC

const ValueCase kValues[] = {
    {PT_I2, [](_PV& v) { v.i = -5; }, L"-5", L"(PT_I2)-5"},
    {PT_LONG, [](_PV& v) { v.l = -70000; }, L"-70000", L"(PT_LONG)-70000"},
    {PT_R4, [](_PV& v) { v.flt = 0.5f; }, L"0.500000", L"(PT_R4)0.500000"},
    {PT_DOUBLE, [](_PV& v) { v.dbl = -1.25; }, L"-1.250000", L"(PT_DOUBLE)-1.250000"},
    {PT_BOOLEAN, [](_PV& v) { v.b = 1; }, L"true", L"(PT_BOOLEAN)true"},
    {PT_BOOLEAN, [](_PV& v) { v.b = 0; }, L"false", L"(PT_BOOLEAN)false"},
    {PT_BOOLEAN, [](_PV& v) { v.b = 0x100; }, L"true", L"(PT_BOOLEAN)true"},
    {PT_CURRENCY, [](_PV& v) { v.cur.int64 = 0x12345678DEADBEEFLL; }, L"{0x12345678, 0xdeadbeef}",
     L"(PT_CURRENCY){0x12345678, 0xdeadbeef}"},
    {PT_APPTIME, [](_PV& v) { v.at = 1.0; }, L"{0x3ff00000, 0x0}", L"(PT_APPTIME){0x3ff00000, 0x0}"},
    {PT_SYSTIME,
     [](_PV& v) {
         v.ft = {kSomeTimeLow, kSomeTimeHigh};
     },
     L"\"2023.10.04 00:00:01.0000\"", L"(PT_SYSTIME)\"2023.10.04 00:00:01.0000\""},
    {PT_SYSTIME,
     [](_PV& v) {
         v.ft = {0, 0};
     },
     L"\"1601.01.01 00:00:00.0000\"", L"(PT_SYSTIME)\"1601.01.01 00:00:00.0000\""},
    {PT_SYSTIME,
     [](_PV& v) {
         v.ft = {7, 0x80000000};
     },
     L"{0x80000000, 0x7}", L"(PT_SYSTIME){0x80000000, 0x7}"},
    {PT_STRING8, [](_PV& v) { v.lpszA = g_ansi; }, L"\"caf\x00E9\"", L"(PT_STRING8)\"caf\x00E9\""},
    {PT_UNICODE, [](_PV& v) { v.lpszW = g_wide; }, L"\"two\nlines \x20AC\"",
     L"(PT_UNICODE)\"two\nlines \x20AC\""},
    {PT_UNICODE, [](_PV&) {}, L"\"(null)\"", L"(PT_UNICODE)\"(null)\""},
    {PT_STRING8, [](_PV&) {}, L"\"(null)\"", L"(PT_STRING8)\"(null)\""},
    {PT_CLSID, [](_PV& v) { v.lpguid = &g_guid; }, L"{00062004-ABCD-1EF0-C000-000000000A46}",
     L"(PT_CLSID){00062004-ABCD-1EF0-C000-000000000A46}"},
    {PT_CLSID, [](_PV&) {}, L"(null)", L"(PT_CLSID)(null)"},
    {PT_I8, [](_PV& v) { v.li.QuadPart = -9000000000; }, L"-9000000000", L"(PT_I8)-9000000000"},
    {PT_BINARY, [](_PV& v) { v.bin.cb = 24; }, L"(cb=24)", L"(PT_BINARY, cb=24)"},
    {PT_ERROR, [](_PV& v) { v.err = MAPI_E_NOT_FOUND; }, L"MAPI_E_NOT_FOUND", L"MAPI_E_NOT_FOUND"},
    {PT_ERROR, [](_PV& v) { v.err = MAPI_E_NOT_ENOUGH_MEMORY; }, L"0x8007000e", L"(PT_ERROR)0x8007000e"},
    {PT_NULL, [](_PV& v) { v.x = 7; }, L"0x7", L"(PT_NULL)0x7"},
    {PT_OBJECT, [](_PV& v) { v.x = 0xAB; }, L"0xab", L"(PT_OBJECT)0xab"},
    {PT_MV_I2, [](_PV& v) { v.MVi.cValues = 1; }, L"(count=1)", L"(PT_MV_I2, count=1)"},
    {PT_MV_LONG, [](_PV& v) { v.MVl.cValues = 2; }, L"(count=2)", L"(PT_MV_LONG, count=2)"},
    {PT_MV_R4, [](_PV& v) { v.MVflt.cValues = 3; }, L"(count=3)", L"(PT_MV_R4, count=3)"},
    {PT_MV_DOUBLE, [](_PV& v) { v.MVdbl.cValues = 4; }, L"(count=4)", L"(PT_MV_DOUBLE, count=4)"},
    {PT_MV_CURRENCY, [](_PV& v) { v.MVcur.cValues = 5; }, L"(count=5)", L"(PT_MV_CURRENCY, count=5)"},
    {PT_MV_APPTIME, [](_PV& v) { v.MVat.cValues = 6; }, L"(count=6)", L"(PT_MV_APPTIME, count=6)"},
    {PT_MV_SYSTIME, [](_PV& v) { v.MVft.cValues = 7; }, L"(count=7)", L"(PT_MV_SYSTIME, count=7)"},
    {PT_MV_BINARY, [](_PV& v) { v.MVbin.cValues = 8; }, L"(count=8)", L"(PT_MV_BINARY, count=8)"},
    {PT_MV_CLSID, [](_PV& v) { v.MVguid.cValues = 9; }, L"(count=9)", L"(PT_MV_CLSID, count=9)"},
    {PT_MV_I8, [](_PV& v) { v.MVli.cValues = 0; }, L"(count=0)", L"(PT_MV_I8, count=0)"},
    {PT_MV_STRING8,
     [](_PV& v) {
         v.MVszA = {2, g_ansiList};
     },
     L"(count=2){\"a\x00E4\",\"\"}", L"(PT_MV_STRING8, count=2){\"a\x00E4\",\"\"}"},
    {PT_MV_UNICODE,
     [](_PV& v) {
         v.MVszW = {3, g_wideList};
     },
     L"(count=3){\"one\",\"two\r\n\ttabs\",\"(null)\"}",
     L"(PT_MV_UNICODE, count=3){\"one\",\"two\r\n\ttabs\",\"(null)\"}"},
    {PT_MV_UNICODE, [](_PV&) {}, L"(count=0)", L"(PT_MV_UNICODE, count=0)"},
    {PT_MV_STRING8, [](_PV& v) { v.MVszA.cValues = 2; }, L"(count=0)", L"(PT_MV_STRING8, count=0)"},
    {PT_UNSPECIFIED, [](_PV&) {}, L"(PT_UNKNOWN: 0x0)", L"(PT_UNKNOWN: 0x0)"},
    {0x00FD, [](_PV&) {}, L"(PT_UNKNOWN: 0xfd)", L"(PT_UNKNOWN: 0xfd)"},
};

TEST(ValueText, EveryType) {
    for (const ValueCase& c : kValues) {
        SCOPED_TRACE(testing::Message() << "type 0x" << std::hex << c.type);
        const SPropValue value = Value(c.type, c.fill);
        EXPECT_EQ(Text(&value, 0), c.plain);
        EXPECT_EQ(Text(&value, 1), c.labelled);
        EXPECT_EQ(Text(&value, 0x80), c.labelled);
        EXPECT_EQ(Text(&value, 0xFFFFFF00), c.plain) << "only the low byte of the flags counts";
    }
    EXPECT_EQ(Text(nullptr, 1), L"NULL");
}

TEST(ValueText, IsCutAtEveryCapacity) {
    for (const ValueCase& c : kValues) {
        const SPropValue value = Value(c.type, c.fill);
        const std::wstring whole = Text(&value, 1);
        for (size_t capacity = 1; capacity <= whole.size() + 1; ++capacity) {
            const std::wstring cut = Text(&value, 1, capacity);
            ASSERT_LT(cut.size(), capacity);
            ASSERT_EQ(whole.substr(0, cut.size()), cut) << "type 0x" << std::hex << c.type;
        }
        EXPECT_EQ(Text(&value, 1, whole.size() + 1), whole);
    }
    wchar_t none = L'#';
    const SPropValue value = Value(PT_LONG, [](_PV&) {});
    logging::PropValueText(&value, &none, 0, 1);
    EXPECT_EQ(none, L'#');
}

TEST(ValueText, ListStopsAtTheFirstElementThatDoesNotFit) {
    wchar_t longOne[] = L"a long element", shortOne[] = L"b";
    wchar_t* list[] = {shortOne, longOne, shortOne};
    const SPropValue value = Value(PT_MV_UNICODE, [&](_PV& v) { v.MVszW = {3, list}; });
    const std::wstring whole = L"(count=3){\"b\",\"a long element\",\"b\"}";
    EXPECT_EQ(Text(&value, 0, whole.size() + 1), whole);
    EXPECT_EQ(Text(&value, 0, whole.size()), L"(count=3){\"b\",\"a long element\",");
    EXPECT_EQ(Text(&value, 0, 20), L"(count=3){\"b\",")
        << "the last would fit, but is behind one that does not";
}

TEST(TimeText, Forms) {
    struct Case {
        FILETIME time;
        const wchar_t* text;
    };
    const Case cases[] = {
        {{0, 0}, L"0"},
        {{0xB7C60000, 0x01D9F655}, L"2023.10.04"},
        {{0xB7C60000 + 10000, 0x01D9F655}, L"2023.10.04 00:00:00.0001"},
        {{0xB7C60000 + 9999, 0x01D9F655}, L"2023.10.04"},
        {{kSomeTimeLow, kSomeTimeHigh}, L"2023.10.04 00:00:01.0000"},
        {{1, 0}, L"1601.01.01"},
        {{600000000, 0}, L"1601.01.01 00:01:00.0000"},
        {{0x61C46800, 8}, L"1601.01.01 01:00:00.0000"},
        {{5, 0x80000000}, L"FILETIME(-2147483648,5)"},
        {{0xFFFFFFFF, 0xFFFFFFFF}, L"FILETIME(-1,-1)"},
    };
    for (const Case& c : cases) {
        wchar_t buffer[64];
        EXPECT_EQ(logging::FileTimeToText(&c.time, buffer, 64, 0), buffer);
        EXPECT_STREQ(buffer, c.text);
    }
    wchar_t buffer[8] = L"#######";
    EXPECT_STREQ(logging::FileTimeToText(nullptr, buffer, 8, 1), L"0");
    EXPECT_STREQ(logging::FileTimeToText(&cases[4].time, buffer, 8, 0), L"2023.10") << "cut and terminated";
}

TEST(ElementText, OneLineForEachElement) {
    struct Case {
        ULONG type;
        Fill fill;
        int index;
        const wchar_t* text;
    };
    const Fill wide = [](_PV& v) { v.MVszW = {3, g_wideList}; };
    const Fill ansi = [](_PV& v) { v.MVszA = {2, g_ansiList}; };
    const Case cases[] = {
        {PT_MV_UNICODE, wide, 0, L"one"},
        {PT_MV_UNICODE, wide, 1, L"two  \ttabs"},
        {PT_MV_UNICODE, wide, 2, L"(null)"},
        {PT_MV_UNICODE, wide, 3, L"ERROR:outofbounds"},
        {PT_MV_UNICODE, wide, -1, L"ERROR:outofbounds"},
        {PT_MV_STRING8, ansi, 0, L"a\x00E4"},
        {PT_MV_STRING8, ansi, 1, L""},
        {PT_MV_STRING8, ansi, 2, L"ERROR:outofbounds"},
        {PT_MV_UNICODE, [](_PV&) {}, 0, L"ERROR:outofbounds"},
        {PT_MV_UNICODE, [](_PV& v) { v.MVszW.cValues = 2; }, 1, L"ERROR:outofbounds"},
        {PT_MV_LONG, [](_PV& v) { v.MVl.cValues = 1; }, 0, L"ERROR: unsupported type(0x1003)"},
        {PT_UNICODE, [](_PV& v) { v.lpszW = g_wide; }, 0, L"ERROR: unsupported type(0x1f)"},
    };
    for (const Case& c : cases) {
        const SPropValue value = Value(c.type, c.fill);
        wchar_t buffer[64];
        buffer[63] = L'#';
        EXPECT_EQ(logging::ElementText(&value, c.index, buffer, 64), buffer);
        EXPECT_STREQ(buffer, c.text) << "element " << c.index;
        EXPECT_EQ(buffer[63], L'\0');
    }
    wchar_t buffer[5];
    EXPECT_STREQ(logging::ElementText(nullptr, 0, buffer, 5), L"NULL");
    const SPropValue value = Value(PT_MV_UNICODE, wide);
    EXPECT_STREQ(logging::ElementText(&value, 1, buffer, 5), L"two ") << "cut and terminated";
}
}  // namespace
