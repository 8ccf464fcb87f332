#pragma once
// All-day-like appointments, and the birthdays and anniversaries among them: appointments that mean the same day are
// stored in many ways.

#include "store/resources.h"

namespace compare {

class CNames;

// The exports of the same names (quorvel.h documents them), without their frame. names: known of the item's
// store, or null, here and below.
HRESULT AllDayEventLike(IMessage* item, int* allDayLike, int askAllDayFlag, CNames* names = nullptr);
HRESULT AllDayEventLikeEx(IMessage* item, int* allDayLike, int askAllDayFlag, int* allDayFlag,
                          CNames* names = nullptr);

/// *result is 1 for an all-day-like item whose subject is that of a birthday or an anniversary, else 0.
/// allDayLike and subject: what the caller knows already, or null; an error value counts as not known. wide
/// chooses PR_SUBJECT's type when it is read, and the type that a given subject must have (-1 and an
/// assertion otherwise). A missing subject is no failure.
HRESULT Appointment_IsBirthdayOrAnniversary(IMessage* item, bool wide, int* result, const int* allDayLike,
                                            const SPropValue* subject, CNames* names = nullptr);

}  // namespace compare
