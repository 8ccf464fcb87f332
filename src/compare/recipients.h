#pragma once
// Recipient lists: the value of the derived property "Mail.Recipients".

#include <windows.h>

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

/// Normalises each name and e-mail in place and sorts the list; true when something changed.
bool NormalizeRecipients(TRecipientList* list);
int CompareRecipients(const TMessageRecipient& a, const TMessageRecipient& b);
/// Text form for the log. Returns buffer.
wchar_t* RecipientsToText(const TRecipientList* list, wchar_t* buffer, size_t capacity, bool verbose);
