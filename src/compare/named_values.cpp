#include "compare/named_values.h"

#include "base/mapi_extra.h"
#include "log/identifier_text.h"
#include "store/properties.h"

namespace compare {

using base::EName;
using base::TName;
using store::MapiBuffer;

HRESULT AskForNames(IMAPIProp* item, std::span<const EName> names, ULONG* tags) {
    constexpr size_t kMost = CNamedValues::kMost;
    GUID sets[kMost];
    MAPINAMEID ids[kMost] = {};
    MAPINAMEID* list[kMost];
    for (size_t i = 0; i < names.size(); ++i) {
        const TName& name = base::kNameTable[names[i]];
        if (!logging::Str2GUID(name.set, &sets[i])) return MAPI_E_INVALID_PARAMETER;
        ids[i].lpguid = &sets[i];
        ids[i].ulKind = name.text ? MNID_STRING : MNID_ID;
        if (name.text) {
            ids[i].Kind.lpwstrName = const_cast<wchar_t*>(name.text);
        } else {
            ids[i].Kind.lID = name.id;
        }
        list[i] = &ids[i];
        tags[i] = 0;
    }

    MapiBuffer<SPropTagArray> found;
    const HRESULT hr = store::LookUpNames(item, static_cast<ULONG>(names.size()), list, found);
    if (!store::IsReadSuccess(hr)) return hr;
    for (size_t i = 0; i < names.size(); ++i) {
        const ULONG tag = found->aulPropTag[i];
        if (PROP_TYPE(tag) != PT_ERROR) tags[i] = PROP_TAG(base::kNameTable[names[i]].type, PROP_ID(tag));
    }
    return S_OK;
}

HRESULT LookUpNames(IMAPIProp* item, std::span<const EName> names, ULONG* tags, CNames* known) {
    return known ? known->LookUp(item, names, tags) : AskForNames(item, names, tags);
}

CNamedValues::CNamedValues(IMAPIProp* item, std::span<const EName> names, CNames* known)
    : m_lookup(LookUpNames(item, names, m_tags, known)),
      m_read(m_lookup == S_OK ? ReadAll(item) : m_lookup) {}

HRESULT CNamedValues::ReadAll(IMAPIProp* item) {
    SizedSPropTagArray(kMost, wanted) = {};
    size_t places[kMost];
    for (size_t i = 0; i < kMost; ++i) {
        if (m_tags[i] == 0) continue;
        places[wanted.cValues] = i;
        wanted.aulPropTag[wanted.cValues++] = m_tags[i];
    }
    if (wanted.cValues == 0) return S_OK;

    ULONG count = 0;
    const HRESULT hr =
        store::GetPropValues(item, reinterpret_cast<SPropTagArray*>(&wanted), &count, store::Out(m_values));
    if (!store::IsReadSuccess(hr)) return hr;
    for (ULONG k = 0; m_values && k < count && k < wanted.cValues; ++k)
        m_found[places[k]] = &m_values.get()[k];
    return S_OK;
}

SCODE CNamedValues::Error(size_t i) const {
    const SPropValue* value = m_found[i];
    if (!value || PROP_TYPE(value->ulPropTag) == PROP_TYPE(m_tags[i])) return S_OK;
    if (PROP_TYPE(value->ulPropTag) != PT_ERROR) return MAPI_E_INVALID_TYPE;
    return value->Value.err == MAPI_E_NOT_FOUND ? S_OK : value->Value.err;
}

const SPropValue* CNamedValues::Find(size_t i) const {
    const SPropValue* value = m_found[i];
    return value && PROP_TYPE(value->ulPropTag) == PROP_TYPE(m_tags[i]) ? value : nullptr;
}

}  // namespace compare
