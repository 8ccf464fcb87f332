#pragma once
// Named contact properties beyond the derived ones: the CRM identifier and the SMTP form of an e-mail.
// (The photo flag is in store/contact_photo.h.) names: known of the item's store, or null.

#include "store/resources.h"

namespace compare {

class CNames;

/// *has is 1 when the contact's "crmid" holds a text, else 0. A contact without it is no failure.
HRESULT ContactItem_HasCrmId(IMessage* item, int* has, CNames* names = nullptr);

/// SMTP address of e-mail 1, 2 or 3: the address-book entry behind the e-mail is opened and asked. *value is
/// a new block of MAPIAllocateBuffer, a text of the width that unicode chooses, empty when the entry has no
/// SMTP address. -1 for another index, for an e-mail without an entry behind it (not logged) and when its
/// identifier cannot be read; the platform's result when the entry cannot be opened or read. *value is null
/// then.
HRESULT ContactItem_SmtpEmail(IAddrBook* addrBook, IMessage* item, int index, bool unicode,
                              SPropValue** value, CNames* names = nullptr);

}  // namespace compare
