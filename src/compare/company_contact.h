#pragma once
// Whether a contact is a company rather than a person.

#include <mapidefs.h>

namespace compare {

/// A derived value, handed out as propex.h says. A contact with a given name or a surname is a person; one with neither but a company name is a company.
HRESULT ContactItem_CompanyContact(IMessage* item, SPropValue** value);

}  // namespace compare
