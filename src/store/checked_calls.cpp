#include "store/checked_calls.h"

#include <algorithm>

namespace store {

HRESULT OpenAddressBook(IMAPISession* session, ComPtr<IAddrBook>& book) {
    const HRESULT hr = session->OpenAddressBook(0, nullptr, AB_NO_DIALOG, &book);
    if (!IsReadSuccess(hr)) book.Reset();
    return IsReadSuccess(hr) && !book ? MAPI_E_CALL_FAILED : hr;
}

HRESULT GetProps(IMAPIProp* object, SPropTagArray* tags, ULONG* count, MapiBuffer<SPropValue>& values) {
    *count = 0;
    ULONG found = 0;
    const HRESULT hr = object->GetProps(tags, 0, &found, Out(values));
    if (!IsReadSuccess(hr)) {
        values.reset();
        return hr;
    }
    if (!values) return MAPI_E_CALL_FAILED;
    *count = found;
    return hr;
}

HRESULT LookUpNames(IMAPIProp* object, ULONG count, MAPINAMEID** names, MapiBuffer<SPropTagArray>& tags) {
    const HRESULT hr = object->GetIDsFromNames(count, names, 0, Out(tags));
    const bool came = tags && tags->cValues >= count;
    if (!IsReadSuccess(hr) || !came) tags.reset();
    return IsReadSuccess(hr) && !came ? MAPI_E_CALL_FAILED : hr;
}

HRESULT QueryRows(IMAPITable* table, ULONG count, RowSet& rows) {
    const HRESULT hr = table->QueryRows(static_cast<LONG>(count), 0, Out(rows));
    if (hr != S_OK) rows.reset();
    return hr == S_OK && !rows ? MAPI_E_CALL_FAILED : hr;
}

const SPropValue* ColumnOf(const SRow& row, ULONG column) {
    return row.lpProps && column < row.cValues ? &row.lpProps[column] : nullptr;
}

const char* TextOf(const SRow& row, ULONG column) {
    const SPropValue* const value = ColumnOf(row, column);
    return value && PROP_TYPE(value->ulPropTag) == PT_STRING8 ? value->Value.lpszA : nullptr;
}

HRESULT ReadStream(IStream* stream, void* bytes, ULONG size, ULONG* read) {
    *read = 0;
    ULONG count = 0;
    const HRESULT hr = stream->Read(bytes, size, &count);
    if (hr != S_OK && hr != S_FALSE) return hr;
    *read = std::min(count, size);
    return S_OK;
}

}  // namespace store
