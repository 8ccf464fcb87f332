#include "similar/CSimilarSearch.h"

#include <algorithm>

#include "base/text.h"
#include "compare/CThreadLocale.h"
#include "log/CLog.h"
#include "similar/explain.h"

namespace similar {

using compare::CThreadLocale;
using items::TPlainValues;
using logging::g_Log;
using store::ComPtr;

namespace {

enum ECountMode : unsigned { countNever = 0, countAll = 1, countStrict = 2 };

/// Whether a contact with this verdict is worth the reading of its other fields.
bool IsCounted(unsigned verdict, unsigned mode) {
    return (verdict != verdictNone && mode == countAll) || (verdict == verdictStrict && mode == countStrict);
}

template <size_t N>
void Copy(std::wstring_view text, wchar_t (&buffer)[N]) {
    *std::copy_n(text.data(), std::min(text.size(), N - 1), buffer) = 0;
}

/// ANSI text of a wide one, cut to the buffer.
template <size_t N>
const char* ToAnsi(const wchar_t* text, char (&buffer)[N]) {
    if (WideCharToMultiByte(CP_ACP, 0, text, -1, buffer, N, nullptr, nullptr) == 0) buffer[N - 1] = 0;
    return buffer;
}

}  // namespace

CSimilarSearch::CSimilarSearch(IMAPISession* session, const char* storeEntryId, unsigned countMode)
    : m_nCountMode(countMode),
      m_reader(session, storeEntryId, m_fields, countMode != countNever),
      m_cache(m_fields, m_rules) {
    const std::wstring line(110, L'-');
    g_Log.Extra(L"%s\nNew Similar Search\n%s\n", line.c_str(), line.c_str());
    LogRulesOnce(m_fields, m_rules);
}

CSimilarSearch::~CSimilarSearch() = default;

bool CSimilarSearch::SetSearchByItem(IMessage* item, unsigned* filledCount) {
    const CThreadLocale locale(m_locale);
    *filledCount = 0;
    const TCached contact = CacheItem(item);
    if (contact.props) {
        CountFilledOtherPropsIf(contact.props, item, verdictStrict);
        *filledCount = contact.props->AllFilled();
        LogContact(m_fields, *contact.props, m_nSearchByPos + 1, L'+', contact.fresh);
    }
    ++m_nSearchByPos;
    m_cache.SetSearchBy(contact.props);
    return contact.props != nullptr;
}

bool CSimilarSearch::AddToCache(IMessage* item) {
    const CThreadLocale locale(m_locale);
    const TCached contact = CacheItem("CSimilarSearch.AddToCache", item);
    if (contact.props) LogItem(*contact.props, L'_', contact.fresh);
    return contact.props != nullptr;
}

bool CSimilarSearch::CheckItem(IMessage* item, TCheckResult* result) {
    const CThreadLocale locale(m_locale);
    constexpr char kTag[] = "CSimilarSearch.CheckItem";
    if (!BeginCheck(kTag, result)) return false;
    const TCached contact = CacheItem(kTag, item);
    if (contact.props) *result = FinishCheck(contact, item);
    return contact.props != nullptr;
}

bool CSimilarSearch::CheckItemFast(const char* entryId, TCheckResult* result) {
    const CThreadLocale locale(m_locale);
    constexpr char kTag[] = "CSimilarSearch.CheckItemFast";
    if (!BeginCheck(kTag, result)) return false;
    entryId = base::OrEmpty(entryId);
    if (const unsigned number = m_cache.Find(entryId); number != CContactCache::kUnknown) {
        const CContactCache::TKnown& known = m_cache.At(number);
        // Each comparison is written while extra logging is on.
        if (g_Log.IsExtra() || m_cache.IsCandidate(number))
            *result = FinishCheck({known.props, false}, nullptr);
        else
            result->filledCount = known.filledCount;
        return true;
    }
    const ComPtr<IMessage> item = m_reader.OpenItem(entryId);
    if (!item) {
        g_Log.Error(kTag, "OpenItem failed\n");
        return false;
    }
    const TCached contact = CacheItem(kTag, item.Get());
    if (!contact.props) return false;
    g_Log.Assert(contact.fresh, kTag, __LINE__, "the contact was not cached");
    *result = FinishCheck(contact, item.Get());
    return true;
}

bool CSimilarSearch::RemoveFromCache(const char* entryId, bool force) {
    const CThreadLocale locale(m_locale);
    const std::string_view key = base::OrEmpty(entryId);
    if (!force && m_cache.SearchBy() && m_cache.SearchBy()->entryId == key) {
        g_Log.Error("CSimilarSearch.RemoveFromCache", "Cant remove SearchByItem\n");
        return false;
    }
    m_cache.Forget(key);
    return true;
}

void CSimilarSearch::LogSearchByPos() {
    const CThreadLocale locale(m_locale);
    if (m_cache.SearchBy())
        LogItem(*m_cache.SearchBy(), L'+', false);
    else
        g_Log.Error("CSimilarSearch.LogSearchByPos", "m_pSearchByProps == NULL\n");
}

const char* CSimilarSearch::VerdictTextA() {
    return ToAnsi(m_verdictTextW, m_verdictTextA);
}
const char* CSimilarSearch::MatchedFieldsA() {
    return ToAnsi(m_matchedFieldsW, m_matchedFieldsA);
}

// ---- Steps of the calls ----

CSimilarSearch::TCached CSimilarSearch::CacheItem(IMessage* item) {
    std::optional<TItemInfo> info;
    if (item) info = m_reader.ReadItemInfo(item, m_cache.Memory());
    if (!info) {
        g_Log.Error("CSimilarSearch.CacheItem", "ReadItemInfo failed\n");
        return {};
    }
    if (TItemProps* const props = m_cache.Find(*info)) return {props, false};
    std::optional<TPlainValues> values = m_reader.ReadValues(item, *info);
    if (!values) {
        m_cache.Forget(info->entryId);
        return {};
    }
    CContactCache::TRecord record = m_cache.NewRecord(std::move(*info), std::move(*values));
    m_reader.Complete(item, &record.mapped());
    return {m_cache.Add(std::move(record)), true};
}

CSimilarSearch::TCached CSimilarSearch::CacheItem(const char* routine, IMessage* item) {
    const TCached contact = CacheItem(item);
    if (!contact.props) g_Log.Error(routine, "GetItemProps failed\n");
    return contact;
}

bool CSimilarSearch::BeginCheck(const char* routine, TCheckResult* result) {
    *result = TCheckResult();
    Explain({}, {});
    if (m_cache.SearchBy()) return true;
    g_Log.Error(routine, "m_pSearchByProps == NULL\n");
    return false;
}

/// The search-by contact may be the checked one in a newer version, and its record has then been replaced by
/// now.
TCheckResult CSimilarSearch::FinishCheck(const TCached& contact, IMessage* item) {
    ++m_nCompared;
    LogItem(*contact.props, L'+', contact.fresh);
    TCmpData data(*m_cache.SearchBy(), *contact.props, m_fields);
    const TVerdict verdict = GetSimilarType(data, m_rules);
    std::wstring text, matchedFields;
    if (verdict.type != verdictNone) {
        text = VerdictText(data, verdict);
        matchedFields = MatchedFields(m_fields, verdict);
        LogVerdict(data, verdict, text);
    }
    CountFilledOtherPropsIf(contact.props, item, verdict.type);
    Explain(text, matchedFields);
    return {verdict.type, contact.props->AllFilled()};
}

void CSimilarSearch::CountFilledOtherPropsIf(TItemProps* props, IMessage* item, unsigned verdict) {
    if (props->otherFilledCount != -1 || !IsCounted(verdict, m_nCountMode)) return;
    if (const std::optional<long> filled = m_reader.CountOtherFields(*props, item))
        m_cache.SetOtherFilledCount(props, *filled);
}

void CSimilarSearch::LogItem(const TItemProps& item, wchar_t marker, bool fresh) const {
    LogContact(m_fields, item, &item == m_cache.SearchBy() ? m_nSearchByPos : 0, marker, fresh);
}

void CSimilarSearch::Explain(std::wstring_view text, std::wstring_view matchedFields) {
    Copy(text, m_verdictTextW);
    Copy(matchedFields, m_matchedFieldsW);
}

}  // namespace similar
