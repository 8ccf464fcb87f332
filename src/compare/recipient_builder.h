#pragma once
// The recipient list of a mail, from its recipient table into one block.

#include <mapidefs.h>

namespace compare {

/// A derived value, handed out as propex.h says: the recipient table, rows with neither name nor e-mail left out, not normalised yet.
HRESULT MailItem_Recipients(IMessage* item, SPropValue** value);

}  // namespace compare
