#include "store/contact_photo.h"

#include <mapidefs.h>

#include "base/names.h"
#include "log/identifier_text.h"
#include "log/CPlatformCalls.h"
#include "store/properties.h"

namespace store {

using enum base::EName;
using logging::CPlatformCalls;
using logging::g_Log;

namespace {

constexpr char kTag[] = "ContactItem_HasPhoto_tag";

/// The result of the look-up: a name that the store does not know comes as a tag without an id.
HRESULT FindTag(IMessage* item, ULONG* tag) {
    *tag = 0;
    GUID set;
    if (!logging::Str2GUID(base::kNameTable[nameHasPhoto].set, &set)) {
        g_Log.Error(kTag, "Str2GUID failed\n");
        return -1;
    }
    MAPINAMEID name = {};
    name.lpguid = &set;
    name.ulKind = MNID_ID;
    name.Kind.lID = base::kNameTable[nameHasPhoto].id;
    MAPINAMEID* names = &name;
    MapiBuffer<SPropTagArray> tags;
    const HRESULT hr = LookUpNames(item, 1, &names, tags);
    const ULONG id = tags ? PROP_ID(tags->aulPropTag[0]) : 0;
    if (hr != S_OK) return hr;
    // A tag without an id must never be written.
    if (id == 0) return MAPI_E_NOT_FOUND;
    *tag = PROP_TAG(PT_BOOLEAN, id);
    return S_OK;
}

bool LogLookUp(HRESULT hr) {
    CPlatformCalls calls(kTag);
    return calls(hr, "GetIDsFromNames return 0x%x\n");
}

}  // namespace

HRESULT ContactItem_HasPhoto_tag(IMessage* item, ULONG* tag) {
    const HRESULT hr = FindTag(item, tag);
    LogLookUp(hr);
    return hr;
}

HRESULT ContactItem_HasPhoto_get(IMessage* item, int* has) {
    *has = 0;
    ULONG tag = 0;
    const HRESULT hr = FindTag(item, &tag);
    // A store that never saw the name says so in one of two ways.
    if (hr == MAPI_E_NOT_FOUND || hr == MAPI_W_ERRORS_RETURNED) return S_OK;
    if (!LogLookUp(hr)) return hr;
    bool flag = false;
    const HRESULT read = ReadFlag("ContactItem_HasPhoto_get", item, tag, &flag);
    *has = flag;
    return read;
}

HRESULT ContactItem_HasPhoto_set(IMessage* item, bool has) {
    CPlatformCalls calls("ContactItem_HasPhoto_set");
    SPropValue value = {};
    if (const HRESULT hr = ContactItem_HasPhoto_tag(item, &value.ulPropTag); hr != S_OK) return hr;
    value.Value.b = has;
    calls(item->SetProps(1, &value, nullptr), "SetProps return 0x%x\n");
    return calls.result;
}

}  // namespace store
