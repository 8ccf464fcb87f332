#include "similar/CContactReader.h"

#include <cwchar>

#include "base/mapi_extra.h"
#include "compare/item_compare.h"
#include "compare/value_operations.h"
#include "log/CLog.h"
#include "log/identifier_text.h"
#include "store/checked_calls.h"
#include "store/streams.h"

namespace similar {

using compare::CTagArray;
using enum base::EName;
using items::CItemReader;
using items::CItemRequest;
using items::TPlainValues;
using items::TTagsInStore;
using logging::g_Log;
using store::ComPtr;
using store::MapiBuffer;

namespace {

constexpr char kReadInfoTag[] = "CSimilarSearch.ReadItemInfo";
constexpr char kCacheTag[] = "CSimilarSearch.CacheItem";
constexpr char kCountTag[] = "CSimilarSearch.CountFilledOtherPropsIf";

enum EInfo : ULONG { infoEntryId, infoLastModification, infoFileAs, infoFullName, infoCount };

TComparyProps ListOf(std::vector<TComparyProp>& fields) {
    return {static_cast<int>(fields.size()), fields.data()};
}

CTagArray TagsOf(const std::vector<TComparyProp>& fields) {
    CTagArray tags;
    for (const TComparyProp& field : fields) tags.Append(field.ulPropTag);
    return tags;
}

void TakeHex(const SBinary& bytes, std::pmr::string* text) {
    if (!bytes.lpb) return;
    text->resize(2 * size_t{bytes.cb} + 1);
    logging::BytesToHex(bytes.lpb, bytes.cb, text->data());
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

CContactReader::CContactReader(IMAPISession* session, const char* storeEntryId, const TContactFields& fields,
                               bool hasOtherFields)
    : m_pSession(session),
      m_items(session),
      m_storeEntryId(base::OrEmpty(storeEntryId)),
      m_fields(fields),
      m_read(fields.list) {
    if (hasOtherFields) m_counted = BuildOtherFields(fields);
}

ComPtr<IMessage> CContactReader::OpenItem(const char* entryId) {
    if (!m_pSession || !*entryId) return {};
    return m_items.Open(entryId, m_storeEntryId.c_str()).message;
}

// ---- Who a contact is ----

/// The contact's store, its tags settled; null when it cannot be asked, which is logged.
CItemReader::TStore* CContactReader::SettleStore(IMessage* item) {
    HRESULT hr = S_OK;
    CItemReader::TStore* const store = m_items.StoreOf(item, m_storeEntryId.c_str(), &hr);
    if (!store) {
        g_Log.Error(kReadInfoTag, "Quorvel_GetPropValues returned 0x%x\n", static_cast<unsigned>(hr));
        return nullptr;
    }
    if (m_tags.IsEmpty()) m_tags.Resolve(item, store->number, ListOf(m_read));
    hr = m_tags.Settle(item, store->number);
    if (hr != S_OK) {
        g_Log.Error(kCacheTag, "Quorvel_GetIDsFromNames returned 0x%x\n", static_cast<unsigned>(hr));
        return nullptr;
    }
    if (m_tags.BringIn(store->number)) {
        m_tags.FillIn(ListOf(m_read));
        m_infoRequests.clear();
        m_valueRequests.clear();
    }
    return store;
}

/// 0 when the name is not known yet.
ULONG CContactReader::FileAsTag(IMessage* item, size_t store) {
    if (m_nFileAsTag == 0) m_nFileAsTag = m_tags.CanonicalOf(nameFileAs);
    if (m_nFileAsTag == 0 && m_tags.IsFirst(store)) m_nFileAsTag = m_tags.Resolve(item, nameFileAs);
    return m_nFileAsTag;
}

CItemRequest& CContactReader::RequestFor(TRequests* requests, size_t store, const CTagArray& wanted) {
    if (store >= requests->size()) requests->resize(store + 1);
    auto& request = (*requests)[store];
    if (!request) request.emplace(m_tags, store, wanted);
    return *request;
}

std::optional<TItemInfo> CContactReader::ReadItemInfo(IMessage* item, std::pmr::memory_resource* memory) {
    CItemReader::TStore* const store = SettleStore(item);
    if (!store) return {};
    const ULONG fileAsTag = FileAsTag(item, store->number);
    if (fileAsTag == 0) {
        g_Log.Error(kReadInfoTag, "Cant resolve FileAs tag\n");
        return {};
    }
    CTagArray tags;
    for (const ULONG tag : {PR_ENTRYID, PR_LAST_MODIFICATION_TIME, fileAsTag, PR_DISPLAY_NAME_W})
        tags.Append(tag);
    TPlainValues read;
    const HRESULT hr = RequestFor(&m_infoRequests, store->number, tags).ReadPlain(item, read);
    const SPropValue* const values = read.values;
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kReadInfoTag, "Quorvel_GetPropValues returned 0x%x\n", static_cast<unsigned>(hr));
        return {};
    }
    if (read.cValues != infoCount || !values) {
        g_Log.Error(kReadInfoTag, "cValues(%d) != cTags(%d)\n", static_cast<int>(read.cValues),
                    static_cast<int>(infoCount));
        return {};
    }
    const SPropValue& entryId = values[infoEntryId];
    if (PROP_TYPE(entryId.ulPropTag) != PT_BINARY) {
        g_Log.Error(kReadInfoTag, "Cant read EntryID, error = 0x%x\n",
                    static_cast<unsigned>(entryId.Value.err));
        return {};
    }
    std::optional<TItemInfo> info(std::in_place, *store, memory);
    TakeHex(entryId.Value.bin, &info->entryId);
    if (info->entryId.empty()) {
        g_Log.Error(kReadInfoTag, "Error: EntryID is empty\n");
        return {};
    }
    const SPropValue& time = values[infoLastModification];
    if (PROP_TYPE(time.ulPropTag) == PT_SYSTIME)
        info->lastModification = time.Value.ft;
    else
        g_Log.Error(kReadInfoTag, "Cant read LMT, error = 0x%x\n", static_cast<unsigned>(time.Value.err));
    info->fileAs = NameOf(values[infoFileAs], "Cant read FileAs, error = 0x%x\n");
    info->fullName = NameOf(values[infoFullName], "Cant read FullName, error = 0x%x\n");
    return info;
}

// ---- What it holds ----

std::optional<TPlainValues> CContactReader::ReadValues(IMessage* item, const TItemInfo& info) {
    const CTagArray tags = TagsOf(m_read);
    std::optional<TPlainValues> values(std::in_place);
    const HRESULT hr = RequestFor(&m_valueRequests, info.store->number, tags).ReadPlain(item, *values);
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(kCacheTag, "Quorvel_GetPropValues returned 0x%x\n", static_cast<unsigned>(hr));
        return {};
    }
    if (values->cValues == tags.Count() && values->values) return values;
    g_Log.Error(kCacheTag, "cValues(%d) != m_lpPropsTags->cValues(%d)\n", static_cast<int>(values->cValues),
                static_cast<int>(tags.Count()));
    return {};
}

