// What callers may rely on when they sort and group by the comparison, for every type and method: held
// against random values, and against the list of what does not hold.

#include <limits>

#include "compare/string_compare.h"
#include "compare/value_compare.h"
#include "tests/compare/sample_values.h"

namespace {

enum Promise : unsigned {
    reflexive = 1,   // a value equals itself
    flips = 2,       // the sign flips when the arguments swap, so equality is the same both ways
    transitive = 4,  // a <= b and b <= c give a <= c
    none = 0,
    all = reflexive | flips | transitive
};

using Random = std::mt19937;
int Small(Random& r) {
    return static_cast<int>(r() % 5) - 2;
}

/// Values close together, so that equal and nearly equal ones are frequent.
using Make = _PV (*)(Arena&, Random&);
std::wstring AnyText(Random& r) {
    std::wstring text(r() % 4, L' ');
    for (wchar_t& c : text) c = L"aAb\u00e9\u00c91 -"[r() % 8];
    return text;
}
std::string Narrow(const std::wstring& wide) {
    std::string text;
    for (const wchar_t c : wide) text += c < 0x80 ? static_cast<char>(c) : 'q';
    return text;
}
std::string Bytes(Random& r, size_t elementSize) {
    std::string bytes((r() % 3) * elementSize, '\0');
    for (char& byte : bytes) byte = static_cast<char>(r() % 8 == 0 ? 0xFF : 0);
    return bytes;
}
template <typename T>
_PV Number(Arena&, Random& r) {
    return Arena::Of(static_cast<T>(Small(r)));
}
template <typename T>
_PV Extreme(Arena&, Random& r) {
    const T values[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(),
                        static_cast<T>(Small(r))};
    return Arena::Of(values[r() % 3]);
}
_PV OddDouble(Arena&, Random& r) {
    const double values[] = {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(), 1.0};
    return Arena::Of(values[r() % 3]);
}
template <size_t kSize>
_PV ArrayOf(Arena& a, Random& r) {
    return a.Array(Bytes(r, kSize), kSize);
}
_PV TextOf(Arena& a, Random& r) {
    return a.Text(AnyText(r));
}
_PV Text8Of(Arena& a, Random& r) {
    return a.Text8(Narrow(AnyText(r)));
}
_PV BinaryOf(Arena& a, Random& r) {
    return a.Binary(Bytes(r, 1));
}
_PV GuidOf(Arena& a, Random& r) {
    std::string bytes(16, '\0');
    bytes[r() % 16] = static_cast<char>(r() % 3);
    return Arena::Of(a.Binary(bytes).bin.lpb);
}
_PV TextsOf(Arena& a, Random& r) {
    std::vector<std::wstring> texts(r() % 3);
    for (auto& text : texts) text = AnyText(r);
    return a.Texts(texts);
}
_PV Texts8Of(Arena& a, Random& r) {
    std::vector<std::string> texts(r() % 3);
    for (auto& text : texts) text = Narrow(AnyText(r));
    return a.Texts8(texts);
}
_PV BinariesOf(Arena& a, Random& r) {
    std::vector<std::string> values(r() % 3);
    for (auto& value : values) value = Bytes(r, 1);
    return a.Binaries(values);
}
template <unsigned long long kStep>
_PV TimeApart(Arena&, Random& r) {
    return Arena::Of(FileTime(TicksOf(UtcTime(2024, 2, 1)) + r() % 5 * kStep + r() % 2));
}
_PV Birthday(Arena&, Random& r) {
    return Arena::Of(UtcTime(2000 + static_cast<int>(r() % 30), 3, 14 + static_cast<int>(r() % 2)));
}

const struct Row {
    const char* what;
    ULONG type;
    ECompareMethod method;
    Make make;
    unsigned holds;
} kRows[] = {
    {"short", PT_I2, cmExact, Extreme<short>, all},
    {"long", PT_LONG, cmExact, Number<LONG>, all},
    {"longs far apart", PT_LONG, cmExact, Extreme<LONG>, reflexive},
    {"float", PT_R4, cmExact, Number<float>, all},
    {"double", PT_DOUBLE, cmExact, Number<double>, all},
    {"doubles without order", PT_DOUBLE, cmExact, OddDouble, none},
    {"application time", PT_APPTIME, cmExact, Number<double>, all},
    {"currency", PT_CURRENCY, cmExact, Number<long long>, transitive},
    {"64 bits", PT_I8, cmExact, Number<long long>, transitive},
    {"64 bits far apart", PT_I8, cmExact, Extreme<long long>, none},
    {"boolean", PT_BOOLEAN, cmExact, Number<short>, all},
    {"8-bit text", PT_STRING8, cmExact, Text8Of, all},
    {"8-bit text by digits", PT_STRING8, cmLast7Digits, Text8Of, all},
    {"text", PT_UNICODE, cmExact, TextOf, all},
    {"text by digits", PT_UNICODE, cmLast7Digits, TextOf, all},
    {"time", PT_SYSTIME, cmExact, TimeApart<kSecond>, all},
    {"time within ten minutes", PT_SYSTIME, cmTimeWithin10Min, TimeApart<200 * kSecond>, reflexive | flips},
    {"time within a day", PT_SYSTIME, cmTimeWithinDay, TimeApart<kDay / 2>, reflexive | flips},
    {"day and month", PT_SYSTIME, cmDayAndMonth, Birthday, reflexive | flips},
    {"guid", PT_CLSID, cmExact, GuidOf, all},
    {"binary", PT_BINARY, cmExact, BinaryOf, all},
    {"shorts", PT_MV_I2, cmExact, ArrayOf<2>, all},
    {"longs", PT_MV_LONG, cmExact, ArrayOf<4>, all},
    {"floats", PT_MV_R4, cmExact, ArrayOf<4>, all},
    {"doubles", PT_MV_DOUBLE, cmExact, ArrayOf<8>, all},
    {"currencies", PT_MV_CURRENCY, cmExact, ArrayOf<8>, all},
    {"application times", PT_MV_APPTIME, cmExact, ArrayOf<8>, all},
    {"times", PT_MV_SYSTIME, cmExact, ArrayOf<8>, all},
    {"many 64 bits", PT_MV_I8, cmExact, ArrayOf<8>, all},
    {"guids", PT_MV_CLSID, cmExact, ArrayOf<16>, all},
    {"8-bit texts", PT_MV_STRING8, cmExact, Texts8Of, all},
    {"texts", PT_MV_UNICODE, cmExact, TextsOf, all},
    {"texts by digits", PT_MV_UNICODE, cmLast7Digits, TextsOf, all},
    {"binaries", PT_MV_BINARY, cmExact, BinariesOf, all},
};

unsigned Broken(const Row& row, const _PV& a, const _PV& b, const _PV& c) {
    const auto compare = [&](const _PV& x, const _PV& y) {
        return SignOf(PV_Compare(x, y, row.type, row.method));
    };
    unsigned broken = none;
    if (compare(a, a) != 0) broken |= reflexive;
    if (compare(a, b) != -compare(b, a)) broken |= flips;
    if (compare(a, b) <= 0 && compare(b, c) <= 0 && compare(a, c) > 0) broken |= transitive;
    return broken;
}

TEST(ValuePromises, HoldWhereTheyAreGivenAndOnlyThere) {
    auto* const clock =
        std::exchange(compare::g_localClock, [](SYSTEMTIME* now) { *now = {2026, 11, 6, 21, 0, 0, 0, 0}; });
    for (const Row& row : kRows) {
        Arena arena;
        Random random(7);
        unsigned broken = none;
        for (int round = 0; round < 3000; ++round) {
            broken |= Broken(row, row.make(arena, random), row.make(arena, random), row.make(arena, random));
        }
        EXPECT_EQ(all & ~broken, row.holds) << row.what << ": 1 reflexive, 2 sign flips, 4 transitive";
    }
    compare::g_localClock = clock;
}

}  // namespace
