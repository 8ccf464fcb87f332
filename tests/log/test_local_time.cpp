// UTC and local time, against the transitions that the time-zone database has for each zone. Run once in each
// zone: TZ names it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>
#include <string>

#include "log/local_time.h"
#include "log/value_text.h"

namespace {
const int64_t kSecond = 10000000;
const int64_t kMinute = 60 * kSecond;
const int64_t kHour = 60 * kMinute;

/// A moment in UTC at which the zone's offset (minutes ahead of UTC) changes.
struct Transition {
    const char* zone;
    WORD utc[4];  // year, month, day, hour
    int before;
    int after;
};
const Transition kTransitions[] = {
    {"America/New_York", {2008, 3, 9, 7}, -300, -240},  {"America/New_York", {2008, 11, 2, 6}, -240, -300},
    {"America/New_York", {2015, 3, 8, 7}, -300, -240},  {"America/New_York", {2015, 11, 1, 6}, -240, -300},
    {"America/New_York", {2023, 3, 12, 7}, -300, -240}, {"America/New_York", {2023, 11, 5, 6}, -240, -300},
    {"America/New_York", {2024, 3, 10, 7}, -300, -240}, {"America/New_York", {2024, 11, 3, 6}, -240, -300},
    {"America/New_York", {2032, 3, 14, 7}, -300, -240}, {"America/New_York", {2032, 11, 7, 6}, -240, -300},
    {"Europe/Berlin", {2008, 3, 30, 1}, 60, 120},       {"Europe/Berlin", {2008, 10, 26, 1}, 120, 60},
    {"Europe/Berlin", {2015, 3, 29, 1}, 60, 120},       {"Europe/Berlin", {2015, 10, 25, 1}, 120, 60},
    {"Europe/Berlin", {2023, 3, 26, 1}, 60, 120},       {"Europe/Berlin", {2023, 10, 29, 1}, 120, 60},
    {"Europe/Berlin", {2024, 3, 31, 1}, 60, 120},       {"Europe/Berlin", {2024, 10, 27, 1}, 120, 60},
    {"Europe/Berlin", {2032, 3, 28, 1}, 60, 120},       {"Europe/Berlin", {2032, 10, 31, 1}, 120, 60},
    {"Australia/Sydney", {2008, 4, 5, 16}, 660, 600},   {"Australia/Sydney", {2008, 10, 4, 16}, 600, 660},
    {"Australia/Sydney", {2015, 4, 4, 16}, 660, 600},   {"Australia/Sydney", {2015, 10, 3, 16}, 600, 660},
    {"Australia/Sydney", {2023, 4, 1, 16}, 660, 600},   {"Australia/Sydney", {2023, 9, 30, 16}, 600, 660},
    {"Australia/Sydney", {2024, 4, 6, 16}, 660, 600},   {"Australia/Sydney", {2024, 10, 5, 16}, 600, 660},
    {"Australia/Sydney", {2032, 4, 3, 16}, 660, 600},   {"Australia/Sydney", {2032, 10, 2, 16}, 600, 660},
};
const std::map<std::string, int> kFixedOffsets = {{"UTC", 0}, {"Asia/Kolkata", 330}};

std::string Zone() {
    const char* zone = getenv("TZ");
    return zone != nullptr ? zone : "UTC";
}

int64_t Ticks(FILETIME time) {
    return static_cast<int64_t>(static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
}
FILETIME Time(int64_t ticks) {
    return {static_cast<DWORD>(ticks & 0xFFFFFFFF), static_cast<DWORD>(ticks >> 32)};
}
int64_t Utc(const WORD (&date)[4]) {
    const SYSTEMTIME calendar{date[0], date[1], 0, date[2], date[3], 0, 0, 0};
    FILETIME time;
    EXPECT_TRUE(SystemTimeToFileTime(&calendar, &time));
    return Ticks(time);
}

int64_t ToLocal(int64_t utc) {
    const FILETIME in = Time(utc);
    FILETIME out;
    EXPECT_EQ(logging::FileTimeToLocalFileTimeFIX(&in, &out), 1) << "ticks " << utc;
    return Ticks(out);
}
int64_t ToUtc(int64_t local) {
    const FILETIME in = Time(local);
    FILETIME out;
    EXPECT_EQ(logging::LocalFileTimeToFileTimeFIX(&in, &out), 1) << "ticks " << local;
    return Ticks(out);
}

TEST(ZoneLocalTime, ChangesOffsetAtTheSecondOfEachTransition) {
    for (const Transition& t : kTransitions) {
        if (t.zone != Zone()) continue;
        SCOPED_TRACE(testing::Message() << t.zone << ' ' << t.utc[0] << '-' << t.utc[1]);
        const int64_t at = Utc(t.utc);
        EXPECT_EQ(ToLocal(at - 1) - (at - 1), t.before * kMinute);
        EXPECT_EQ(ToLocal(at) - at, t.after * kMinute);
        EXPECT_EQ(ToLocal(at - 90 * 24 * kHour) - (at - 90 * 24 * kHour), t.before * kMinute)
            << "90 days before";
        EXPECT_EQ(ToLocal(at + 90 * 24 * kHour) - (at + 90 * 24 * kHour), t.after * kMinute)
            << "90 days after";
    }
}

TEST(ZoneLocalTime, ComesBackAtEachTransition) {
    for (const Transition& t : kTransitions) {
        if (t.zone != Zone()) continue;
        SCOPED_TRACE(testing::Message() << t.zone << ' ' << t.utc[0] << '-' << t.utc[1]);
        const int64_t at = Utc(t.utc);
        EXPECT_EQ(ToUtc(at + t.after * kMinute + kHour), at + kHour);
        EXPECT_EQ(ToUtc(at + t.before * kMinute - kHour - 1), at - kHour - 1);
        const int64_t halfHour = 30 * kMinute;
        if (t.after > t.before) {
            // The clock skips an hour; a time in it is taken by the old clock.
            EXPECT_EQ(ToUtc(at + t.before * kMinute + halfHour), at + halfHour);
            EXPECT_EQ(ToUtc(at + t.before * kMinute - 1), at - 1);
        } else {
            // The clock shows an hour twice; a time in it is the second.
            EXPECT_EQ(ToUtc(at + t.after * kMinute + halfHour), at + halfHour);
            EXPECT_EQ(ToUtc(at + t.after * kMinute), at);
        }
    }
}

TEST(ZoneLocalTime, FixedOffsetsHoldAllYear) {
    const auto fixed = kFixedOffsets.find(Zone());
    if (fixed == kFixedOffsets.end()) return;
    for (WORD month = 1; month <= 12; ++month) {
        const int64_t at = Utc({2024, month, 15, 12});
        EXPECT_EQ(ToLocal(at) - at, fixed->second * kMinute) << "month " << month;
        EXPECT_EQ(ToUtc(ToLocal(at)), at) << "month " << month;
    }
}

TEST(ZoneLocalTime, EveryLocalTimeComesBackToItself) {
    // From local to UTC and back must give any local time that exists; and the way back from UTC differs at
    // most by the hour that the clock shows twice.
    std::mt19937_64 random(20240229);
    const int64_t first = Utc({1602, 1, 2, 0}), last = Utc({2400, 1, 1, 0});
    for (int i = 0; i < 20000; ++i) {
        const int64_t utc = first + static_cast<int64_t>(random() % static_cast<uint64_t>(last - first));
        const int64_t local = ToLocal(utc);
        const int64_t back = ToUtc(local);
        ASSERT_EQ(ToLocal(back), local) << "ticks " << utc;
        ASSERT_TRUE(back == utc || back == utc + kHour) << "ticks " << utc << " came back as " << back;
    }
}

TEST(ZoneLocalTime, WhatIsNoTimeIsRefusedAndLeftAsItIs) {
    const bool isAhead =
        Zone() == "Europe/Berlin" || Zone() == "Australia/Sydney" || Zone() == "Asia/Kolkata";
    const FILETIME first = Time(kMinute);
    FILETIME out = {1, 1};
    // A minute after the beginning of time: no local time west of Greenwich, no UTC east of it.
    EXPECT_EQ(logging::FileTimeToLocalFileTimeFIX(&first, &out), Zone() == "America/New_York" ? 0 : 1);
    if (Zone() == "America/New_York") {
        EXPECT_EQ(Ticks(out), kMinute);
    }
    EXPECT_EQ(logging::LocalFileTimeToFileTimeFIX(&first, &out), isAhead ? 0 : 1);
    if (isAhead) {
        EXPECT_EQ(Ticks(out), kMinute);
    }

    const FILETIME beyond = {0xFFFFFFFF, 0xFFFFFFFF};
    if (kFixedOffsets.count(Zone()) == 0) {
        EXPECT_EQ(logging::FileTimeToLocalFileTimeFIX(&beyond, &out), 0) << "a year is needed for the rules";
        EXPECT_EQ(Ticks(out), -1);
    }
}

TEST(ZoneLocalTime, InPlace) {
    FILETIME time = Time(Utc({2024, 7, 1, 12}));
    const int64_t local = ToLocal(Ticks(time));
    EXPECT_EQ(logging::FileTimeToLocalFileTimeFIX(&time, &time), 1);
    EXPECT_EQ(Ticks(time), local);
    EXPECT_EQ(logging::LocalFileTimeToFileTimeFIX(&time, &time), 1);
    EXPECT_EQ(Ticks(time), Utc({2024, 7, 1, 12}));
}

TEST(ZoneLocalTime, TextShowsSummerTimeOfTheDateItself) {
    const std::map<std::string, std::wstring> expected = {{"UTC", L"2024.07.01 12:00:00.0000"},
                                                          {"America/New_York", L"2024.07.01 08:00:00.0000"},
                                                          {"Europe/Berlin", L"2024.07.01 14:00:00.0000"},
                                                          {"Australia/Sydney", L"2024.07.01 22:00:00.0000"},
                                                          {"Asia/Kolkata", L"2024.07.01 17:30:00.0000"}};
    ASSERT_EQ(expected.count(Zone()), 1u) << "no expectation for " << Zone();
    const FILETIME time = Time(Utc({2024, 7, 1, 12}));
    wchar_t buffer[64];
    EXPECT_EQ(logging::FileTimeToText(&time, buffer, 64, 1), expected.at(Zone()));
    EXPECT_EQ(logging::FileTimeToText(&time, buffer, 64, 0), std::wstring(L"2024.07.01 12:00:00.0000"));
}
}  // namespace
