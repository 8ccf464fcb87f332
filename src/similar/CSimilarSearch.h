#pragma once
// The similar-contact search: how much do other contacts resemble the one that the user looks at?
//
// Owns its cache of contacts, its rule tables, and the address book and stores that it opens, each of them
// once. Contacts may come from several stores; they go by their entry identifiers alone. The session is borrowed
// and outlives the search. Contacts handed in are only read. Texts are compared by the locale that the thread had
// at the construction. One search is used by one thread at a time.

#include <memory_resource>
#include <optional>
#include <unordered_map>

#include "base/CPoolMemory.h"
#include "compare/CTagArray.h"
#include "items/CDefinedTags.h"
#include "items/CItemRequest.h"
#include "similar/CCandidateIndex.h"
#include "similar/rules.h"
#include "similar/TCmpData.h"

namespace similar {

enum EVerdict : unsigned { verdictNone = 0, verdictSimilar = 1, verdictStrict = 2 };

struct TCheckResult {
    unsigned verdict = verdictNone;
    unsigned filledCount = 0;
};

class CSimilarSearch {
  public:
    /// The numbers of this engine, apart from the public ones of the same name.
    using ECompareMethod = similar::ECompareMethod;

    CSimilarSearch() = default;
    virtual ~CSimilarSearch();
    CSimilarSearch(const CSimilarSearch&) = delete;
    CSimilarSearch& operator=(const CSimilarSearch&) = delete;

    /// countMode 0: other fields are not counted; 1: for strict and similar verdicts; 2: for strict ones
    /// only.
    void Create(IMAPISession* session, const char* storeEntryId, unsigned countMode);

    /// False when the contact cannot be read; there is no search-by contact then.
    bool SetSearchByItem(IMessage* item, unsigned* filledCount);
    bool AddToCache(IMessage* item);
    /// False when no verdict was made.
    bool CheckItem(IMessage* item, TCheckResult* result);
    /// The same for an entry identifier. A cached contact is taken as it was read, without a call of the
    /// platform, and compared only where the index of candidates and the log ask for it: the result is the same.
    bool CheckItemFast(const char* entryId, TCheckResult* result);
    /// False when the contact is the search-by contact and removal is not forced.
    bool RemoveFromCache(const char* entryId, bool force);
    void LogSearchByPos();
    /// How many contacts were compared so far, for whoever measures.
    unsigned long long Compared() const { return m_nCompared; }

    /// Explanations of the last check; valid until the next one.
    const wchar_t* VerdictTextW() const { return m_verdictTextW; }
    const wchar_t* MatchedFieldsW() const { return m_matchedFieldsW; }
    /// The same in the ANSI code page, converted anew by each call.
    const char* VerdictTextA();
    const char* MatchedFieldsA();

  private:
    struct TIdHash {
        using is_transparent = void;
        // Not noexcept: the map keeps the hashes then, and most of what stands beside a contact is told apart
        // by them.
        size_t operator()(std::string_view id) const { return std::hash<std::string_view>()(id); }
    };
    using TCache = std::pmr::unordered_map<std::pmr::string, TItemProps, TIdHash, std::equal_to<>>;

    /// What a check of a cached contact asks for before it is compared: the records themselves lie far apart. By the
    /// contact's number in the index.
    struct TKnown {
        TItemProps* props;  // null: it is cached no more
        size_t entryId;     // position in m_entryIds
        unsigned filledCount;
    };
    static constexpr unsigned kUnknown = ~0u;

    static constexpr size_t kVerdictCapacity = 2048;
    static constexpr size_t kMatchedFieldsCapacity = 256;
    static constexpr size_t kLabelCapacity = 64;

    void Reset();
    bool IsCandidate(unsigned contact);
    void FinishCheck(TItemProps* props, IMessage* item, bool fresh, TCheckResult* result);
    void ClearTexts();
    static unsigned FilledCount(const TItemProps& props);

    // Reading contacts (item_cache.cpp)
    TItemProps* CacheItem(IMessage* item, bool* fromCache);
    bool Forget(std::string_view entryId);
    void PrepareRoom(std::string_view entryId);
    unsigned Find(std::string_view entryId);
    CItemReader::TStore* SettleStore(IMessage* item);
    bool ReadItemInfo(IMessage* item, size_t store, TItemInfo* info);
    bool ReadValues(IMessage* item, size_t store, TPlainValues* values);
    void ReadSmtpEmails(IMessage* item, TItemProps* props);
    void ReadBody(IMessage* item, TItemProps* props);

    // Counting and opening (other_fields.cpp)
    void CountFilledOtherPropsIf(TItemProps* props, IMessage* item, unsigned verdict);
    bool CountOtherFields(IMessage* item, size_t store, long* filled);
    ComPtr<IMessage> OpenItem(const char* entryId);

