// Reading contacts into the cache.

#include <cwchar>

#include "base/mapi_extra.h"
#include "base/room.h"
#include "base/ticks.h"
#include "compare/value_compare.h"
#include "log/CLog.h"
#include "log/identifier_text.h"
#include "similar/CSimilarSearch.h"
#include "store/properties.h"
#include "store/streams.h"

namespace similar {
namespace {

constexpr char kReadInfoTag[] = "CSimilarSearch.ReadItemInfo";
constexpr char kCacheTag[] = "CSimilarSearch.CacheItem";

enum EInfo : ULONG { infoEntryId, infoLastModification, infoFileAs, infoFullName, infoCount };

void TakeHex(const SBinary& bytes, std::pmr::string* text) {
    if (!bytes.lpb) return;
    text->resize(2 * size_t{bytes.cb} + 1);
    BytesToHex(bytes.lpb, bytes.cb, text->data());
    text->pop_back();
}

/// The text of a name; empty when the contact has none. format reports any other reason.
const wchar_t* NameOf(const SPropValue& value, const char* format) {
    if (PROP_TYPE(value.ulPropTag) == PT_UNICODE) return base::OrEmpty(value.Value.lpszW);
    if (PROP_TYPE(value.ulPropTag) != PT_ERROR || value.Value.err != MAPI_E_NOT_FOUND)
        g_Log.Error(kReadInfoTag, format, static_cast<unsigned>(value.Value.err));
    return L"";
}

}  // namespace

/// The contact's store, its tags settled; null when it cannot be asked, which is logged.
CItemReader::TStore* CSimilarSearch::SettleStore(IMessage* item) {
    HRESULT hr = S_OK;
    CItemReader::TStore* const store = m_reader.StoreOf(item, m_storeEntryId.c_str(), &hr);
    if (!store) {
        g_Log.Error(kReadInfoTag, "Quorvel_GetPropValues returned 0x%x\n", static_cast<unsigned>(hr));
        return nullptr;
    }
    const TComparyProps fields{static_cast<int>(m_fields.size()), m_fields.data()};
    if (m_tags.IsEmpty()) m_tags.Resolve(item, store->number, fields);
    hr = m_tags.Settle(item, store->number);
    if (hr != S_OK) {
        g_Log.Error(kCacheTag, "Quorvel_GetIDsFromNames returned 0x%x\n", static_cast<unsigned>(hr));
        return nullptr;
    }
    if (m_tags.BringIn(store->number)) {
        m_tags.FillIn(fields);
        m_infoRequests.clear();
        m_valueRequests.clear();
    }
    return store;
}

TItemProps* CSimilarSearch::CacheItem(IMessage* item, bool* fromCache) {
    *fromCache = false;
    TItemInfo info(&m_memory);
    CItemReader::TStore* const store = item ? SettleStore(item) : nullptr;
    if (!store || !ReadItemInfo(item, store->number, &info)) {
        g_Log.Error(kCacheTag, "ReadItemInfo failed\n");
        return nullptr;
    }
    if (const auto cached = m_cache.find(info.entryId);
        cached != m_cache.end() &&
        base::Ticks(cached->second.lastModification) == base::Ticks(info.lastModification)) {
        *fromCache = true;
        return &cached->second;
    }
    TPlainValues values;
    if (!ReadValues(item, store->number, &values)) {
        Forget(info.entryId);
        return nullptr;
    }

    TCache read(&m_memory);  // aside until it is complete
    std::pmr::string key(info.entryId, &m_memory);
    TItemProps& props =
        read.try_emplace(std::move(key), std::move(info), *store, std::move(values)).first->second;
    ReadSmtpEmails(item, &props);
    ReadBody(item, &props);
    compare::CountProps2(props.values, props.cValues, &props.filledCount, nullptr);
    props.PrepareTexts(m_fields, m_indexes, &m_weights, &m_scratch);
    PrepareRoom(props.entryId);
    m_index.Prepare(props, m_weights);

    // From here on nothing can fail. An older version goes; or, since the host may have been called while the
    // platform read, one that it has cached by itself.
    const bool isSearchBy = Forget(props.entryId);
    TItemProps& kept = m_cache.insert(read.extract(read.begin())).position->second;
    kept.indexed = m_index.File();
    m_known.push_back({&kept, m_entryIds.size(), FilledCount(kept)});
    m_entryIds.insert(m_entryIds.end(), kept.entryId.c_str(), kept.entryId.c_str() + kept.entryId.size() + 1);
    if (isSearchBy) m_pSearchByProps = &kept;
    return &kept;
}

/// True when the contact was the search-by contact: there is none then.
bool CSimilarSearch::Forget(std::string_view entryId) {
    const auto cached = m_cache.find(entryId);
    if (cached == m_cache.end()) return false;
    const bool isSearchBy = &cached->second == m_pSearchByProps;
    if (isSearchBy) {
        m_pSearchByProps = nullptr;
        m_bCollected = false;
    }
    m_known[cached->second.indexed.number].props = nullptr;
    m_cache.erase(cached);
    m_index.Retire();
    return isSearchBy;
}

/// The cached contact's number; kUnknown when there is none. The one behind the last one is found without a search.
unsigned CSimilarSearch::Find(std::string_view entryId) {
    if (const unsigned next = m_nFound + 1; next < m_known.size() && m_known[next].props) {
        const TKnown& known = m_known[next];
        if (m_entryIds.size() - known.entryId > entryId.size() && entryId == &m_entryIds[known.entryId])
            return m_nFound = next;
    }
    const auto cached = m_cache.find(entryId);
    return m_nFound = cached == m_cache.end() ? kUnknown : cached->second.indexed.number;
}

/// Room in the cache for one more contact, and an index that is not worn.
void CSimilarSearch::PrepareRoom(std::string_view entryId) {
    const auto most =
        static_cast<size_t>(m_cache.max_load_factor() * static_cast<float>(m_cache.bucket_count()));
    if (m_cache.size() + 1 > most) m_cache.reserve(2 * (m_cache.size() + 1));
    if (m_index.IsWorn()) {
        CCandidateIndex renewed;
        std::vector<TKnown> known;
        std::vector<char> entryIds;
        renewed.Create(m_fields, m_indexes, m_rules);
        for (auto& [id, props] : m_cache) {
            renewed.Prepare(props, m_weights);
            renewed.File();
            known.push_back({&props, entryIds.size(), FilledCount(props)});
            entryIds.insert(entryIds.end(), id.c_str(), id.c_str() + id.size() + 1);
        }
        for (unsigned number = 0; number < known.size(); ++number)
            known[number].props->indexed.number = number;
        std::swap(m_index, renewed);
        m_known.swap(known);
        m_entryIds.swap(entryIds);
        m_nFound = kUnknown;
        m_bCollected = false;
    }
    base::MakeRoom(m_known, m_known.size() + 1);
    base::MakeRoom(m_entryIds, m_entryIds.size() + entryId.size() + 1);
}

/// What is read of a contact of one store, made when it is first needed.
CItemRequest& RequestFor(std::vector<std::optional<CItemRequest>>* requests, const CDefinedTags& tags,
                         size_t store, const CTagArray& wanted) {
    if (store >= requests->size()) requests->resize(store + 1);
    auto& request = (*requests)[store];
    if (!request) request.emplace(tags, store, wanted);
    return *request;
}

bool CSimilarSearch::ReadItemInfo(IMessage* item, size_t store, TItemInfo* info) {
    if (m_ulFileAsTag == 0) m_ulFileAsTag = m_tags.CanonicalOf(nameFileAs);
    if (m_ulFileAsTag == 0 && m_tags.IsFirst(store)) m_ulFileAsTag = m_tags.Resolve(item, nameFileAs);
    if (m_ulFileAsTag == 0) {
        g_Log.Error(kReadInfoTag, "Cant resolve FileAs tag\n");
        return false;
    }
    CTagArray tags;
    for (const ULONG tag : {PR_ENTRYID, PR_LAST_MODIFICATION_TIME, m_ulFileAsTag, PR_DISPLAY_NAME_W})
        tags.Append(tag);
    TPlainValues read;
    const HRESULT hr = RequestFor(&m_infoRequests, m_tags, store, tags).ReadPlain(item, read);
    const SPropValue* const values = read.values;
    const ULONG count = read.cValues;
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kReadInfoTag, "Quorvel_GetPropValues returned 0x%x\n", static_cast<unsigned>(hr));
        return false;
    }
    if (count != infoCount || !values) {
        g_Log.Error(kReadInfoTag, "cValues(%d) != cTags(%d)\n", static_cast<int>(count),
                    static_cast<int>(infoCount));
        return false;
    }
    const SPropValue& entryId = values[infoEntryId];
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
    const SPropValue& time = values[infoLastModification];
    if (PROP_TYPE(time.ulPropTag) == PT_SYSTIME)
        info->lastModification = time.Value.ft;
    else
        g_Log.Error(kReadInfoTag, "Cant read LMT, error = 0x%x\n", static_cast<unsigned>(time.Value.err));
    info->fileAs = NameOf(values[infoFileAs], "Cant read FileAs, error = 0x%x\n");
    info->fullName = NameOf(values[infoFullName], "Cant read FullName, error = 0x%x\n");
    return true;
}

