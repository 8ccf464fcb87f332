#pragma once
// Derived properties: values gathered from several properties of an item. Company contacts and recipients have their
// builders in headers of their own (company_contact.h, recipient_builder.h).
//
// Every value of one derived property carries the same property id, whatever item or store it came from, so
// that two of them can be compared:
//
//   AnyAddress, AnyEmail, AnyPhone, Senders: one multi-valued string, the found, non-empty values in the
//       order of their kinds; as many elements as were found
//   CompanyContact: PT_BOOLEAN, false for a person, true for a company without a person
//   Recipients: PT_BINARY, lpb points at a TRecipientList (recipients.h), cb counts all of the block behind
//       the value
//
// An item that has nothing of the sort gives a PT_ERROR value of MAPI_E_NOT_FOUND, which counts as empty.

#include "base/names.h"
#include "store/resources.h"

namespace compare {

class CNames;
class CTagArray;

enum EPropEx : unsigned {
    propexAnyAddress = 1,
    propexAnyEmail = 2,
    propexAnyPhone = 3,
    propexCompanyContact = 4,
    propexSenders = 5,
    propexRecipients = 6
};
inline constexpr unsigned kAddressKinds = 3;
inline constexpr unsigned kEmailKinds = 3;
inline constexpr unsigned kPhoneKinds = base::phoneCount;
inline constexpr unsigned kSenderKinds = 4;

// Builders. On success (S_OK or MAPI_W_ERRORS_RETURNED) *value is a new block of MAPIAllocateBuffer, freed
// with one MAPIFreeBuffer; on failure, which is logged, it is null. unicode chooses the width of the texts.
// kinds, when given, has room for one entry a kind and receives the kind of each element of the value. names,
// when given, are those known of the item's store.

/// Kinds: home, business, other. Log tag "QuorvelProps.ContactItem_Addresses".
HRESULT ContactItem_Addresses(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds = nullptr,
                              CNames* names = nullptr);
/// Kinds: e-mail 1, 2, 3. Log tag "QuorvelProps.ContactItem_Emails".
HRESULT ContactItem_Emails(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds = nullptr,
                           CNames* names = nullptr);
/// Kinds: kPhoneKinds, from car to text telephone.
HRESULT ContactItem_Phones(IMessage* item, bool unicode, SPropValue** value, ULONG* kinds = nullptr);
/// Elements: name and address of the sender represented, then of the sender.
HRESULT MailItem_Senders(IMessage* item, bool unicode, SPropValue** value);

// What a derived value of texts is gathered from, for whoever reads it along with other properties: an element
// each of the values found that are not empty, in the order of their kinds.

/// Tag of such a value; 0 for a derived property that is no list of texts.
ULONG DerivedTextsTag(unsigned propex);
/// Appends the tags of its texts, one a kind. False, and nothing appended, when one of the names is not known of
/// the item's store.
bool AppendTextTags(unsigned propex, const CNames& names, CTagArray& tags);

}  // namespace compare
