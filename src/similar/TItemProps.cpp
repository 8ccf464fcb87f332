#include "similar/TItemProps.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"
#include "log/CLog.h"
#include "similar/body_hash.h"

namespace similar {

using logging::g_Log;

const FILETIME* TItemProps::ft(int field) const {
    const SPropValue& value = values[field];
    const ULONG type = PROP_TYPE(value.ulPropTag);
    if (type == PT_SYSTIME) return &value.Value.ft;
    if (type != PT_ERROR)
        g_Log.Error("CSimilarSearch.TItemProps.ft", "invalid type = %d", static_cast<int>(type));
    return nullptr;
}

const wchar_t* TItemProps::szw(int field) const {
    const SPropValue& value = values[field];
    const ULONG type = PROP_TYPE(value.ulPropTag);
    if (type == PT_UNICODE) return value.Value.lpszW;
    if (type == PT_ERROR) return L"";
    g_Log.Error("CSimilarSearch.TItemProps.szw", "invalid type = %d", static_cast<int>(type));
    return nullptr;
}

bool TItemProps::IsEmpty(int field) const {
    const wchar_t* text = szw(field);
    return !text || !*text;
}

const TFieldText& TItemProps::Text(int field) const {
    TSlot slot = m_slots[field];
    if (slot == kWrongType) {
        szw(field);  // says so in the log
        slot = kNoText;
    }
    return m_texts[slot];
}

void TItemProps::TakeBody(wchar_t* text, size_t length) {
    constexpr std::wstring_view kBlanks = L" \t\r\n";
    const std::wstring_view trimmed = base::Trimmed(std::wstring_view(text, length), kBlanks);
    if (trimmed.empty()) return;
    body = trimmed.substr(0, kStoredBody);
    bodyLength = static_cast<int>(trimmed.size());
    wchar_t* const begin = text + (trimmed.data() - text);
    CharLowerBuffW(begin, static_cast<DWORD>(trimmed.size()));
    bodyHash = BodyHash(begin, trimmed.size());
}

bool TItemProps::HasSameBody(const TItemProps& other) const {
    return bodyLength != 0 && bodyLength == other.bodyLength && bodyHash == other.bodyHash &&
           lstrcmpiW(body.c_str(), other.body.c_str()) == 0;
}

void TItemProps::PrepareTexts(const TContactFields& fields, CUnitWeights* weights) {
    const auto& emails = fields.indexes.Emails;
    const wchar_t* texts[kFieldCapacity] = {};
    size_t count = 0;
    for (size_t i = 0; i < fields.list.size(); ++i) {
        if (fields.list[i].nType != PT_UNICODE) continue;
        const SPropValue& value = values[i];
        const ULONG type = PROP_TYPE(value.ulPropTag);
        const auto email = std::find(emails.begin(), emails.end(), static_cast<int>(i));
        if (email != emails.end())
            texts[i] = smtpEmails[email - emails.begin()];
        else if (type == PT_UNICODE)
            texts[i] = value.Value.lpszW;
        else if (type != PT_ERROR)
            m_slots[i] = kWrongType;
        if (texts[i] && *texts[i]) m_slots[i] = static_cast<TSlot>(++count);
    }
    m_texts.reserve(count + 1);
    m_texts.emplace_back();
    std::vector<unsigned char> scratch;
    for (size_t i = 0; i < fields.list.size(); ++i)
        if (m_slots[i] != kNoText && m_slots[i] != kWrongType)
            m_texts.push_back(
                PrepareText(texts[i], MethodsOf(static_cast<int>(i)), &m_kept, weights, &scratch));
}

}  // namespace similar
