#include "compare/calendar_start.h"

#include "base/ticks.h"
#include "log/CLog.h"
#include "log/local_time.h"

namespace compare {

using logging::g_Log;

namespace {

constexpr WORD kCanonicalYear = 1602;

/// The assertions below are known by these numbers in the log.
enum EStep { stepToLocal = 1, stepToFields, stepFromFields, stepToUtc };

bool Check(bool succeeded, const char* tag, EStep step) {
    g_Log.Assert(succeeded, tag, step, nullptr);
    return succeeded;
}

bool ToLocalFields(const FILETIME& utc, SYSTEMTIME* fields, const char* tag) {
    FILETIME local;
    return Check(logging::FileTimeToLocalFileTimeFIX(&utc, &local), tag, stepToLocal) &&
           Check(FileTimeToSystemTime(&local, fields), tag, stepToFields);
}

/// Platforms differ in whether they refuse 29 February of a common year.
bool IsLeapDayOfCommonYear(const SYSTEMTIME& st) {
    const bool leap = st.wYear % 4 == 0 && (st.wYear % 100 != 0 || st.wYear % 400 == 0);
    return st.wMonth == 2 && st.wDay == 29 && !leap;
}

/// Stores local fields, so many days later, as UTC. A time that has no UTC form is stored as it is.
bool StoreFromLocalFields(const SYSTEMTIME& fields, unsigned daysLater, FILETIME* utc, const char* tag) {
    FILETIME local;
    if (!Check(!IsLeapDayOfCommonYear(fields) && SystemTimeToFileTime(&fields, &local), tag,
               stepFromFields)) {
        return false;
    }
    local = base::FromTicks(base::Ticks(local) + daysLater * base::kTicksPerDay);
    if (!Check(logging::LocalFileTimeToFileTimeFIX(&local, utc), tag, stepToUtc)) *utc = local;
    return true;
}

}  // namespace

int Appointment_Normalize_AlldaylikeStart(FILETIME* start, bool forceYear, WORD* oldYear) {
    constexpr char tag[] = "Appointment_Normalize_AlldaylikeStart";
    SYSTEMTIME st;
    if (!ToLocalFields(*start, &st, tag)) return 0;

    const bool replaceYear = forceYear && st.wYear != 0;
    const bool offMidnight = st.wHour || st.wMinute || st.wSecond || st.wMilliseconds;
    if (!replaceYear && !offMidnight) return 0;

    const unsigned daysLater = st.wHour >= 12 ? 1 : 0;
    if (replaceYear) {
        if (oldYear) *oldYear = st.wYear;
        st.wYear = kCanonicalYear;
    }
    st.wHour = st.wMinute = st.wSecond = st.wMilliseconds = 0;
    return StoreFromLocalFields(st, daysLater, start, tag);
}

int FILETIME_SetYear(FILETIME* time, WORD year, WORD* oldYear) {
    constexpr char tag[] = "FILETIME_SetYear";
    SYSTEMTIME st;
    if (!ToLocalFields(*time, &st, tag) || st.wYear == 0) return 0;
    if (oldYear) *oldYear = st.wYear;
    st.wYear = year;
    return StoreFromLocalFields(st, 0, time, tag);
}

}  // namespace compare
