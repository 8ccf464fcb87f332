#pragma once
// Reading plain property values and their sizes. "Success" of a read is S_OK or MAPI_W_ERRORS_RETURNED.

#include "store/resources.h"

namespace store {
inline bool IsReadSuccess(HRESULT hr) {
    return hr == S_OK || hr == MAPI_W_ERRORS_RETURNED;
}

HRESULT GetPropValue(IMAPIProp* object, ULONG tag, SPropValue** value);
HRESULT GetPropValues(IMAPIProp* object, SPropTagArray* tags, ULONG* count, SPropValue** values);
/// One multi-valued value of the found, non-empty values in tag order; PT_ERROR with MAPI_E_NOT_FOUND when
/// there is none. sources, when given, has room for tags->cValues entries and receives for each element the
/// index of the tag that it came from.
HRESULT GetPropValuesInOneMValue(IMessage* item, SPropTagArray* tags, SPropValue** value,
                                 ULONG* sources = nullptr);
HRESULT GetSubjectSize(IMessage* item, int wide, ULONG* size, SPropValue* values, ULONG count);
ULONG GetSubjectBodyAttachmentsSize(IMessage* item, int wide, SPropValue* values, ULONG count);
}  // namespace store
