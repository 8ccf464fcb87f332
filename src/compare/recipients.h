#pragma once
// Recipient lists: the value of the derived property "Mail.Recipients".
//
// A list lives in the one block of its value (propex.h): header, records, texts. Normalising and comparing
// work inside that block; only names of more than ordinary length and the sorting of many recipients take memory,
// and both do without where there is none: a list that was normalised in part must not be normalised again.

#include <windows.h>

namespace compare {

struct TMessageRecipient {
    wchar_t* name;   // never null once built
    wchar_t* email;  // never null once built
    ULONG type;      // MAPI_TO, MAPI_CC, MAPI_BCC; 0xFFFFFFFF when the row had none
};

/// Header of a recipient list; a Mail.Recipients value's lpb points at one.
struct TRecipientList {
    ULONG count;
    TMessageRecipient* recipients;
    ULONG normalised;  // set by the first comparison that normalises the list
};

/// Normalises each name and e-mail in place (blanks around them, apostrophes around a name, a name that is
/// the e-mail, the e-mail in parentheses at a name's end) and sorts the list, equal recipients where a selection
/// sort leaves them; true when something changed. Does not look at the normalised flag.
bool NormalizeRecipients(TRecipientList* list);

/// By type (a difference that wraps: a missing one sorts first), then name, then e-mail, both without regard to
/// case.
int CompareRecipients(const TMessageRecipient& a, const TMessageRecipient& b);

/// Three-way comparison: by count, then record by record. A list whose flag is clear is normalised first and
/// its flag set; while extra logging is on, lists that this changed are logged before and after.
int CompareRecipientLists(TRecipientList* a, TRecipientList* b);

/// Text form for the log: as many whole recipients as fit into capacity characters. verbose names the
/// record's type. Returns buffer, terminated.
wchar_t* RecipientsToText(const TRecipientList* list, wchar_t* buffer, size_t capacity, bool verbose);

}  // namespace compare
