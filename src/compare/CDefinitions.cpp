#include "compare/CDefinitions.h"

#include <cstring>

#include "base/mapi_extra.h"
#include "store/named_properties.h"

namespace compare {

namespace {

template <typename Text, typename Char>
std::optional<Text> Copy(const Char* text) {
    return text ? std::optional<Text>(text) : std::nullopt;
}

template <typename Text>
auto PointerTo(const std::optional<Text>& text) -> decltype(text->c_str()) {
    return text ? text->c_str() : nullptr;
}

ULONG WideType(ULONG type) {
    switch (type) {
        case PT_STRING8:
            return PT_UNICODE;
        case PT_MV_STRING8:
            return PT_MV_UNICODE;
        default:
            return type;
    }
}

}  // namespace

CDefinitions::CDefinitions(const CDefinitions& other) : m_texts(other.m_texts), m_entries(other.m_entries) {
    PointToTexts();
}

CDefinitions& CDefinitions::operator=(const CDefinitions& other) {
    m_texts = other.m_texts;
    m_entries = other.m_entries;
    PointToTexts();
    return *this;
}

void CDefinitions::Add(const TComparyProp& definition) {
    m_texts.push_back({Copy<std::wstring>(definition.lpszKey), Copy<std::wstring>(definition.lpszName),
                       Copy<std::wstring>(definition.lpszID), Copy<std::string>(definition.lpszGuid)});
    TComparyProp& entry = m_entries.emplace_back(definition);
    entry.ulPropTag = CHANGE_PROP_TYPE(entry.ulPropTag, WideType(PROP_TYPE(entry.ulPropTag)));
    entry.nType = WideType(entry.nType);
    PointToTexts();
}

void CDefinitions::PointToTexts() {
    for (size_t i = 0; i < m_entries.size(); ++i) {
        m_entries[i].lpszKey = PointerTo(m_texts[i].key);
        m_entries[i].lpszName = PointerTo(m_texts[i].name);
        m_entries[i].lpszID = PointerTo(m_texts[i].id);
        m_entries[i].lpszGuid = PointerTo(m_texts[i].guid);
    }
}

bool IsInSet(const TComparyProp& definition, const char* set) {
    return definition.lpszGuid && _stricmp(definition.lpszGuid, set) == 0;
}

bool IsDerived(const TComparyProp& definition) {
    return IsInSet(definition, base::kPrivateSet);
}

const wchar_t* KeyOf(const TComparyProp& definition) {
    return base::OrEmpty(definition.lpszKey);
}

const wchar_t* NameOf(const TComparyProp& definition) {
    return base::OrEmpty(definition.lpszName);
}

}  // namespace compare
