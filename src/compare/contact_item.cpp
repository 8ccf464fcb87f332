#include "compare/contact_item.h"

#include "compare/derived_value.h"
#include "compare/named_values.h"
#include "log/CPlatformCalls.h"
#include "store/entry_id.h"
#include "store/properties.h"

namespace compare {

using base::EName;
using enum base::EName;
using logging::CPlatformCalls;
using logging::g_Log;
using store::ComPtr;
using store::MapiBuffer;

namespace {

/// An entry without the property has an empty address.
HRESULT NewEmptyText(ULONG tag, MapiBuffer<SPropValue>* value) {
    const HRESULT hr = AllocateValue(sizeof(SPropValue) + sizeof(wchar_t), value);
    if (hr != S_OK) return hr;
    (*value)->ulPropTag = tag;
    (*value)->Value.lpszW = reinterpret_cast<wchar_t*>(value->get() + 1);
    return S_OK;
}

HRESULT ReadSmtpAddress(IMAPIProp* entry, bool unicode, SPropValue** value) {
    const ULONG tag = unicode ? PR_SMTP_ADDRESS_W : PR_SMTP_ADDRESS_A;
    MapiBuffer<SPropValue> address;
    HRESULT hr = store::GetPropValue(entry, tag, store::Out(address));
    if (!store::IsReadSuccess(hr)) return hr;
    if (PROP_TYPE(address->ulPropTag) == PT_ERROR) {
        if (address->Value.err != MAPI_E_NOT_FOUND) return address->Value.err;
        hr = NewEmptyText(tag, &address);
        if (hr != S_OK) return hr;
    }
    *value = address.release();
    return S_OK;
}

}  // namespace

HRESULT ContactItem_HasCrmId(IMessage* item, int* has, CNames* names) {
    *has = 0;
    constexpr EName kCrmId[] = {nameCrmId};
    const CNamedValues crmId(item, kCrmId, names);
    CPlatformCalls calls("ContactItem_HasCrmId");
    if (!calls(crmId.Lookup(), "GetIDsFromNames return 0x%x\n") ||
        !calls(crmId.Read(), "GetPropValue return 0x%x\n") ||
        !calls(crmId.Error(0), "lpValue->Value.err = 0x%x\n")) {
        return calls.result;
    }
    const SPropValue* value = crmId.Find(0);
    if (!value) return S_OK;
    if (!value->Value.lpszA) {
        g_Log.Error(calls.tag, "lpValue->Value.lpszA == NULL\n");
        return S_OK;
    }
    *has = *value->Value.lpszA != 0;
    return S_OK;
}

HRESULT ContactItem_SmtpEmail(IAddrBook* addrBook, IMessage* item, int index, bool unicode,
                              SPropValue** value, CNames* names) {
    CPlatformCalls calls("QuorvelProps.ContactItem_SmtpEmail");
    *value = nullptr;
    const bool known = index >= 1 && index <= static_cast<int>(std::size(base::kEmailEntryIds));
    g_Log.Assert(known, calls.tag, 1180, nullptr);
    if (!known) return -1;

    const CNamedValues identifier(item, {&base::kEmailEntryIds[index - 1], 1}, names);
    if (!calls(identifier.Lookup(), "GetPropValue(EmailEntryID) return 0x%x\n") ||
        !calls(identifier.Read(), "GetPropValue(EmailEntryID) return 0x%x\n") ||
        !calls(identifier.Error(0), "PropValue(EmailEntryID)->Value.err = 0x%x\n") || !identifier.Find(0)) {
        return -1;
    }

    // No identifier at all would open the address book's root.
    const SBinary& entryId = identifier.Find(0)->Value.bin;
    if (entryId.cb == 0) return -1;
    ComPtr<IUnknown> entry;
    ULONG objectType = 0;
    HRESULT hr = addrBook->OpenEntry(entryId.cb, reinterpret_cast<ENTRYID*>(entryId.lpb), nullptr,
                                     MAPI_BEST_ACCESS, &objectType, entry.GetAddressOf());
    if (hr == S_OK && !entry) hr = MAPI_E_CALL_FAILED;
    if (hr != S_OK) {
        const MapiBuffer<char> text = store::EntryIdToText(entryId.lpb, entryId.cb);
        g_Log.Error(calls.tag, "lpADRBook->OpenEntry return 0x%x, EntryID=\"%s\"\n",
                    static_cast<unsigned>(hr), text ? text.get() : "");
        return hr;
    }
    // Without an interface asked for, the entry comes as its type's own, which reads properties.
    return ReadSmtpAddress(static_cast<IMAPIProp*>(entry.Get()), unicode, value);
}

}  // namespace compare
