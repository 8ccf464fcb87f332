// Canonical starts and years, in whatever time zone the program runs.

#include "compare/calendar_start.h"
#include "log/local_time.h"
#include "tests/compare/sample_values.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;

namespace {

FILETIME Local(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    const FILETIME local = Utc(year, month, day, hour, minute, second);
    FILETIME utc{};
    EXPECT_TRUE(logging::LocalFileTimeToFileTimeFIX(&local, &utc));
    return utc;
}

std::string LocalText(const FILETIME& utc) {
    FILETIME local{};
    SYSTEMTIME st{};
    logging::FileTimeToLocalFileTimeFIX(&utc, &local);
    FileTimeToSystemTime(&local, &st);
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d.%03d", st.wYear, st.wMonth, st.wDay,
                  st.wHour, st.wMinute, st.wSecond, st.wMilliseconds);
    return text;
}

TEST(ZoneCalendarStart, MovesToTheNearestLocalMidnight) {
    const struct {
        const char* what;
        FILETIME start;
        bool forceYear;
        int changed;
        const char* expected;
        WORD oldYear;  // 0: untouched
    } rows[] = {
        {"midnight stays", Local(2023, 7, 10), false, 0, "2023-07-10 00:00:00.000", 0},
        {"before noon", Local(2023, 7, 10, 11, 59, 59), false, 1, "2023-07-10 00:00:00.000", 0},
        {"noon", Local(2023, 7, 10, 12), false, 1, "2023-07-11 00:00:00.000", 0},
        {"a millisecond after midnight", FileTime(TicksOf(Local(2023, 7, 10)) + 10'000), false, 1,
         "2023-07-10 00:00:00.000", 0},
        {"a minute after midnight", Local(2023, 7, 10, 0, 1), false, 1, "2023-07-10 00:00:00.000", 0},
        {"a second after midnight", Local(2023, 7, 10, 0, 0, 1), false, 1, "2023-07-10 00:00:00.000", 0},
        {"over a month's end", Local(2024, 2, 29, 23), false, 1, "2024-03-01 00:00:00.000", 0},
        {"over a year's end", Local(2023, 12, 31, 18), false, 1, "2024-01-01 00:00:00.000", 0},
        {"winter", Local(2023, 1, 10, 9), false, 1, "2023-01-10 00:00:00.000", 0},
        {"forced year, afternoon", Local(2023, 7, 10, 13, 30), true, 1, "1602-07-11 00:00:00.000", 2023},
        {"forced year, midnight", Local(2023, 1, 10), true, 1, "1602-01-10 00:00:00.000", 2023},
        {"forced into its own year", Local(1602, 5, 5), true, 1, "1602-05-05 00:00:00.000", 1602},
    };
    for (const auto& row : rows) {
        FILETIME start = row.start;
        WORD oldYear = 0;
        EXPECT_EQ(compare::Appointment_Normalize_AlldaylikeStart(&start, row.forceYear, &oldYear),
                  row.changed)
            << row.what;
        EXPECT_EQ(LocalText(start), row.expected) << row.what;
        EXPECT_EQ(oldYear, row.oldYear) << row.what;
        FILETIME again = start;
        EXPECT_EQ(compare::Appointment_Normalize_AlldaylikeStart(&again, false, &oldYear), 0)
            << row.what << ", twice";
        EXPECT_EQ(TicksOf(again), TicksOf(start));
    }
}

// Starts of one yearly event, whatever the year, meet in one.
TEST(ZoneCalendarStart, YearlyEventsMeet) {
    for (int month = 1; month <= 12; ++month) {
        FILETIME first{};
        for (int year = 1990; year < 2040; ++year) {
            FILETIME start = Local(year, month, 15, year % 12, year % 60);
            WORD oldYear = 0;
            ASSERT_EQ(compare::Appointment_Normalize_AlldaylikeStart(&start, true, &oldYear), 1);
            ASSERT_EQ(oldYear, year);
            if (year == 1990) first = start;
            ASSERT_EQ(TicksOf(start), TicksOf(first)) << LocalText(start) << " and " << LocalText(first);
        }
    }
}

TEST(ZoneCalendarStart, SetYearKeepsTheRest) {
    FILETIME time = Local(2023, 7, 10, 13, 30, 5);
    WORD oldYear = 0;
    EXPECT_EQ(compare::FILETIME_SetYear(&time, 1999, &oldYear), 1);
    EXPECT_EQ(LocalText(time), "1999-07-10 13:30:05.000");
    EXPECT_EQ(oldYear, 2023);
    EXPECT_EQ(compare::FILETIME_SetYear(&time, 2024, nullptr), 1);
    EXPECT_EQ(LocalText(time), "2024-07-10 13:30:05.000");
}

TEST(ZoneCalendarStart, ADayThatTheYearLacksIsRefused) {
    const FILETIME leapDay = Local(2024, 2, 29, 9);
    for (const WORD year : {WORD{1602}, WORD{1900}, WORD{2023}}) {
        CapturedLog log;
        FILETIME time = leapDay;
        WORD oldYear = 0;
        EXPECT_EQ(compare::FILETIME_SetYear(&time, year, &oldYear), 0) << year;
        EXPECT_EQ(TicksOf(time), TicksOf(leapDay)) << "unchanged";
        EXPECT_EQ(oldYear, 2024) << "stored even so";
        EXPECT_EQ(log.Lines(), (LogLines{{sevError, "FILETIME_SetYear", "assert failed in line 3\n"}}))
            << year;
    }
    FILETIME time = leapDay;
    EXPECT_EQ(compare::FILETIME_SetYear(&time, 2000, nullptr), 1) << "2000 is a leap year";
    time = leapDay;
    CapturedLog log;
    EXPECT_EQ(compare::Appointment_Normalize_AlldaylikeStart(&time, true, nullptr), 0);
    EXPECT_EQ(TicksOf(time), TicksOf(leapDay));
    EXPECT_EQ(log.Lines(),
              (LogLines{{sevError, "Appointment_Normalize_AlldaylikeStart", "assert failed in line 3\n"}}));
}

TEST(ZoneCalendarStart, TimesThatDoNotConvertStay) {
    for (const unsigned long long ticks : {~0ULL, 1ULL << 63}) {
        CapturedLog log;
        FILETIME time = FileTime(ticks);
        WORD oldYear = 77;
        EXPECT_EQ(compare::Appointment_Normalize_AlldaylikeStart(&time, true, &oldYear), 0);
        EXPECT_EQ(compare::FILETIME_SetYear(&time, 2000, &oldYear), 0);
        EXPECT_EQ(TicksOf(time), ticks);
        EXPECT_EQ(oldYear, 77);
        const LogLines lines = log.Lines();
        ASSERT_EQ(lines.size(), 2u) << "one line each";
        EXPECT_TRUE(lines[0].text == "assert failed in line 1\n" ||
                    lines[0].text == "assert failed in line 2\n");
    }
}

// Half an hour after the beginning of time: west of Greenwich it has no local time, east of it the midnight
// before has no UTC.
TEST(ZoneCalendarStart, AMidnightBeforeAllTimeIsStoredAsItIs) {
    constexpr char tag[] = "Appointment_Normalize_AlldaylikeStart";
    const FILETIME early = FileTime(1800 * kSecond);
    FILETIME local{};
    const bool isLocal = logging::FileTimeToLocalFileTimeFIX(&early, &local) != 0;
    const bool isAhead = isLocal && TicksOf(local) > TicksOf(early);
    CapturedLog log;
    FILETIME start = early;
    EXPECT_EQ(compare::Appointment_Normalize_AlldaylikeStart(&start, false, nullptr), isLocal ? 1 : 0);
    EXPECT_EQ(TicksOf(start), isLocal ? 0u : TicksOf(early));
    LogLines expected;
    if (!isLocal) expected.push_back({sevError, tag, "assert failed in line 1\n"});
    if (isAhead) expected.push_back({sevError, tag, "assert failed in line 4\n"});
    EXPECT_EQ(log.Lines(), expected);
}

}  // namespace
