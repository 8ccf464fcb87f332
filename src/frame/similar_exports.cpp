// Exports of the similar-contact search.

#include <memory>

#include "frame/trace.h"
#include "quorvel.h"
#include "similar/CSimilarSearch.h"

using frame::Trace;
using logging::g_Log;

using similar::CSimilarSearch;
using similar::TCheckResult;

namespace {

CSimilarSearch* Search(HSimilarSearch handle) {
    return reinterpret_cast<CSimilarSearch*>(handle);
}

template <typename Value>
void Give(Value* out, Value value) {
    if (out) *out = value;
}

unsigned GiveResult(const TCheckResult& result, bool checked, unsigned* verdict, unsigned* filledCount) {
    Give(verdict, result.verdict);
    Give(filledCount, result.filledCount);
    return checked ? 1 : 0;
}

void GiveTexts(CSimilarSearch* search, const char** verdictText, const char** matchedFields) {
    if (verdictText) *verdictText = search->VerdictTextA();
    if (matchedFields) *matchedFields = search->MatchedFieldsA();
}

void GiveTexts(CSimilarSearch* search, const wchar_t** verdictText, const wchar_t** matchedFields) {
    if (verdictText) *verdictText = search->VerdictTextW();
    if (matchedFields) *matchedFields = search->MatchedFieldsW();
}

template <typename Char>
unsigned Check(HSimilarSearch handle, IMessage* contact, unsigned* verdict, unsigned* filledCount,
               const Char** verdictText, const Char** matchedFields) {
    TCheckResult result;
    const bool checked = Search(handle)->CheckItem(contact, &result);
    GiveTexts(Search(handle), verdictText, matchedFields);
    return GiveResult(result, checked, verdict, filledCount);
}

template <typename Char>
unsigned CheckFast(HSimilarSearch handle, const char* entryId, unsigned* verdict, unsigned* filledCount,
                   const Char** verdictText, const Char** matchedFields) {
    TCheckResult result;
    const bool checked = Search(handle)->CheckItemFast(entryId, &result);
    GiveTexts(Search(handle), verdictText, matchedFields);
    return GiveResult(result, checked, verdict, filledCount);
}

}  // namespace

HSimilarSearch SimilarSearch_Create(IMAPISession* session, const char* storeEntryId, unsigned int countMode) {
    Trace("SimilarSearch_Create");
    auto search = std::make_unique<CSimilarSearch>(session, storeEntryId, countMode);
    return reinterpret_cast<HSimilarSearch>(search.release());
}

void SimilarSearch_Delete(HSimilarSearch handle) {
    g_Log.Extra(L"\n");
    Trace("SimilarSearch_Delete");
    if (!handle) return;
    delete Search(handle);
    g_Log.Extra(L"Similar Search Deleted\n");
}

unsigned int SimilarSearch_SetSearchByItem(HSimilarSearch handle, IMessage* contact,
                                           unsigned int* filledCount) {
    Trace("SimilarSearch_SetSearchByItem");
    unsigned filled = 0;
    const bool set = Search(handle)->SetSearchByItem(contact, &filled);
    Give(filledCount, filled);
    return set ? 1 : 0;
}

unsigned int SimilarSearch_AddToCache(HSimilarSearch handle, IMessage* contact) {
    Trace("SimilarSearch_AddToCache");
    return Search(handle)->AddToCache(contact) ? 1 : 0;
}

unsigned int SimilarSearch_CheckItem(HSimilarSearch handle, IMessage* contact, unsigned int* verdict,
                                     unsigned int* filledCount, const char** verdictText,
                                     const char** matchedFields) {
    Trace("SimilarSearch_CheckItem");
    return Check(handle, contact, verdict, filledCount, verdictText, matchedFields);
}

unsigned int SimilarSearch_CheckItemW(HSimilarSearch handle, IMessage* contact, unsigned int* verdict,
                                      unsigned int* filledCount, const wchar_t** verdictText,
                                      const wchar_t** matchedFields) {
    Trace("SimilarSearch_CheckItemW");
    return Check(handle, contact, verdict, filledCount, verdictText, matchedFields);
}

unsigned int SimilarSearch_CheckItemFast(HSimilarSearch handle, const char* entryId, unsigned int* verdict,
                                         unsigned int* filledCount, const char** verdictText,
                                         const char** matchedFields) {
    Trace("SimilarSearch_CheckItemFast");
    return CheckFast(handle, entryId, verdict, filledCount, verdictText, matchedFields);
}

unsigned int SimilarSearch_CheckItemFastW(HSimilarSearch handle, const char* entryId, unsigned int* verdict,
                                          unsigned int* filledCount, const wchar_t** verdictText,
                                          const wchar_t** matchedFields) {
    Trace("SimilarSearch_CheckItemFastW");
    return CheckFast(handle, entryId, verdict, filledCount, verdictText, matchedFields);
}

unsigned int SimilarSearch_RemoveFromCache(HSimilarSearch handle, const char* entryId, int force) {
    Trace("SimilarSearch_RemoveFromCache");
    return Search(handle)->RemoveFromCache(entryId, force != 0) ? 1 : 0;
}

void SimilarSearch_LogSearchByPos(HSimilarSearch handle) {
    Trace("SimilarSearch_LogSearchByPos");
    Search(handle)->LogSearchByPos();
}
