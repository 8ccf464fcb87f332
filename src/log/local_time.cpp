#include "log/local_time.h"

#include <cstdint>
#include <initializer_list>

#include "base/ticks.h"

namespace logging {

namespace {
const WORD kLastWeek = 5;

/// Adds minutes; false when the result is before 1601 or beyond 64 bits.
bool AddMinutes(uint64_t ticks, int64_t minutes, uint64_t* result) {
    const uint64_t distance = static_cast<uint64_t>(minutes < 0 ? -minutes : minutes) * base::kTicksPerMinute;
    *result = minutes < 0 ? ticks - distance : ticks + distance;
    return minutes < 0 ? ticks >= distance : *result >= ticks;
}

/// The moment, in local time, at which a rule takes effect in the given year.
bool RuleMoment(const SYSTEMTIME& rule, WORD year, uint64_t* moment) {
    FILETIME time;
    if (rule.wYear != 0) {
        if (!SystemTimeToFileTime(&rule, &time)) return false;
        *moment = base::Ticks(time);
        return true;
    }
    // The rule's day is a week number: count from the month's first day, whose weekday the conversion back
    // tells.
    SYSTEMTIME first = rule;
    first.wYear = year;
    first.wDay = 1;
    SYSTEMTIME resolved;
    if (!SystemTimeToFileTime(&first, &time) || !FileTimeToSystemTime(&time, &resolved)) return false;
    const int toFirstWeekday = (rule.wDayOfWeek + 7 - resolved.wDayOfWeek) % 7;
    uint64_t ticks =
        base::Ticks(time) + static_cast<uint64_t>(toFirstWeekday + 7 * (rule.wDay - 1)) * base::kTicksPerDay;
    if (rule.wDay == kLastWeek) {
        time = base::FromTicks(ticks);
        if (!FileTimeToSystemTime(&time, &resolved)) return false;
        if (resolved.wMonth != rule.wMonth) ticks -= 7 * base::kTicksPerDay;
    }
    *moment = ticks;
    return true;
}

/// The minutes to add to local time for UTC, in standard and in daylight time.
struct TOffsets {
    explicit TOffsets(const TIME_ZONE_INFORMATION& zone)
        : standard(zone.Bias + zone.StandardBias), daylight(zone.Bias + zone.DaylightBias) {}
    int64_t standard;
    int64_t daylight;
};

/// The minutes to add to local time for UTC that hold in the zone at a UTC time.
bool OffsetAt(const TIME_ZONE_INFORMATION& zone, const FILETIME& utc, int64_t* offset) {
    const TOffsets offsets(zone);
    if (zone.DaylightDate.wMonth == 0) {
        *offset = offsets.standard;
        return true;
    }
    if (zone.StandardDate.wMonth == 0) {
        *offset = offsets.daylight;
        return true;
    }
    SYSTEMTIME calendar;
    uint64_t toStandard, toDaylight;
    // Each change happens by the clock that it ends.
    if (!FileTimeToSystemTime(&utc, &calendar) ||
        !RuleMoment(zone.StandardDate, calendar.wYear, &toStandard) ||
        !AddMinutes(toStandard, offsets.daylight, &toStandard) ||
        !RuleMoment(zone.DaylightDate, calendar.wYear, &toDaylight) ||
        !AddMinutes(toDaylight, offsets.standard, &toDaylight))
        return false;
    const uint64_t now = base::Ticks(utc);
    const bool isDaylight = toDaylight < toStandard ? toDaylight <= now && now < toStandard
                                                    : !(toStandard <= now && now < toDaylight);
    *offset = isDaylight ? offsets.daylight : offsets.standard;
    return true;
}
}  // namespace

int FileTimeToLocalFileTimeFIX(const FILETIME* utc, FILETIME* local) {
    const FILETIME input = *utc;
    *local = input;
    TIME_ZONE_INFORMATION zone;
    int64_t offset;
    uint64_t ticks;
    if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID || !OffsetAt(zone, input, &offset) ||
        !AddMinutes(base::Ticks(input), -offset, &ticks))
        return 0;
    *local = base::FromTicks(ticks);
    return 1;
}

int LocalFileTimeToFileTimeFIX(const FILETIME* local, FILETIME* utc) {
    const FILETIME input = *local;
    *utc = input;
    TIME_ZONE_INFORMATION zone;
    if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) return 0;
    const TOffsets offsets(zone);
    // Standard time is tried first, so that it is meant when the clock shows a time twice; and it is also
    // meant by a time that the clock skips, which thus becomes the moment after the change.
    bool found = false;
    uint64_t result = 0;
    for (const int64_t offset : {offsets.standard, offsets.daylight}) {
        uint64_t ticks;
        int64_t offsetThen;
        if (!AddMinutes(base::Ticks(input), offset, &ticks) ||
            !OffsetAt(zone, base::FromTicks(ticks), &offsetThen))
            continue;
        if (offsetThen == offset) {
            *utc = base::FromTicks(ticks);
            return 1;
        }
        if (!found) result = ticks;
        found = true;
    }
    if (!found) return 0;
    *utc = base::FromTicks(result);
    return 1;
}

}  // namespace logging
