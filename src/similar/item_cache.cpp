// Reading contacts into the cache.

#include <cwchar>

#include "compare/contact_item.h"
#include "compare/value_compare.h"
#include "log/CLog.h"
#include "log/identifier_text.h"
#include "similar/CSimilarSearch.h"
#include "store/mapi_extra.h"
#include "store/named_properties.h"
#include "store/properties.h"
#include "store/streams.h"

namespace similar {
namespace {

constexpr char kReadInfoTag[] = "CSimilarSearch.ReadItemInfo";
constexpr char kCacheTag[] = "CSimilarSearch.CacheItem";
constexpr LONG kFileAsId = 0x8005;

enum EInfo : ULONG { infoEntryId, infoLastModification, infoFileAs, infoFullName, infoCount };

void TakeHex(const SBinary& bytes, std::pmr::string* text) {
    if (!bytes.lpb) return;
    text->resize(2 * size_t{bytes.cb} + 1);
    BytesToHex(bytes.lpb, bytes.cb, text->data());
    text->pop_back();
}

/// The text of a name; empty when the contact has none. format reports any other reason.
const wchar_t* NameOf(const SPropValue& value, const char* format) {
    if (PROP_TYPE(value.ulPropTag) == PT_UNICODE) return OrEmpty(value.Value.lpszW);
    if (PROP_TYPE(value.ulPropTag) != PT_ERROR || value.Value.err != MAPI_E_NOT_FOUND)
        g_Log.Error(kReadInfoTag, format, static_cast<unsigned>(value.Value.err));
    return L"";
}

bool SameTime(const FILETIME& a, const FILETIME& b) {
    return a.dwLowDateTime == b.dwLowDateTime && a.dwHighDateTime == b.dwHighDateTime;
}

/// The SMTP form that the address book gives; null, with a warning, when it gives none.
MapiBuffer<SPropValue> ReadSmtpEmail(IAddrBook* addressBook, IMessage* item, int slot) {
    MapiBuffer<SPropValue> value;
    const HRESULT hr = ContactItem_SmtpEmail(addressBook, item, slot, true, Out(value));
    const ULONG type = value ? PROP_TYPE(value->ulPropTag) : PT_ERROR;
    const bool missing = value && type == PT_ERROR && value->Value.err == MAPI_E_NOT_FOUND;
    if (!store::IsReadSuccess(hr) || (type != PT_UNICODE && !missing)) {
        g_Log.Warning(kCacheTag, "Cant read email in smtp format\n");
        return nullptr;
    }
    if (missing || !value->Value.lpszW || !*value->Value.lpszW) {
        g_Log.Warning(kCacheTag, "smtp email is empty\n");
        return nullptr;
    }
    return value;
}

}  // namespace

CTagArray ResolveTags(IMessage* item, std::vector<TComparyProp>* definitions) {
    TComparyProps props{static_cast<int>(definitions->size()), definitions->data()};
    store::ResolveTags(item, &props);
    CTagArray tags;
    for (const TComparyProp& definition : *definitions) tags.Append(definition.ulPropTag);
    return tags;
}

TItemProps* CSimilarSearch::CacheItem(IMessage* item, bool* fromCache) {
    *fromCache = false;
    if (item && m_lpPropsTags.Count() == 0) m_lpPropsTags = ResolveTags(item, &m_fields);
    TItemInfo info(&m_memory);
    if (!item || !ReadItemInfo(item, &info)) {
        g_Log.Error(kCacheTag, "ReadItemInfo failed\n");
        return nullptr;
    }
    if (const auto cached = m_cache.find(info.entryId);
        cached != m_cache.end() && SameTime(cached->second.lastModification, info.lastModification)) {
        *fromCache = true;
        return &cached->second;
    }
    MapiBuffer<SPropValue> values = ReadValues(item);
    if (!values) {
        Forget(info.entryId);
        return nullptr;
    }

    TCache read(&m_memory);  // aside until it is complete
    std::pmr::string key(info.entryId, &m_memory);
    TItemProps& props =
        read.try_emplace(std::move(key), std::move(info), m_lpPropsTags.Count(), std::move(values))
            .first->second;
    ReadSmtpEmails(item, &props);
    ReadBody(item, &props);
    compare::CountProps2(props.values.get(), props.valueCount, &props.filledCount, nullptr);
    props.PrepareTexts(m_fields, m_indexes, &m_scratch);

    // From here on nothing can fail. An older version goes; or, since the host may have been called while the
    // platform read, one that it has cached by itself.
    const bool isSearchBy = Forget(props.entryId);
    TItemProps& kept = m_cache.insert(read.extract(read.begin())).position->second;
    if (isSearchBy) m_pSearchByProps = &kept;
    return &kept;
}

/// True when the contact was the search-by contact: there is none then.
bool CSimilarSearch::Forget(std::string_view entryId) {
    const auto cached = m_cache.find(entryId);
    if (cached == m_cache.end()) return false;
    const bool isSearchBy = &cached->second == m_pSearchByProps;
    if (isSearchBy) m_pSearchByProps = nullptr;
    m_cache.erase(cached);
    return isSearchBy;
}

bool CSimilarSearch::ReadItemInfo(IMessage* item, TItemInfo* info) {
    if (m_ulFileAsTag == 0) m_ulFileAsTag = store::GetIDFromName2(item, kSetAddress, kFileAsId, PT_UNICODE);
    if (m_ulFileAsTag == 0) {
        g_Log.Error(kReadInfoTag, "Cant resolve FileAs tag\n");
        return false;
    }
    SizedSPropTagArray(infoCount, tags) = {
        infoCount, {PR_ENTRYID, PR_LAST_MODIFICATION_TIME, m_ulFileAsTag, PR_DISPLAY_NAME_W}};
    ULONG count = 0;
    MapiBuffer<SPropValue> values;
    const HRESULT hr =
        store::GetPropValues(item, reinterpret_cast<SPropTagArray*>(&tags), &count, Out(values));
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kReadInfoTag, "Quorvel_GetPropValues returned 0x%x\n", static_cast<unsigned>(hr));
        return false;
    }
    if (count != infoCount || !values) {
        g_Log.Error(kReadInfoTag, "cValues(%d) != cTags(%d)\n", static_cast<int>(count),
                    static_cast<int>(infoCount));
        return false;
    }
    const SPropValue& entryId = values.get()[infoEntryId];
    if (PROP_TYPE(entryId.ulPropTag) != PT_BINARY) {
        g_Log.Error(kReadInfoTag, "Cant read EntryID, error = 0x%x\n",
                    static_cast<unsigned>(entryId.Value.err));
        return false;
    }
    TakeHex(entryId.Value.bin, &info->entryId);
    if (info->entryId.empty()) {
        g_Log.Error(kReadInfoTag, "Error: EntryID is empty\n");
        return false;
    }
    const SPropValue& time = values.get()[infoLastModification];
    if (PROP_TYPE(time.ulPropTag) == PT_SYSTIME)
        info->lastModification = time.Value.ft;
    else
        g_Log.Error(kReadInfoTag, "Cant read LMT, error = 0x%x\n", static_cast<unsigned>(time.Value.err));
    info->fileAs = NameOf(values.get()[infoFileAs], "Cant read FileAs, error = 0x%x\n");
    info->fullName = NameOf(values.get()[infoFullName], "Cant read FullName, error = 0x%x\n");
    return true;
}

