#include "similar/compare_method.h"

#include <iterator>

#include "log/CLog.h"

namespace similar {

using logging::g_Log;

namespace {

struct TMethodText {
    const wchar_t* plain;
    const wchar_t* inParentheses;
};

constexpr TMethodText kMethodTexts[] = {
    {L"Invalid(Unitilized)", L"(Invalid:Unitilized)"},
    {L"Invalid(Unequal)", L"(Invalid:Unequal)"},
    {L"Exact", L"(Exact)"},
    {L"StartWith", L"(StartWith)"},
    {L"MissChar", L"(MissChar)"},
    {L"DiffChar", L"(DiffChar)"},
    {L"Last7Digits", L"(Last7Digits)"},
    {L"Last7Digits1Miss", L"(Last7Digits1Miss)"},
    {L"Last7Digits1Diff", L"(Last7Digits1Diff)"},
    {L"Last7DigitsAnyMethod", L"(Last7DigitsAnyMethod)"},
    {L"HttpUrlCompare", L"(HttpUrlCompare)"},
    {L"Intercept", L"(Intercept)"},
};
static_assert(std::size(kMethodTexts) == Intercept - NotCompared + 1);

}  // namespace

const wchar_t* CmpMethod2Str(int value, bool omitExact, bool parentheses) {
    if (value == Exact && omitExact) return L"";
    const bool known = value >= NotCompared && value <= Intercept;
    g_Log.Assert(known, "CSimilarSearch.CmpMethod2Str", __LINE__, "value is a compare method");
    if (!known) return parentheses ? L"(Unknown)" : L"Unknown";
    const TMethodText& text = kMethodTexts[value - NotCompared];
    return parentheses ? text.inParentheses : text.plain;
}

}  // namespace similar
