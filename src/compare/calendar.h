#pragma once
// Calendar normalisations: all-day-like appointments, canonical starts, birthday and anniversary subjects.
//
// Appointments that mean the same day are stored in many ways, and the yearly entries that mail clients make
// carry subjects whose word order varies. These routines recognise both and bring them into one form.

#include "store/resources.h"

namespace compare {

class CNames;

// The exports of the same names (quorvel.h documents them), without their frame. names: known of the item's
// store, or null, here and below.
HRESULT AllDayEventLike(IMessage* item, int* allDayLike, int askAllDayFlag, CNames* names = nullptr);
HRESULT AllDayEventLikeEx(IMessage* item, int* allDayLike, int askAllDayFlag, int* allDayFlag,
                          CNames* names = nullptr);
int NormalizeBirthdayOrAnnvrsrySubjectW(wchar_t* subject, int testOnly);
int NormalizeBirthdayOrAnnvrsrySubject(char* subject, int testOnly);

/// *result is 1 for an all-day-like item whose subject is that of a birthday or an anniversary, else 0.
/// allDayLike and subject: what the caller knows already, or null; an error value counts as not known. wide
/// chooses PR_SUBJECT's type when it is read, and the type that a given subject must have (-1 and an
/// assertion otherwise). A missing subject is no failure.
HRESULT Appointment_IsBirthdayOrAnniversary(IMessage* item, bool wide, int* result, const int* allDayLike,
                                            const SPropValue* subject, CNames* names = nullptr);

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