/// Null when the values cannot be read, else one for each field.
MapiBuffer<SPropValue> CSimilarSearch::ReadValues(IMessage* item) {
    ULONG count = 0;
    MapiBuffer<SPropValue> values;
    const HRESULT hr = store::GetPropValues(item, m_lpPropsTags.Get(), &count, Out(values));
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kCacheTag, "Quorvel_GetPropValues returned 0x%x\n", static_cast<unsigned>(hr));
        return nullptr;
    }
    if (count != m_lpPropsTags.Count() || !values) {
        g_Log.Error(kCacheTag, "cValues(%d) != m_lpPropsTags->cValues(%d)\n", static_cast<int>(count),
                    static_cast<int>(m_lpPropsTags.Count()));
        return nullptr;
    }
    return values;
}

void CSimilarSearch::ReadSmtpEmails(IMessage* item, TItemProps* props) {
    for (size_t i = 0; i < TItemProps::kEmails; ++i) {
        const wchar_t* email = props->szw(m_indexes.Emails[i]);
        props->smtpEmails[i] = email ? email : L"";
        if (!email || !*email || wcschr(email, L'@')) continue;
        IAddrBook* addressBook = AddressBook();
        if (!addressBook) continue;
        const MapiBuffer<SPropValue> smtp = ReadSmtpEmail(addressBook, item, static_cast<int>(i + 1));
        if (smtp) props->smtpEmails[i] = props->Keep(smtp->Value.lpszW);
    }
}

IAddrBook* CSimilarSearch::AddressBook() {
    if (m_addrBookTried) return m_lpAddrBook.Get();
    m_addrBookTried = true;
    m_addrBookResult =
        m_lpSession ? store::OpenAddressBook(m_lpSession, m_lpAddrBook) : MAPI_E_NOT_INITIALIZED;
    if (!store::IsReadSuccess(m_addrBookResult)) {
        g_Log.Error(kCacheTag, "OpenAddressBook failed, error = 0x%x\n",
                    static_cast<unsigned>(m_addrBookResult));
    }
    return m_lpAddrBook.Get();
}

void CSimilarSearch::ReadBody(IMessage* item, TItemProps* props) {
    void* raw = nullptr;
    ULONG bytes = 0;
    const HRESULT hr = store::GetStreamPropValue(item, PR_BODY_W, &raw, &bytes, 1);
    const MapiBuffer<wchar_t> text(static_cast<wchar_t*>(raw));
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kCacheTag, "GetStreamPropValue(PR_BODY_W) return %d\n", static_cast<int>(hr));
        return;
    }
    if (text) props->TakeBody(text.get(), store::EndText(text.get(), bytes));
}

}  // namespace similar
