#include "host/similar_twins.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "host/text.h"

namespace host {

namespace {

/// What tells copies apart, in the form of PropertyName. The search compares none of it.
constexpr std::string_view kOfTheCopy[] = {
    // Where it is, and what the store calls it
    "0FFF", "0FF9", "0FF6", "0FF8", "0FFA", "0FFB", "0E05", "0E09", "300B", "0E23", "0E2B", "6619", "6645",
    "664A", "6748", "674A",
    // When and by whom it was made and changed, and how large it is
    "3007", "3008", "3FF8", "3FF9", "3FFA", "3FFB", "0E06", "0E08", "65E0", "65E1", "65E2", "65E3", "65E5",
    "65E6", "6709",
    // How it is called in a list
    "0037", "003D", "0070", "0071", "0E1D", "3013", "{00062004-0000-0000-C000-000000000046}:0x8005",
    // Where it came from
    "{00020329-0000-0000-C000-000000000046}:import-uid", "{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}:Path",
    "{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}:Place", "{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}:Offset",
    "{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}:Length", "{B0A5B6C1-6C1D-4E0F-9B57-2D2B6A7C51E4}:Digest"};

void AppendBytes(const void* bytes, size_t count, std::string* content) {
    content->append(reinterpret_cast<const char*>(&count), sizeof count);
    if (count > 0) content->append(static_cast<const char*>(bytes), count);
}

void AppendText(const wchar_t* text, std::string* content) {
    AppendBytes(text, text ? wcslen(text) * sizeof *text : 0, content);
}
void AppendText(const char* text, std::string* content) {
    AppendBytes(text, text ? strlen(text) : 0, content);
}

/// False for a value that is not there to be compared.
bool AppendValue(const SPropValue& value, std::string* content) {
    const auto append = [content](const auto& plain) { AppendBytes(&plain, sizeof plain, content); };
    const auto text = [content](const auto* of) { AppendText(of, content); };
    const auto bytes = [content](const SBinary& of) { AppendBytes(of.lpb, of.cb, content); };
    const auto each = [&append](ULONG count, const auto* values, const auto& appendOne) {
        append(count);
        for (ULONG i = 0; i < count; ++i) appendOne(values[i]);
        return true;
    };
    const auto& of = value.Value;
    append(value.ulPropTag);
    switch (PROP_TYPE(value.ulPropTag)) {
        case PT_I2:
            return append(of.i), true;
        case PT_BOOLEAN:
            return append(of.b), true;
        case PT_LONG:
            return append(of.l), true;
        case PT_R4:
            return append(of.flt), true;
        case PT_DOUBLE:
        case PT_APPTIME:
            return append(of.dbl), true;
        case PT_CURRENCY:
        case PT_I8:
            return append(of.li), true;
        case PT_SYSTIME:
            return append(of.ft), true;
        case PT_UNICODE:
            return text(of.lpszW), true;
        case PT_STRING8:
            return text(of.lpszA), true;
        case PT_BINARY:
            return bytes(of.bin), true;
        case PT_CLSID:
            return append(*of.lpguid), true;
        case PT_MV_LONG:
            return each(of.MVl.cValues, of.MVl.lpl, append);
        case PT_MV_UNICODE:
            return each(of.MVszW.cValues, of.MVszW.lppszW, text);
        case PT_MV_STRING8:
            return each(of.MVszA.cValues, of.MVszA.lppszA, text);
        case PT_MV_BINARY:
            return each(of.MVbin.cValues, of.MVbin.lpbin, bytes);
        case PT_NULL:
        case PT_OBJECT:  // recipients and attachments, which nobody compares
            return true;
        default:
            return false;
    }
}

}  // namespace

TTwins::TTwins(size_t contacts) : first(contacts), members(contacts) {
    std::iota(first.begin(), first.end(), 0u);
    for (uint32_t i = 0; i < contacts; ++i) members[i] = {i};
}

void TTwins::Join(uint32_t earlier, uint32_t later) {
    first[later] = earlier;
    members[later].clear();
    members[earlier].push_back(later);
}

std::optional<uint32_t> CTwinFinder::Find(uint32_t contact, IMessage* message) {
    const std::optional<std::string> content = Content(contact, message);
    if (!content) return std::nullopt;
    const size_t hash = std::hash<std::string>()(*content);
    const auto [begin, end] = m_byHash.equal_range(hash);
    for (auto known = begin; known != end; ++known) {
        const ComPtr<IMessage> earlier = m_reader.Open(m_contacts[known->second]);
        if (earlier && Content(known->second, earlier.Get()) == content) return known->second;
    }
    m_byHash.emplace(hash, contact);
    return std::nullopt;
}

/// Nothing when it cannot be read whole.
std::optional<std::string> CTwinFinder::Content(uint32_t contact, IMessage* message) {
    ULONG count = 0;
    SPropValue* raw = nullptr;
    const HRESULT hr = message->GetProps(nullptr, MAPI_UNICODE, &count, &raw);
    const MapiPtr<SPropValue> owner(raw);
    if ((hr != S_OK && hr != MAPI_W_ERRORS_RETURNED) || !owner) return std::nullopt;
    std::sort(raw, raw + count,
              [](const SPropValue& a, const SPropValue& b) { return a.ulPropTag < b.ulPropTag; });
    // Properties with names have other tags in another store.
    std::string content = m_reader.StoreId(m_contacts[contact]);
    for (ULONG i = 0; i < count; ++i) {
        if (IsOfTheCopy(contact, message, raw[i].ulPropTag)) continue;
        if (!AppendValue(raw[i], &content)) return std::nullopt;
    }
    return content;
}

bool CTwinFinder::IsOfTheCopy(uint32_t contact, IMessage* message, ULONG tag) {
    const size_t store = m_reader.catalog().folders[m_contacts[contact].folder].store;
    const auto [known, isNew] = m_isOfTheCopy.try_emplace({store, PROP_ID(tag)}, false);
    if (isNew) known->second = std::ranges::count(kOfTheCopy, m_reader.NameOf(message, store, tag)) != 0;
    return known->second;
}

}  // namespace host
