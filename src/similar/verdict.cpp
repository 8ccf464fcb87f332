// The verdict on two contacts: the rule tables, walked in their order.

#include <algorithm>
#include <cstdio>
#include <cwchar>

#include "log/CLog.h"
#include "similar/CSimilarSearch.h"

namespace similar {
namespace {

constexpr char kTag[] = "CSimilarSearch.GetSimilarType";

bool IsFuzzyName(int result) {
    return result == StartWith || result == MissChar || result == DiffChar;
}

/// Whether one of the fields of an entry is one of a pair.
bool Overlaps(const TRule& rule, const TRule& pair) {
    const auto isOfPair = [&pair](int field) {
        return field != -1 && (field == pair.first || field == pair.second);
    };
    return isOfPair(rule.first) || isOfPair(rule.second);
}

template <size_t N>
void Print(wchar_t (&buffer)[N], const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    _vsnwprintf(buffer, N, format, arguments);
    va_end(arguments);
    buffer[N - 1] = 0;
}

}  // namespace

unsigned CSimilarSearch::GetSimilarType(const TItemProps& item1, const TItemProps& item2, bool fresh) {
    ClearTexts();
    ++m_nCompared;
    LogItem(item2, L'+', fresh);
    TCmpData data(item1, item2, m_indexes, FieldCount());
    data.EnableGroups(kStrictGroups);
    const int first = GetFieldResult(data, m_indexes.FirstName);
    const int last = GetFieldResult(data, m_indexes.LastName);

    const auto isInexact = [](int result) { return result != Unequal && result != Exact; };
    if (isInexact(first) && isInexact(last)) {
        g_Log.Assert(IsFuzzyName(first) && IsFuzzyName(last), kTag, __LINE__, "both names are similar");
        g_Log.Assert(data.firstNameOk && data.lastNameOk, kTag, __LINE__, "both names are ok");
        return WriteVerdict(data, {m_indexes.FirstName, m_indexes.LastName}, verdictSimilar, false);
    }
    if (const unsigned verdict = FindCompanyContacts(data)) return verdict;
    if (data.firstNameOk)
        if (const unsigned verdict = FindStrict(data)) return verdict;

    LogComparedFields(data, L"(after strict detection)");
    if (data.reversedMode != 0 && data.firstNameOk && !data.lastNameOk) {
        SwitchReversedMode(data);
        g_Log.Extra(L"Switchig to other reversed mode: item%dreversed", data.reversedMode);
    }
    data.EnableGroups(kSuggestedGroups);
    const std::vector<TRule>& pair = Rules(rtSuggestedPair);
    g_Log.Assert(
        pair.size() == 1 && pair[0].first == m_indexes.FirstName && pair[0].second == m_indexes.LastName,
        kTag, __LINE__, "the suggested pair is first and last name");
    if (const unsigned verdict = FindSuggested(data)) return verdict;
    LogComparedFields(data, L"(after similar detection)");
    return verdictNone;
}

/// Two entries of one company without a person: a shared address, phone or e-mail is enough.
unsigned CSimilarSearch::FindCompanyContacts(TCmpData& data) {
    if (!data.item1->fullName.empty() || !data.item2->fullName.empty()) return verdictNone;
    if (data.item1->IsEmpty(m_indexes.Company) || data.item2->IsEmpty(m_indexes.Company)) return verdictNone;
    if (!Matched(data, m_indexes.Company)) return verdictNone;
    const int field = FindField(data, rtCompanyFields);
    if (field == -1) return verdictNone;
    return WriteVerdict(data, {m_indexes.Company, field}, verdictStrict, false, L"Company Contacts Rule");
}

unsigned CSimilarSearch::FindStrict(TCmpData& data) {
    if (const TRule* pair = FindPair(data, rtStrictPairs))
        return WriteVerdict(data, {pair->first, pair->second}, verdictStrict, false);
    if (data.lastNameOk)
        if (const TRule* pair = FindPair(data, rtLastNameStrictPairs))
            return WriteVerdict(data, {pair->first, pair->second}, verdictStrict, true);
    return FindStrictWithAnyField(data);
}

/// A weaker pair, which needs any third field beside it. Only the first pair that matches is looked at.
unsigned CSimilarSearch::FindStrictWithAnyField(TCmpData& data) {
    const TRule* pair = FindPair(data, rtAnyFieldPairs);
    const bool byLastName = !pair && data.lastNameOk;
    if (byLastName) pair = FindPair(data, rtLastNameAnyFieldPairs);
    if (!pair) return verdictNone;
    for (const TRule& any : Rules(rtAnyFields)) {
        if (Overlaps(any, *pair)) continue;
        const int field = MatchedFieldOf(data, any);
        if (field != -1)
            return WriteVerdict(data, {pair->first, pair->second, field}, verdictStrict, byLastName);
    }
    return verdictNone;
}

unsigned CSimilarSearch::FindSuggested(TCmpData& data) {
    if (const int field = FindField(data, rtSuggestedFields); field != -1)
        return WriteVerdict(data, {field}, verdictSimilar, false);
    if (!data.lastNameOk) return verdictNone;
    if (const int field = FindField(data, rtLastNameSuggestedFields); field != -1)
        return WriteVerdict(data, {field}, verdictSimilar, true);
    return FindSuggestedTwoFields(data);
}

unsigned CSimilarSearch::FindSuggestedTwoFields(TCmpData& data) {
    int found[2];
    int count = 0;
    for (const TRule& rule : Rules(rtLastNameTwoFields)) {
        const int field = MatchedFieldOf(data, rule);
        if (field != -1) found[count++] = field;
        if (count == 2) return WriteVerdict(data, {found[0], found[1]}, verdictSimilar, true);
    }
    return verdictNone;
}

bool CSimilarSearch::Matched(TCmpData& data, int field) const {
    return IsMatch(GetFieldResult(data, field));
}

const TRule* CSimilarSearch::FindPair(TCmpData& data, ERuleTable table) const {
    for (const TRule& pair : Rules(table))
        if (Matched(data, pair.first) && Matched(data, pair.second)) return &pair;
    return nullptr;
}

/// The field of an entry that matched, or its alternate; -1 when neither did.
int CSimilarSearch::MatchedFieldOf(TCmpData& data, const TRule& rule) const {
    if (Matched(data, rule.first)) return rule.first;
    return rule.second != -1 && Matched(data, rule.second) ? rule.second : -1;
}

int CSimilarSearch::FindField(TCmpData& data, ERuleTable table) const {
    for (const TRule& rule : Rules(table))
        if (const int field = MatchedFieldOf(data, rule); field != -1) return field;
    return -1;
}

/// Writes both explanations for one to three deciding fields and gives the verdict back.
unsigned CSimilarSearch::WriteVerdict(const TCmpData& data, std::initializer_list<int> fields,
                                      unsigned verdict, bool lastNameOk, const wchar_t* rule) {
    wchar_t labels[3][kLabelCapacity] = {};
    const wchar_t* methods[3] = {L"", L"", L""};
    const wchar_t* names[3] = {L"", L"", L""};
    size_t count = 0;
    for (int field : fields) {
        FieldLabel(data, field, labels[count]);
        methods[count] = CmpMethod2Str(data.fields[field].result, true, true);
        names[count] = Name(field);
        ++count;
    }
    const auto before = [count](size_t field, const wchar_t* separator) {
        return field < count ? separator : L"";
    };
    Print(m_verdictTextW, L"%s. // %s%s%s%s%s%s%s%s%s%s%s\n",
          verdict == verdictStrict ? L"Strict " : L"Similar", labels[0], methods[0], before(1, L" + "),
          labels[1], methods[1], before(2, L" + "), labels[2], methods[2],
          lastNameOk ? L" // LastNameOK" : L"", *rule ? L" // " : L"", rule);
    Print(m_matchedFieldsW, L"%s%s%s%s%s", names[0], before(1, L", "), names[1], before(2, L", "), names[2]);
    if (g_Log.IsExtra()) LogVerdict(data, fields);
    return verdict;
}

}  // namespace similar
