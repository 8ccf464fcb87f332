#pragma once
// Birthdays and anniversaries: calendar dates that are stored as moments, and what stands for "no date" among
// them.

#include <windows.h>

#include <cstdint>

namespace similar {

struct TDate {
    int year;
    int month;
    int day;
    bool operator==(const TDate&) const = default;
};

/// False when there is no such date.
bool ToDate(const FILETIME& time, TDate* date);
/// The placeholder that a date stands for, or null. It is stored as midnight of UTC by some programs and of
/// the local time by others.
const TDate* PlaceholderOf(const TDate& local, const FILETIME& stored);

/// The day of a moment in UTC. Moments of one local date lie at most kMostDaysApart of these days apart, in
/// whatever time zone.
int64_t DayOf(const FILETIME& time);
inline constexpr int64_t kMostDaysApart = 2;
/// Whether the moment may be that of a placeholder, or may have no date at all, in some time zone.
bool MayBePlaceholder(const FILETIME& time);
bool MayHaveNoDate(const FILETIME& time);

/// The level of the log's line that says that a placeholder was skipped.
inline constexpr int kPlaceholderLevel = 3;

}  // namespace similar
