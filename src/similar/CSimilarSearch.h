#pragma once
// The similar-contact search: how much do other contacts resemble the one that the user looks at?
//
// The calls of a handle, over the four parts of the engine: contacts are read (CContactReader) into a cache
// (CContactCache), two of them are compared field by field (compare_fields.h), the rules make a verdict of that
// (verdict.h), and both are put in words (explain.h).
//
// Contacts may come from several stores; they go by their entry identifiers alone. The session is borrowed and outlives
// the search. Contacts handed in are only read. Texts are compared by the locale that the thread had at the
// construction. One search is used by one thread at a time.

#include "similar/CContactCache.h"
#include "similar/CContactReader.h"
#include "similar/verdict.h"

namespace similar {

struct TCheckResult {
    unsigned verdict = verdictNone;
    unsigned filledCount = 0;
};

class CSimilarSearch {
  public:
    /// countMode 0: other fields are not counted; 1: for strict and similar verdicts; 2: for strict ones
    /// only.
    CSimilarSearch(IMAPISession* session, const char* storeEntryId, unsigned countMode);
    virtual ~CSimilarSearch();
    CSimilarSearch(const CSimilarSearch&) = delete;
    CSimilarSearch& operator=(const CSimilarSearch&) = delete;

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
    static constexpr size_t kVerdictCapacity = 2048;
    static constexpr size_t kMatchedFieldsCapacity = 256;

    struct TCached {
        TItemProps* props = nullptr;
        bool fresh = false;  // read by this call
    };

    /// No record when it cannot be read.
    TCached CacheItem(IMessage* item);
    TCached CacheItem(const char* routine, IMessage* item);
    bool BeginCheck(const char* routine, TCheckResult* result);
    TCheckResult FinishCheck(const TCached& contact, IMessage* item);
    void CountFilledOtherPropsIf(TItemProps* props, IMessage* item, unsigned verdict);
    void LogItem(const TItemProps& item, wchar_t marker, bool fresh) const;
    void Explain(std::wstring_view text, std::wstring_view matchedFields);

    const LCID m_locale = GetThreadLocale();  // that texts are compared by
    const unsigned m_nCountMode;
    const TContactFields m_fields = BuildFields();
    const TRuleTables m_rules = BuildRules(m_fields);
    CContactReader m_reader;
    CContactCache m_cache;
    unsigned m_nSearchByPos = 0;
    unsigned long long m_nCompared = 0;
    wchar_t m_verdictTextW[kVerdictCapacity] = {};
    char m_verdictTextA[2 * kVerdictCapacity] = {};
    wchar_t m_matchedFieldsW[kMatchedFieldsCapacity] = {};
    char m_matchedFieldsA[2 * kMatchedFieldsCapacity] = {};
};

}  // namespace similar
