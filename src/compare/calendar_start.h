#pragma once
// Canonical starts and years of yearly appointments, which are so compared across years.

#include <windows.h>

namespace compare {

/// Moves a UTC start to local midnight, one at noon or later to the following; forceYear also moves it into
/// the year 1602, so that yearly events compare across years. 1 when *start was changed; 0 when it was
/// canonical already or has no such form (an assertion in the log). *oldYear is set whenever a year was to be
/// replaced, also when that then failed; not touched otherwise.
int Appointment_Normalize_AlldaylikeStart(FILETIME* start, bool forceYear, WORD* oldYear);

/// Replaces the local year of a UTC time. 1 on success; 0 with *time unchanged and an assertion in the log
/// when the time does not convert or the day does not exist in that year. *oldYear is set whenever the year
/// could be read.
int FILETIME_SetYear(FILETIME* time, WORD year, WORD* oldYear);

}  // namespace compare
