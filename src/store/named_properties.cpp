#include "store/named_properties.h"

#include <mapidefs.h>

#include <cstring>
#include <string>
#include <vector>

#include "log/CPlatformCalls.h"
#include "log/identifier_text.h"
#include "store/checked_calls.h"

namespace store {

using logging::CPlatformCalls;
using logging::g_Log;

namespace {

constexpr char kResolveTags[] = "Quorvel_ResolveTags";
constexpr ULONG kUnresolved = PROP_TAG(PT_ERROR, 0);

struct TNamedEntry {
    TComparyProp* prop;
    GUID set;
};

bool NeedsTag(const TComparyProp& prop) {
    return prop.ulPropTag == 0 && prop.lpszGuid && _stricmp(prop.lpszGuid, base::kPrivateSet) != 0;
}

std::vector<TNamedEntry> EntriesWithoutTag(const TComparyProps& props) {
    std::vector<TNamedEntry> entries;
    for (int i = 0; i < props.n; i++) {
        TComparyProp& prop = props.lpProps[i];
        if (!NeedsTag(prop)) continue;
        GUID set;
        if (logging::Str2GUID(prop.lpszGuid, &set)) {
            entries.push_back({&prop, set});
        } else {
            g_Log.Error(kResolveTags, "ignoring bag guid = \"%s\"\n", prop.lpszGuid);
        }
    }
    return entries;
}

void FillName(const TComparyProp& prop, GUID* set, MAPINAMEID* name) {
    *name = {};
    name->lpguid = set;
    if (prop.nID != 0) {
        name->ulKind = MNID_ID;
        name->Kind.lID = prop.nID;
    } else {
        name->ulKind = MNID_STRING;
        name->Kind.lpwstrName = const_cast<wchar_t*>(base::OrEmpty(prop.lpszID));
    }
}

/// The entry's tag as the item knows it, or kUnresolved. The result is the look-up's own.
HRESULT LookUp(IMessage* item, TNamedEntry& entry, ULONG& tag) {
    MAPINAMEID name;
    FillName(*entry.prop, &entry.set, &name);
    MapiBuffer<SPropTagArray> tags;
    const HRESULT hr = GetIDsFromNames(item, 1, &name, Out(tags));
    if (!IsReadSuccess(hr)) {
        g_Log.Error(kResolveTags, "Quorvel_GetIDsFromNames return 0x%x\n", static_cast<unsigned>(hr));
    }
    tag = tags ? tags->aulPropTag[0] : kUnresolved;
    return hr;
}

void TakeTag(TComparyProp& prop, ULONG tag) {
    if (tag != kUnresolved) {
        prop.ulPropTag = PROP_TAG(PROP_TYPE(prop.nType), PROP_ID(tag));
        return;
    }
    // A wide format takes wide texts only.
    const std::wstring set(prop.lpszGuid, prop.lpszGuid + std::strlen(prop.lpszGuid));
    g_Log.ErrorW(kResolveTags,
                 L"NamedProp->Tag failed for Prop: Key=\"%s\", GUID=\"%s\", nID=%d, sID=\"%s\",nType=0x%x\n",
                 base::OrEmpty(prop.lpszKey), set.c_str(), prop.nID, base::OrEmpty(prop.lpszID), prop.nType);
}

}  // namespace

HRESULT GetIDFromName(IMessage* item, MAPINAMEID* name, ULONG* tag) {
    CPlatformCalls calls("Quorvel_GetIDFromName");
    *tag = 0;
    MapiBuffer<SPropTagArray> tags;
    if (calls(LookUpNames(item, 1, &name, tags), "lpItem->GetIDsFromNames return 0x%x\n")) {
        *tag = tags->aulPropTag[0];
    }
    return calls.result;
}

ULONG GetIDFromName2(IMessage* item, const char* guid, long id, ULONG type) {
    GUID set;
    if (!logging::Str2GUID(base::OrEmpty(guid), &set)) {
        g_Log.Error("Quorvel_GetIDFromName2", "Str2GUID failed\n");
        return 0;
    }
    MAPINAMEID name = {};
    name.lpguid = &set;
    name.ulKind = MNID_ID;
    name.Kind.lID = id;
    ULONG tag = 0;
    if (GetIDFromName(item, &name, &tag) != S_OK) return 0;
    return tag | (type & PROP_TYPE_MASK);
}

HRESULT GetIDsFromNames(IMessage* item, ULONG count, MAPINAMEID* name, SPropTagArray** tags) {
    CPlatformCalls calls("Quorvel_GetIDsFromNames");
    MapiBuffer<SPropTagArray> found;
    calls(LookUpNames(item, count, &name, found), "GetIDsFromNames return 0x%x\n");
    *tags = found.release();
    return calls.result;
}

bool NameOf(const TComparyProp& definition, GUID* set, MAPINAMEID* name) {
    if (!NeedsTag(definition) || !logging::Str2GUID(definition.lpszGuid, set)) return false;
    FillName(definition, set, name);
    return true;
}

HRESULT ResolveTags(IMessage* item, TComparyProps* props, std::vector<HRESULT>* results) {
    if (results) results->assign(static_cast<size_t>(props->n), S_OK);
    std::vector<TNamedEntry> entries = EntriesWithoutTag(*props);
    if (entries.empty()) return S_OK;
    CPlatformCalls calls(kResolveTags);
    MapiBuffer<SPropTagArray> tags;
    if (!calls(Allocate(CbNewSPropTagArray(static_cast<size_t>(props->n)), tags),
               "MAPIAllocateBuffer return 0x%x\n")) {
        return calls.result;
    }
    HRESULT last = S_OK;
    for (size_t i = 0; i < entries.size(); i++) {
        last = LookUp(item, entries[i], tags->aulPropTag[i]);
        if (!results) continue;
        if (IsLookUpFailure(last)) last = LookUp(item, entries[i], tags->aulPropTag[i]);
        (*results)[static_cast<size_t>(entries[i].prop - props->lpProps)] = last;
    }
    for (size_t i = 0; i < entries.size(); i++) TakeTag(*entries[i].prop, tags->aulPropTag[i]);
    if (last != S_OK) g_Log.Info(1, kResolveTags, "hRes != S_OK\n");
    return last;
}

}  // namespace store
