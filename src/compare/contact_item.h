#pragma once
// Named contact properties beyond the derived ones: CRM identifier and SMTP form of an e-mail.
// (The photo flag is in store/contact_photo.h.)

#include "store/resources.h"

HRESULT ContactItem_HasCrmId(IMessage* item, int* has);
/// SMTP address of e-mail 1, 2 or 3 through the address book; unicode chooses the width of the value.
HRESULT ContactItem_SmtpEmail(IAddrBook* addrBook, IMessage* item, int index, bool unicode,
                              SPropValue** value);