void CContactReader::Complete(IMessage* item, TItemProps* props) {
    ReadSmtpEmails(item, props);
    ReadBody(item, props);
    compare::CountProps2(props->values, props->cValues, &props->filledCount, nullptr);
}

void CContactReader::ReadSmtpEmails(IMessage* item, TItemProps* props) {
    for (size_t i = 0; i < TItemProps::kEmailCount; ++i) {
        const wchar_t* email = props->szw(m_fields.indexes.Emails[i]);
        props->smtpEmails[i] = base::OrEmpty(email);
        if (!email || !*email || wcschr(email, L'@')) continue;
        const MapiBuffer<SPropValue> smtp =
            m_items.SmtpEmail(kCacheTag, item, *props->store, static_cast<int>(i + 1), true);
        if (smtp) props->smtpEmails[i] = props->Keep(smtp->Value.lpszW);
    }
}

void CContactReader::ReadBody(IMessage* item, TItemProps* props) {
    void* raw = nullptr;
    ULONG bytes = 0;
    const HRESULT hr = store::GetStreamPropValue(item, PR_BODY_W, &raw, &bytes, 1);
    const MapiBuffer<wchar_t> text(static_cast<wchar_t*>(raw));
    if (!store::IsReadSuccess(hr))
        g_Log.Error(kCacheTag, "GetStreamPropValue(PR_BODY_W) return %d\n", static_cast<int>(hr));
    else if (text)
        props->TakeBody(text.get(), store::EndText(text.get(), bytes));
}

// ---- Fields that are only counted ----

std::optional<long> CContactReader::CountOtherFields(const TItemProps& props, IMessage* item) {
    const size_t store = props.store->number;
    ComPtr<IMessage> opened;
    if (!item) {
        opened = OpenItem(props.entryId.c_str());
        item = opened.Get();
    }
    if (!item) {
        g_Log.Error(kCountTag, "OpenItem failed\n");
        return {};
    }
    std::optional<long> filled = CountFilled(item, store);
    if (!filled) {
        g_Log.Error(kCountTag, "CountProps failed\n");
        return {};
    }
    int empty = 1;
    if (!store::IsReadSuccess(store::StreamPropEmpty(item, PR_BODY_W, &empty, nullptr)))
        g_Log.Error(kCountTag, "StreamPropEmpty(PR_BODY_W) failed\n");
    else if (!empty)
        ++*filled;
    return filled;
}

std::optional<long> CContactReader::CountFilled(IMessage* item, size_t store) {
    long filled = 0;
    if (m_counted.empty()) return filled;
    if (m_countedTags.IsEmpty()) m_countedTags.Resolve(item, store, ListOf(m_counted));
    if (m_countedTags.Settle(item, store) != S_OK) return {};
    if (m_countedTags.BringIn(store)) m_countedTags.FillIn(ListOf(m_counted));
    TTagsInStore tags(m_countedTags, store, TagsOf(m_counted));
    if (tags.own.Count() == 0) return filled;
    if (!store::IsReadSuccess(compare::CountProps(item, tags.own.Get(), &filled, nullptr))) return {};
    return filled;
}

}  // namespace similar
