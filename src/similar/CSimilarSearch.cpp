// Life of a search, and the checks.

#include "similar/CSimilarSearch.h"

#include <algorithm>
#include <cwchar>

#include "compare/CThreadLocale.h"
#include "log/CLog.h"

namespace similar {
namespace {

/// The rule tables are the same for every search of the process: one dump is enough.
bool g_rulesLogged = false;

/// ANSI text of a wide one, cut to the buffer.
template <size_t N>
const char* ToAnsi(const wchar_t* text, char (&buffer)[N]) {
    if (WideCharToMultiByte(CP_ACP, 0, text, -1, buffer, N, nullptr, nullptr) == 0) buffer[N - 1] = 0;
    return buffer;
}

}  // namespace

CSimilarSearch::~CSimilarSearch() = default;

void CSimilarSearch::Create(IMAPISession* session, const char* storeEntryId, unsigned countMode) {
    const CThreadLocale locale(m_locale);
    Reset();
    const std::wstring line(110, L'-');
    g_Log.Extra(L"%s\nNew Similar Search\n%s\n", line.c_str(), line.c_str());
    m_lpSession = session;
    m_reader = CItemReader(session);
    m_storeEntryId = storeEntryId ? storeEntryId : "";
    m_nCountMode = countMode;
    BuildFields(&m_fields, &m_indexes);
    m_rules = BuildRules(m_indexes, FieldCount());
    m_index.Create(m_fields, m_indexes, m_rules);
    if (m_nCountMode != 0) BuildOtherFields(m_fields, m_indexes, &m_otherFields);
    if (g_Log.IsExtra() && !g_rulesLogged) {
        g_rulesLogged = true;
        LogRules();
    }
}

void CSimilarSearch::Reset() {
    m_storeEntryId.clear();
    m_nCountMode = 0;
    m_fields.clear();
    m_tags = {};
    m_infoRequests.clear();
    m_valueRequests.clear();
    m_ulFileAsTag = 0;
    m_indexes = TSimilarPropIndexes();
    m_pSearchByProps = nullptr;
    m_bCollected = false;
    m_cache.clear();
    m_index = {};
    m_known.clear();
    m_entryIds.clear();
    m_nFound = kUnknown;
    m_reader = CItemReader();
    m_nSearchByPos = 0;
    m_otherFields.clear();
    m_otherTags = {};
    m_rules = TRuleTables();
}

bool CSimilarSearch::SetSearchByItem(IMessage* item, unsigned* filledCount) {
    const CThreadLocale locale(m_locale);
    *filledCount = 0;
    bool fromCache = false;
    TItemProps* props = CacheItem(item, &fromCache);
    if (props) {
        CountFilledOtherPropsIf(props, item, verdictStrict);
        *filledCount = FilledCount(*props);
        LogItem(*props, m_nSearchByPos + 1, L'+', !fromCache);
    }
    ++m_nSearchByPos;
    m_pSearchByProps = props;
    m_bCollected = false;
    return props != nullptr;
}

bool CSimilarSearch::AddToCache(IMessage* item) {
    const CThreadLocale locale(m_locale);
    bool fromCache = false;
    const TItemProps* props = CacheItem(item, &fromCache);
    if (!props) {
        g_Log.Error("CSimilarSearch.AddToCache", "GetItemProps failed\n");
        return false;
    }
    LogItem(*props, L'_', !fromCache);
    return true;
}

bool CSimilarSearch::CheckItem(IMessage* item, TCheckResult* result) {
    const CThreadLocale locale(m_locale);
    constexpr char kTag[] = "CSimilarSearch.CheckItem";
    *result = TCheckResult();
    ClearTexts();
    if (!m_pSearchByProps) {
        g_Log.Error(kTag, "m_pSearchByProps == NULL\n");
        return false;
    }
    bool fromCache = false;
    TItemProps* props = CacheItem(item, &fromCache);
    if (!props) {
        g_Log.Error(kTag, "GetItemProps failed\n");
        return false;
    }
    FinishCheck(props, item, !fromCache, result);
    return true;
}

bool CSimilarSearch::CheckItemFast(const char* entryId, TCheckResult* result) {
    const CThreadLocale locale(m_locale);
    constexpr char kTag[] = "CSimilarSearch.CheckItemFast";
    *result = TCheckResult();
    ClearTexts();
    if (!m_pSearchByProps) {
        g_Log.Error(kTag, "m_pSearchByProps == NULL\n");
        return false;
    }
    if (!entryId) entryId = "";
    if (const unsigned contact = Find(entryId); contact != kUnknown) {
        const TKnown& known = m_known[contact];
        if (IsCandidate(contact))
            FinishCheck(known.props, nullptr, false, result);
        else
            result->filledCount = known.filledCount;
        return true;
    }
    const ComPtr<IMessage> item = OpenItem(entryId);
    if (!item) {
        g_Log.Error(kTag, "OpenItem failed\n");
        return false;
    }
    bool fromCache = false;
    TItemProps* props = CacheItem(item.Get(), &fromCache);
    if (!props) {
        g_Log.Error(kTag, "GetItemProps failed\n");
        return false;
    }
    g_Log.Assert(!fromCache, kTag, __LINE__, "the contact was not cached");
    FinishCheck(props, item.Get(), !fromCache, result);
    return true;
}

/// Candidates are collected by the first check that asks: contacts that are cached before it are among them.
bool CSimilarSearch::IsCandidate(unsigned contact) {
    if (g_Log.IsExtra()) return true;  // each comparison is written
    if (!m_bCollected) m_index.Collect(*m_pSearchByProps, m_weights);
    m_bCollected = true;
    return m_index.IsCandidate(*m_pSearchByProps, contact);
}

/// The search-by contact may be the checked one in a newer version, and its record has then been replaced by
/// now.
void CSimilarSearch::FinishCheck(TItemProps* props, IMessage* item, bool fresh, TCheckResult* result) {
    result->verdict = GetSimilarType(*m_pSearchByProps, *props, fresh);
    CountFilledOtherPropsIf(props, item, result->verdict);
    result->filledCount = FilledCount(*props);
    const size_t length = wcslen(m_verdictTextW);
    if (length > 0 && m_verdictTextW[length - 1] == L'\n') m_verdictTextW[length - 1] = 0;
}

bool CSimilarSearch::RemoveFromCache(const char* entryId, bool force) {
    const CThreadLocale locale(m_locale);
    const std::string_view key = entryId ? entryId : "";
    if (!force && m_pSearchByProps && m_pSearchByProps->entryId == key) {
        g_Log.Error("CSimilarSearch.RemoveFromCache", "Cant remove SearchByItem\n");
        return false;
    }
    Forget(key);
    return true;
}

void CSimilarSearch::LogSearchByPos() {
    const CThreadLocale locale(m_locale);
    if (m_pSearchByProps)
        LogItem(*m_pSearchByProps, L'+', false);
    else
        g_Log.Error("CSimilarSearch.LogSearchByPos", "m_pSearchByProps == NULL\n");
}

void CSimilarSearch::ClearTexts() {
    m_verdictTextW[0] = 0;
    m_matchedFieldsW[0] = 0;
}

unsigned CSimilarSearch::FilledCount(const TItemProps& props) {
    return static_cast<unsigned>(std::max(props.filledCount, 0L) + std::max(props.otherFilledCount, 0L));
}

const char* CSimilarSearch::VerdictTextA() {
    return ToAnsi(m_verdictTextW, m_verdictTextA);
}
const char* CSimilarSearch::MatchedFieldsA() {
    return ToAnsi(m_matchedFieldsW, m_matchedFieldsA);
}

}  // namespace similar
