#pragma once
// Derived properties: values gathered from several properties of an item.

#include "store/resources.h"

enum EPropEx : unsigned {
    propexAnyAddress = 1,
    propexAnyEmail = 2,
    propexAnyPhone = 3,
    propexCompanyContact = 4,
    propexSenders = 5,
    propexRecipients = 6
};
inline constexpr unsigned kPhoneKinds = 19;

/// Display name; "unknown" and an error line for any other id.
const wchar_t* QuorvelPropEx_ToStringW(unsigned id);
/// Name of sub-kind index of a derived property, padded for the log. buffer holds 32 characters at least.
const wchar_t* PropExKindText(unsigned propex, int index, wchar_t* buffer, size_t capacity);

/// Builders. On success (S_OK or MAPI_W_ERRORS_RETURNED) *value is a new block of MAPIAllocateBuffer. kinds,
/// when given, has room for one entry a kind (3, 3, 19, 4) and receives the kind of each element of the
/// value.
HRESULT ContactItem_Addresses(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds = nullptr);
HRESULT ContactItem_Emails(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds = nullptr);
HRESULT ContactItem_Phones(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds = nullptr);
HRESULT ContactItem_CompanyContact(IMessage* item, SPropValue** value);
HRESULT MailItem_Senders(IMessage* item, bool unicode, SPropValue** value);
HRESULT MailItem_Recipients(IMessage* item, SPropValue** value);

/// Renders a derived value for the log; propex 0: any other value.
wchar_t* PropValueToText(const SPropValue* value, wchar_t* buffer, size_t capacity, unsigned propex,
                         bool verbose);
