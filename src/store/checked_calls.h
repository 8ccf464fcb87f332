#pragma once
// The platform's calls that hand something out, each made here and nowhere else: what a call was asked for has
// come, or the call has failed. A success without it is MAPI_E_CALL_FAILED, for the log and for the caller.
// Objects handed out are checked where the call is logged: CPlatformCalls::Gives.
//
// On failure nothing is handed out. Nothing is logged here.

#include "store/resources.h"

namespace store {

/// "Success" of a read: a missing property is a value of type PT_ERROR.
inline bool IsReadSuccess(HRESULT hr) {
    return hr == S_OK || hr == MAPI_W_ERRORS_RETURNED;
}

/// The session's address book, without asking the user; a warning hands it out too.
HRESULT OpenAddressBook(IMAPISession* session, ComPtr<IAddrBook>& book);
/// Values of these tags. *count is what the platform said; it may differ from the number of tags, and be 0.
HRESULT GetProps(IMAPIProp* object, SPropTagArray* tags, ULONG* count, MapiBuffer<SPropValue>& values);
/// Tags of these names, at least as many; MAPI_W_ERRORS_RETURNED, tags handed out, when some are unknown.
HRESULT LookUpNames(IMAPIProp* object, ULONG count, MAPINAMEID** names, MapiBuffer<SPropTagArray>& tags);
/// The next rows of a table, up to so many.
HRESULT QueryRows(IMAPITable* table, ULONG count, RowSet& rows);
/// The value in this column of a row; null when the row does not reach so far.
const SPropValue* ColumnOf(const SRow& row, ULONG column);
/// The 8-bit text in this column of a row; null when there is none.
const char* TextOf(const SRow& row, ULONG column);
/// Reads up to size bytes; *read is never more. A stream that gives less may say S_FALSE: that is S_OK.
HRESULT ReadStream(IStream* stream, void* bytes, ULONG size, ULONG* read);

}  // namespace store
