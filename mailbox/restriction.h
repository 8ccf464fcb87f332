#pragma once
// Restrictions of tables: and, or, not, comment, property, content, bit mask, size, exist. Compared
// properties and subobjects, and comparisons of multi-valued properties, are too complex.

#include "mailbox/platform_headers.h"
#include "mailbox/values.h"

namespace mailbox {

/// S_OK when Matches can judge it; else MAPI_E_TOO_COMPLEX or MAPI_E_INVALID_PARAMETER.
HRESULT CheckRestriction(const SRestriction& restriction);
/// The restriction must have passed CheckRestriction. A property that is not there matches nothing but a
/// negation.
bool Matches(const CPropertySource& source, const SRestriction& restriction);

}  // namespace mailbox
