#pragma once
// How much of a series an appointment is.

#include "store/resources.h"

namespace compare {
class CNames;
}

namespace dupsearch {

/// 0: not recurring, 1: recurring, 2 and 3: a recurring all-day-like appointment with and without a time of
/// day, 4 and 5: a birthday or anniversary with and without one. What cannot be read is logged and counts as
/// recurring.
short CalcRecurIndex(IMessage* item, compare::CNames& names);

/// Whether the appointment is a birthday or an anniversary; false when that cannot be read.
bool IsYearlyAppointment(IMessage* item, compare::CNames& names);

}  // namespace dupsearch
