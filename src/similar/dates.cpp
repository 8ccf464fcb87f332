#include "similar/dates.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "base/ticks.h"

namespace similar {
namespace {

/// What programs store for "no date".
constexpr TDate kPlaceholders[] = {{4501, 1, 1}, {1899, 12, 30}};
/// The first moment that the system gives no date for.
constexpr uint64_t kEndOfDates = uint64_t{1} << 63;

}  // namespace

bool ToDate(const FILETIME& time, TDate* date) {
    SYSTEMTIME st;
    if (!FileTimeToSystemTime(&time, &st)) return false;
    *date = {st.wYear, st.wMonth, st.wDay};
    return true;
}

const TDate* PlaceholderOf(const TDate& local, const FILETIME& stored) {
    TDate utc{};
    ToDate(stored, &utc);
    for (const TDate& placeholder : kPlaceholders)
        if (placeholder == local || placeholder == utc) return &placeholder;
    return nullptr;
}

int64_t DayOf(const FILETIME& time) {
    return static_cast<int64_t>(base::Ticks(time) / base::kTicksPerDay);
}

bool MayBePlaceholder(const FILETIME& time) {
    return std::any_of(std::begin(kPlaceholders), std::end(kPlaceholders), [&time](const TDate& date) {
        SYSTEMTIME st{};
        st.wYear = static_cast<WORD>(date.year);
        st.wMonth = static_cast<WORD>(date.month);
        st.wDay = static_cast<WORD>(date.day);
        FILETIME midnight{};
        SystemTimeToFileTime(&st, &midnight);
        return std::abs(DayOf(time) - DayOf(midnight)) <= kMostDaysApart;
    });
}

bool MayHaveNoDate(const FILETIME& time) {
    return base::Ticks(time) >= kEndOfDates - kMostDaysApart * base::kTicksPerDay;
}

}  // namespace similar