    // Field results (field_results.cpp)
    int GetFieldResult(TCmpData& data, int field) const;
    int CmpLFNameProp(TCmpData& data, int field) const;
    void CompareNames(TCmpData& data) const;
    void SwitchReversedMode(TCmpData& data) const;
    int CmpBADateProp(const TCmpData& data, int field) const;
    int CmpStringPropToAny(TCmpData& data, const TFieldGroup& group, int field) const;
    struct TGroupValues;
    TGroupValues ValuesOf(const TCmpData& data, const TFieldGroup& group, int itemNumber) const;
    int CmpTypedProp(const TCmpData& data, int field) const;
    int CmpStringProp(const TCmpData& data, int field) const;
    void FieldLabel(const TCmpData& data, int field, wchar_t (&label)[kLabelCapacity]) const;

    // Verdict (verdict.cpp)
    unsigned GetSimilarType(const TItemProps& item1, const TItemProps& item2, bool fresh);
    unsigned FindStrict(TCmpData& data);
    unsigned FindCompanyContacts(TCmpData& data);
    unsigned FindStrictWithAnyField(TCmpData& data);
    unsigned FindSuggested(TCmpData& data);
    unsigned FindSuggestedTwoFields(TCmpData& data);
    bool Matched(TCmpData& data, int field) const;
    const TRule* FindPair(TCmpData& data, ERuleTable table) const;
    int FindField(TCmpData& data, ERuleTable table) const;
    int MatchedFieldOf(TCmpData& data, const TRule& rule) const;
    unsigned WriteVerdict(const TCmpData& data, std::initializer_list<int> fields, unsigned verdict,
                          bool lastNameOk, const wchar_t* rule = L"");

    // Log (similar_log.cpp)
    void LogRules() const;
    void LogGroups(const std::array<EGroup, 3>& enabled) const;
    void LogRuleTable(const TRuleTable& table) const;
    void LogItem(const TItemProps& item, wchar_t marker, bool fresh) const;
    /// searchByPos: 0 for a contact that is not searched by.
    void LogItem(const TItemProps& item, unsigned searchByPos, wchar_t marker, bool fresh) const;
    void LogFields(const TItemProps& item, const wchar_t* indent) const;
    void LogComparedFields(const TCmpData& data, const wchar_t* heading) const;
    void LogVerdict(const TCmpData& data, std::initializer_list<int> fields) const;
    int FieldOfItem1(const TCmpData& data, int field) const;
    std::wstring ValueText(const TItemProps& item, int field) const;

    const wchar_t* Name(int field) const { return m_fields.data()[field].lpszName; }
    ULONG TypeOf(int field) const { return m_fields.data()[field].nType; }
    const std::vector<TRule>& Rules(ERuleTable table) const { return m_rules.data()[table].rules; }
    int FieldCount() const { return static_cast<int>(m_fields.size()); }

    const LCID m_locale = GetThreadLocale();  // that texts are compared by
    IMAPISession* m_lpSession = nullptr;
    CItemReader m_reader;
    std::string m_storeEntryId;
    unsigned m_nCountMode = 0;
    std::vector<TComparyProp> m_fields;
    CDefinedTags m_tags;  // of the fields; empty until the first contact is read
    ULONG m_ulFileAsTag = 0;
    std::vector<std::optional<CItemRequest>> m_infoRequests, m_valueRequests;  // by store
    TSimilarPropIndexes m_indexes;
    // Contacts live long and their parts are small. A heap that searches its free blocks in a row, as some do,
    // would look at the gaps between those parts each time that the platform asks for a buffer; together in a
    // few large blocks they leave none.
    CPoolMemory m_memory;
    TCache m_cache{&m_memory};
    CUnitWeights m_weights;
    CCandidateIndex m_index;  // of the cache
    std::vector<TKnown> m_known;
    std::vector<char> m_entryIds;  // each with its end
    unsigned m_nFound = kUnknown;  // the contact looked up last: most hosts ask for the next one then
    TItemProps* m_pSearchByProps = nullptr;  // in the cache
    bool m_bCollected = false;               // the index knows the search-by contact's candidates
    unsigned m_nSearchByPos = 0;
    unsigned long long m_nCompared = 0;
    std::vector<TComparyProp> m_otherFields;
    CDefinedTags m_otherTags;  // empty until the first contact is counted
    wchar_t m_verdictTextW[kVerdictCapacity] = {};
    char m_verdictTextA[2 * kVerdictCapacity] = {};
    wchar_t m_matchedFieldsW[kMatchedFieldsCapacity] = {};
    char m_matchedFieldsA[2 * kMatchedFieldsCapacity] = {};
    TRuleTables m_rules{};
    std::vector<unsigned char> m_scratch;  // room for sort keys in the making
};

}  // namespace similar
