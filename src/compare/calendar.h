#pragma once
// Calendar normalisations: all-day-like appointments, canonical starts, birthday and anniversary subjects.

#include "store/resources.h"

namespace compare {
HRESULT AllDayEventLike(IMessage* item, int* allDayLike, int askAllDayFlag);
HRESULT AllDayEventLikeEx(IMessage* item, int* allDayLike, int askAllDayFlag, int* allDayFlag);
int NormalizeBirthdayOrAnnvrsrySubjectW(wchar_t* subject, int testOnly);
int NormalizeBirthdayOrAnnvrsrySubject(char* subject, int testOnly);
}  // namespace compare

/// *result is 1 for a birthday or anniversary. allDayLike and subject: what the caller knows already, or
/// null.
HRESULT Appointment_IsBirthdayOrAnniversary(IMessage* item, bool wide, int* result, const int* allDayLike,
                                            const SPropValue* subject);
/// 1 when *start was changed. *oldYear is set when the year was forced.
int Appointment_Normalize_AlldaylikeStart(FILETIME* start, bool forceYear, WORD* oldYear);
int FILETIME_SetYear(FILETIME* time, WORD year, WORD* oldYear);
