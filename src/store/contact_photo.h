#pragma once
// A contact's photo flag, a named boolean property. Failures are logged under the routine's own name.

#include "store/resources.h"

namespace store {

/// The flag's tag in the contact's store; a store that does not know the name is a failure.
HRESULT ContactItem_HasPhoto_tag(IMessage* item, ULONG* tag);
/// A missing flag is 0 and success, and so is one whose name the store does not know.
HRESULT ContactItem_HasPhoto_get(IMessage* item, int* has);
HRESULT ContactItem_HasPhoto_set(IMessage* item, bool has);

}  // namespace store