/// One value for each field; false when they cannot be read.
bool CSimilarSearch::ReadValues(IMessage* item, size_t store, TPlainValues* values) {
    CTagArray tags;
    for (const TComparyProp& field : m_fields) tags.Append(field.ulPropTag);
    const HRESULT hr = RequestFor(&m_valueRequests, m_tags, store, tags).ReadPlain(item, *values);
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kCacheTag, "Quorvel_GetPropValues returned 0x%x\n", static_cast<unsigned>(hr));
        return false;
    }
    if (values->cValues == tags.Count() && values->values) return true;
    g_Log.Error(kCacheTag, "cValues(%d) != m_lpPropsTags->cValues(%d)\n", static_cast<int>(values->cValues),
                static_cast<int>(tags.Count()));
    return false;
}

void CSimilarSearch::ReadSmtpEmails(IMessage* item, TItemProps* props) {
    for (size_t i = 0; i < TItemProps::kEmails; ++i) {
        const wchar_t* email = props->szw(m_indexes.Emails[i]);
        props->smtpEmails[i] = email ? email : L"";
        if (!email || !*email || wcschr(email, L'@')) continue;
        const MapiBuffer<SPropValue> smtp =
            m_reader.SmtpEmail(kCacheTag, item, props->store, static_cast<int>(i + 1), true);
        if (smtp) props->smtpEmails[i] = props->Keep(smtp->Value.lpszW);
    }
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
