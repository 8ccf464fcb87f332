// Times under each method, at the last tick that is equal and the first that is not.

#include <limits>

#include "compare/string_compare.h"
#include "tests/compare/sample_values.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;

namespace {

TEST(TimeCompare, TolerantMethodsAtTheirLastTick) {
    const auto base = TicksOf(Utc(2024, 5, 6, 7, 8, 9));
    const struct {
        unsigned long long apart;
        bool within10Min, withinDay;
    } rows[] = {
        {0, true, true},
        {599 * kSecond - 1, true, true},
        {599 * kSecond, true, true},
        {599 * kSecond + 1, false, true},
        {600 * kSecond, false, true},
        {kDay - 1, false, true},
        {kDay, false, true},
        {kDay + 1, false, false},
        {2 * kDay, false, false},
    };
    for (const auto& row : rows) {
        const FILETIME earlier = FileTime(base), later = FileTime(base + row.apart);
        const int exact = row.apart == 0 ? 0 : 1;
        EXPECT_EQ(compare::FILETIME_Compare(later, earlier, cmExact), exact) << row.apart;
        EXPECT_EQ(compare::FILETIME_Compare(later, earlier, cmTimeWithin10Min), row.within10Min ? 0 : 1)
            << row.apart;
        EXPECT_EQ(compare::FILETIME_Compare(earlier, later, cmTimeWithin10Min), row.within10Min ? 0 : -1)
            << row.apart;
        EXPECT_EQ(compare::FILETIME_Compare(later, earlier, cmTimeWithinDay), row.withinDay ? 0 : 1)
            << row.apart;
        EXPECT_EQ(compare::FILETIME_Compare(earlier, later, cmTimeWithinDay), row.withinDay ? 0 : -1)
            << row.apart;
    }
}

TEST(TimeCompare, DifferencesOf64BitsWrap) {
    const FILETIME zero = FileTime(0), most = FileTime(~0ULL), half = FileTime(1ULL << 63);
    EXPECT_EQ(compare::FILETIME_Compare(zero, most, cmTimeWithinDay), 0)
        << "one tick apart when the difference wraps";
    EXPECT_EQ(compare::FILETIME_Compare(zero, half, cmTimeWithinDay), -1);
    EXPECT_EQ(compare::FILETIME_Compare(half, zero, cmTimeWithinDay), -1) << "its own negative";
    EXPECT_EQ(compare::FILETIME_Compare(zero, most, cmExact), -1);
}

class DayAndMonth : public testing::Test {
  protected:
    ~DayAndMonth() override { compare::g_localClock = m_clock; }
    static void At2026(SYSTEMTIME* now) { *now = {2026, 11, 6, 21, 0, 0, 0, 0}; }
    void (*m_clock)(SYSTEMTIME*) = std::exchange(compare::g_localClock, At2026);
};

TEST_F(DayAndMonth, YearsWithinReason) {
    const struct {
        const char* what;
        FILETIME first, second;
        bool equal;
    } rows[] = {
        {"the same day", Utc(1980, 3, 14), Utc(1980, 3, 14, 23, 59, 59), true},
        {"two years apart", Utc(1980, 3, 14), Utc(1982, 3, 14), true},
        {"three years apart", Utc(1980, 3, 14), Utc(1983, 3, 14), false},
        {"a placeholder and a real year", Utc(2025, 3, 14), Utc(1980, 3, 14), true},
        {"the oldest placeholder", Utc(2021, 3, 14), Utc(1980, 3, 14), true},
        {"one year older", Utc(2020, 3, 14), Utc(1980, 3, 14), false},
        {"the latest real year", Utc(2024, 3, 14), Utc(2016, 3, 14), true},
        {"one year later", Utc(2024, 3, 14), Utc(2017, 3, 14), false},
        {"a placeholder in the future", Utc(4500, 3, 14), Utc(1980, 3, 14), true},
        {"neither is recent", Utc(2019, 3, 14), Utc(1980, 3, 14), false},
        {"another day", Utc(2026, 3, 14), Utc(2026, 3, 15), false},
        {"another month", Utc(2026, 3, 14), Utc(2026, 4, 14), false},
        {"first year of all", Utc(1601, 1, 1), Utc(1603, 1, 1), true},
    };
    for (const auto& row : rows) {
        const int order = CompareFileTime(&row.first, &row.second);
        EXPECT_EQ(compare::FILETIME_Compare(row.first, row.second, cmDayAndMonth), row.equal ? 0 : order)
            << row.what;
        EXPECT_EQ(compare::FILETIME_Compare(row.second, row.first, cmDayAndMonth), row.equal ? 0 : -order)
            << row.what;
    }
}

TEST_F(DayAndMonth, TimesThatDoNotConvertKeepTheirOrder) {
    const FILETIME good = Utc(2020, 1, 1), bad = FileTime(~0ULL), worse = FileTime(~0ULL - kDay);
    const char* tag = "FILETIME_Compare";
    CapturedLog log;
    EXPECT_EQ(compare::FILETIME_Compare(bad, good, cmDayAndMonth), 1);
    EXPECT_EQ(compare::FILETIME_Compare(good, bad, cmDayAndMonth), -1);
    EXPECT_EQ(compare::FILETIME_Compare(worse, bad, cmDayAndMonth), -1);
    EXPECT_EQ(compare::FILETIME_Compare(bad, bad, cmDayAndMonth), 0);
    EXPECT_EQ(log.Lines(),
              (LogLines{{sevError, tag, "assert failed in line 763: \"FileTimeToSystemTime\" is false\n"},
                        {sevError, tag, "assert failed in line 767: \"FileTimeToSystemTime\" is false\n"},
                        {sevError, tag, "assert failed in line 763: \"FileTimeToSystemTime\" is false\n"}}));
}

TEST(TimeCompare, TheClockIsTheSystems) {
    SYSTEMTIME expected, now;
    GetLocalTime(&expected);
    compare::g_localClock(&now);
    FILETIME a, b;
    SystemTimeToFileTime(&expected, &a);
    SystemTimeToFileTime(&now, &b);
    EXPECT_LT(TicksOf(b) - TicksOf(a), 60 * kSecond);
}

TEST(TimeCompare, InapplicableMethodsAssertAndCompareExactly) {
    CapturedLog log;
    LogLines expected;
    for (const auto method :
         {cmApntAlldaylikeSubject, cmLast7Digits, cmApntAlldaylikeStart, cmRecipients, cmApntApproxStart}) {
        EXPECT_EQ(compare::FILETIME_Compare(FileTime(1), FileTime(2), method), -1);
        expected.push_back({sevError, "FILETIME_Compare", "assert failed in line 155\n"});
    }
    EXPECT_EQ(log.Lines(), expected);
}

}  // namespace
