#pragma once
// Subjects of birthdays and anniversaries, whose word order varies with the mail client that made them, in one order.

#include <windows.h>

namespace compare {

// The exports of the same names (quorvel.h documents them), without their frame.
int NormalizeBirthdayOrAnnvrsrySubjectW(wchar_t* subject, int testOnly);
int NormalizeBirthdayOrAnnvrsrySubject(char* subject, int testOnly);

}  // namespace compare
