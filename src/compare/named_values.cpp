#include "compare/named_values.h"

#include "log/identifier_text.h"
#include "store/mapi_extra.h"
#include "store/properties.h"

namespace {

MAPINAMEID NameOf(GUID* set, const NamedProperty& property) {
    MAPINAMEID name{};
    name.lpguid = set;
    name.ulKind = property.id != 0 ? MNID_ID : MNID_STRING;
    if (property.id != 0) {
        name.Kind.lID = property.id;
    } else {
        name.Kind.lpwstrName = const_cast<wchar_t*>(property.name);
    }
    return name;
}

/// Looks all names up in one request; the tags carry the types asked for, 0 where the store never held the
/// name.
HRESULT LookUpNames(IMAPIProp* item, const GUID& set, std::span<const NamedProperty> properties,
                    ULONG* tags) {
    GUID guid = set;
    MAPINAMEID names[NamedValues::kMost];
    MAPINAMEID* list[NamedValues::kMost];
    for (size_t i = 0; i < properties.size(); ++i) {
        names[i] = NameOf(&guid, properties[i]);
        list[i] = &names[i];
        tags[i] = 0;
    }

    MapiBuffer<SPropTagArray> found;
    const HRESULT hr = store::LookUpNames(item, static_cast<ULONG>(properties.size()), list, found);
    if (!store::IsReadSuccess(hr)) return hr;
    for (size_t i = 0; i < properties.size(); ++i) {
        const ULONG tag = found->aulPropTag[i];
        if (PROP_TYPE(tag) != PT_ERROR) tags[i] = PROP_TAG(properties[i].type, PROP_ID(tag));
    }
    return S_OK;
}

}  // namespace

HRESULT LookUpName(IMAPIProp* item, const GUID& set, const NamedProperty& property, ULONG* tag) {
    return LookUpNames(item, set, {&property, 1}, tag);
}

ULONG CKnownNames::Find(const GUID& set, long id) const {
    for (const Known& known : m_known) {
        if (known.id == id && known.set == set) return known.propId;
    }
    return 0;
}

HRESULT CKnownNames::LookUp(IMAPIProp* item, const GUID& set, const NamedProperty& property, ULONG* tag) {
    if (const ULONG known = Find(set, property.id); known != 0) {
        *tag = PROP_TAG(property.type, known);
        return S_OK;
    }
    const HRESULT hr = LookUpName(item, set, property, tag);
    if (hr == S_OK && *tag != 0) m_known.push_back({set, property.id, PROP_ID(*tag)});
    return hr;
}

NamedValues::NamedValues(IMAPIProp* item, const char* set, std::span<const NamedProperty> properties)
    : m_lookup(LookUp(item, set, properties)), m_read(m_lookup == S_OK ? ReadAll(item) : m_lookup) {}

HRESULT NamedValues::LookUp(IMAPIProp* item, const char* set, std::span<const NamedProperty> properties) {
    GUID guid;
    if (!Str2GUID(set, &guid)) return MAPI_E_INVALID_PARAMETER;
    return LookUpNames(item, guid, properties, m_tags);
}

HRESULT NamedValues::ReadAll(IMAPIProp* item) {
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
        store::GetPropValues(item, reinterpret_cast<SPropTagArray*>(&wanted), &count, Out(m_values));
    if (!store::IsReadSuccess(hr)) return hr;
    for (ULONG k = 0; m_values && k < count && k < wanted.cValues; ++k)
        m_found[places[k]] = &m_values.get()[k];
    return S_OK;
}

SCODE NamedValues::Error(size_t i) const {
    const SPropValue* value = m_found[i];
    if (!value || PROP_TYPE(value->ulPropTag) == PROP_TYPE(m_tags[i])) return S_OK;
    if (PROP_TYPE(value->ulPropTag) != PT_ERROR) return MAPI_E_INVALID_TYPE;
    return value->Value.err == MAPI_E_NOT_FOUND ? S_OK : value->Value.err;
}

const SPropValue* NamedValues::Find(size_t i) const {
    const SPropValue* value = m_found[i];
    return value && PROP_TYPE(value->ulPropTag) == PROP_TYPE(m_tags[i]) ? value : nullptr;
}
