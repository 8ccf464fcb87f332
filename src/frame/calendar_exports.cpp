// Exports of the calendar normalisations.

#include "compare/calendar.h"
#include "compare/calendar_subject.h"
#include "quorvel.h"

HRESULT Appointment_AllDayEventLike(IMessage* item, int* allDayLike, int askAllDayFlag) {
    return compare::AllDayEventLike(item, allDayLike, askAllDayFlag);
}

HRESULT Appointment_AllDayEventLikeEx(IMessage* item, int* allDayLike, int askAllDayFlag, int* allDayFlag) {
    return compare::AllDayEventLikeEx(item, allDayLike, askAllDayFlag, allDayFlag);
}

int Normalize_BirthdayOrAnnvrsrySubject(char* subject, int testOnly) {
    return compare::NormalizeBirthdayOrAnnvrsrySubject(subject, testOnly);
}

int Normalize_BirthdayOrAnnvrsrySubjectW(wchar_t* subject, int testOnly) {
    return compare::NormalizeBirthdayOrAnnvrsrySubjectW(subject, testOnly);
}
