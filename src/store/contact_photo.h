#pragma once
// A contact's photo flag, a named property.

#include "store/resources.h"

HRESULT ContactItem_HasPhoto_tag(IMessage* item, ULONG* tag);
HRESULT ContactItem_HasPhoto_get(IMessage* item, int* has);
HRESULT ContactItem_HasPhoto_set(IMessage* item, bool has);
