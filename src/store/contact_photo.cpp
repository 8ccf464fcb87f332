#include "store/contact_photo.h"

#include <mapidefs.h>

#include "log/PlatformCalls.h"
#include "log/identifier_text.h"
#include "store/named_properties.h"
#include "store/properties.h"

namespace {
constexpr LONG kHasPhotoId = 0x8015;
}

HRESULT ContactItem_HasPhoto_tag(IMessage* item, ULONG* tag) {
    PlatformCalls calls("ContactItem_HasPhoto_tag");
    *tag = 0;
    GUID set;
    if (!Str2GUID(kSetAddress, &set)) {
        g_Log.Error(calls.tag, "Str2GUID failed\n");
        return -1;
    }
    MAPINAMEID name = {};
    name.lpguid = &set;
    name.ulKind = MNID_ID;
    name.Kind.lID = kHasPhotoId;
    MAPINAMEID* names = &name;
    MapiBuffer<SPropTagArray> tags;
    HRESULT hr = item->GetIDsFromNames(1, &names, 0, Out(tags));
    // Whatever a store says of a name that it does not know: a tag without an id must never be written.
    if (hr == S_OK && PROP_ID(tags->aulPropTag[0]) == 0) hr = MAPI_E_NOT_FOUND;
    if (calls(hr, "GetIDsFromNames return 0x%x\n")) {
        *tag = PROP_TAG(PT_BOOLEAN, PROP_ID(tags->aulPropTag[0]));
    }
    return calls.result;
}

HRESULT ContactItem_HasPhoto_get(IMessage* item, int* has) {
    *has = 0;
    ULONG tag = 0;
    if (const HRESULT hr = ContactItem_HasPhoto_tag(item, &tag); hr != S_OK) return hr;
    bool flag = false;
    const HRESULT hr = store::ReadFlag("ContactItem_HasPhoto_get", item, tag, &flag);
    *has = flag;
    return hr;
}

HRESULT ContactItem_HasPhoto_set(IMessage* item, bool has) {
    PlatformCalls calls("ContactItem_HasPhoto_set");
    SPropValue value = {};
    if (const HRESULT hr = ContactItem_HasPhoto_tag(item, &value.ulPropTag); hr != S_OK) return hr;
    value.Value.b = has;
    calls(item->SetProps(1, &value, nullptr), "SetProps return 0x%x\n");
    return calls.result;
}
