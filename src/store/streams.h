#pragma once
// Properties read through a stream: whole, by size, by emptiness.

#include "store/resources.h"

namespace store {
HRESULT GetStreamPropValue(IMAPIProp* object, ULONG tag, void** buffer, ULONG* count, int addTerminator);
HRESULT StreamPropSize(IMAPIProp* object, ULONG tag, ULONG* size);
HRESULT StreamPropEmpty(IMessage* item, ULONG tag, int* empty, ULONG* size);
}  // namespace store
