#pragma once
// Reading plain property values and their sizes. "Success" of a read is S_OK or MAPI_W_ERRORS_RETURNED: a
// missing property is a value of type PT_ERROR. What a read hands out is a block of MAPIAllocateBuffer; on
// failure nothing is handed out (null, count 0). A null list of tags is -1.

#include "store/checked_calls.h"

namespace store {

/// One property. Nothing is logged.
HRESULT GetPropValue(IMAPIProp* object, ULONG tag, SPropValue** value);
/// Several properties in one request; a count that differs from the number of tags is a warning line. A
/// failed read is not logged.
HRESULT GetPropValues(IMAPIProp* object, SPropTagArray* tags, ULONG* count, SPropValue** values);
/// Bytes of the subject without terminator, from the values given when they hold it, else read.
HRESULT GetSubjectSize(IMessage* item, int wide, ULONG* size, SPropValue* values, ULONG count);
/// Bytes of subject, body and attachments together; a part that cannot be measured counts as 0.
ULONG GetSubjectBodyAttachmentsSize(IMessage* item, int wide, SPropValue* values, ULONG count);

/// Reads a property that an object need not have: S_OK and null when it is missing. Other failures are logged
/// under the routine's name.
HRESULT ReadIfPresent(const char* routine, IMAPIProp* object, ULONG tag, MapiBuffer<SPropValue>& value);
/// The same for a flag: false when it is missing or cannot be read.
HRESULT ReadFlag(const char* routine, IMAPIProp* object, ULONG tag, bool* flag);

}  // namespace store
