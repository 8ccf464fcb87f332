#include "similar/verdict.h"

#include "log/CLog.h"
#include "similar/compare_fields.h"
#include "similar/explain.h"

namespace similar {

using logging::g_Log;

namespace {

constexpr char kTag[] = "CSimilarSearch.GetSimilarType";
constexpr int kNoField = -1;

TVerdict Strict(const TRule& pair, bool byLastName) {
    return {verdictStrict, {pair.first, pair.second}, 2, byLastName};
}

TVerdict Similar(int field, bool byLastName) {
    return {verdictSimilar, {field}, 1, byLastName};
}

bool IsFuzzyName(int result) {
    return result == StartWith || result == MissChar || result == DiffChar;
}

/// Whether one of the fields of an entry is one of a pair.
bool Overlaps(const TRule& rule, const TRule& pair) {
    const auto isOfPair = [&pair](int field) {
        return field != kNoField && (field == pair.first || field == pair.second);
    };
    return isOfPair(rule.first) || isOfPair(rule.second);
}

const TRule* FindPair(TCmpData& data, const TRuleTable& table) {
    for (const TRule& pair : table.rules)
        if (Matched(data, pair.first) && Matched(data, pair.second)) return &pair;
    return nullptr;
}

/// The field of an entry that matched, or its alternate.
int MatchedFieldOf(TCmpData& data, const TRule& rule) {
    if (Matched(data, rule.first)) return rule.first;
    return rule.second != kNoField && Matched(data, rule.second) ? rule.second : kNoField;
}

int FindField(TCmpData& data, const TRuleTable& table) {
    for (const TRule& rule : table.rules)
        if (const int field = MatchedFieldOf(data, rule); field != kNoField) return field;
    return kNoField;
}

/// Two entries of one company without a person: a shared address, phone or e-mail is enough.
TVerdict FindCompanyContacts(TCmpData& data, const TRuleTables& rules) {
    const int company = data.fields.indexes.Company;
    if (!data.item1.fullName.empty() || !data.item2.fullName.empty()) return {};
    if (data.item1.IsEmpty(company) || data.item2.IsEmpty(company)) return {};
    if (!Matched(data, company)) return {};
    const int field = FindField(data, rules[rtCompanyFields]);
    if (field == kNoField) return {};
    return {verdictStrict, {company, field}, 2, false, L"Company Contacts Rule"};
}

/// A weaker pair, which needs any third field beside it. Only the first pair that matches is looked at.
TVerdict FindStrictWithAnyField(TCmpData& data, const TRuleTables& rules) {
    const TRule* pair = FindPair(data, rules[rtAnyFieldPairs]);
    const bool byLastName = !pair && data.lastNameOk;
    if (byLastName) pair = FindPair(data, rules[rtLastNameAnyFieldPairs]);
    if (!pair) return {};
    for (const TRule& any : rules[rtAnyFields].rules) {
        if (Overlaps(any, *pair)) continue;
        const int field = MatchedFieldOf(data, any);
        if (field != kNoField) return {verdictStrict, {pair->first, pair->second, field}, 3, byLastName};
    }
    return {};
}

TVerdict FindStrict(TCmpData& data, const TRuleTables& rules) {
    if (const TRule* pair = FindPair(data, rules[rtStrictPairs])) return Strict(*pair, false);
    if (data.lastNameOk)
        if (const TRule* pair = FindPair(data, rules[rtLastNameStrictPairs])) return Strict(*pair, true);
    return FindStrictWithAnyField(data, rules);
}

TVerdict FindSuggestedTwoFields(TCmpData& data, const TRuleTables& rules) {
    TVerdict verdict{verdictSimilar, {}, 0, true};
    for (const TRule& rule : rules[rtLastNameTwoFields].rules) {
        const int field = MatchedFieldOf(data, rule);
        if (field != kNoField) verdict.fields[verdict.count++] = field;
        if (verdict.count == 2) return verdict;
    }
    return {};
}

TVerdict FindSuggested(TCmpData& data, const TRuleTables& rules) {
    if (const int field = FindField(data, rules[rtSuggestedFields]); field != kNoField)
        return Similar(field, false);
    if (!data.lastNameOk) return {};
    if (const int field = FindField(data, rules[rtLastNameSuggestedFields]); field != kNoField)
        return Similar(field, true);
    return FindSuggestedTwoFields(data, rules);
}

}  // namespace

TVerdict GetSimilarType(TCmpData& data, const TRuleTables& rules) {
    const TRule names = {data.fields.indexes.FirstName, data.fields.indexes.LastName};
    data.EnableGroups(kStrictGroups);
    const int first = GetFieldResult(data, names.first);
    const int last = GetFieldResult(data, names.second);

    const auto isInexact = [](int result) { return result != Unequal && result != Exact; };
    if (isInexact(first) && isInexact(last)) {
        g_Log.Assert(IsFuzzyName(first) && IsFuzzyName(last), kTag, __LINE__, "both names are similar");
        g_Log.Assert(data.firstNameOk && data.lastNameOk, kTag, __LINE__, "both names are ok");
        return {verdictSimilar, {names.first, names.second}, 2};
    }
    if (const TVerdict found = FindCompanyContacts(data, rules); found.type != verdictNone) return found;
    if (data.firstNameOk)
        if (const TVerdict found = FindStrict(data, rules); found.type != verdictNone) return found;

    LogComparedFields(data, L"(after strict detection)");
    if (data.reversedMode != 0 && data.firstNameOk && !data.lastNameOk) {
        SwitchReversedMode(data);
        LogReversedMode(data);
    }
    data.EnableGroups(kSuggestedGroups);
    const std::vector<TRule>& pair = rules[rtSuggestedPair].rules;
    g_Log.Assert(pair.size() == 1 && pair[0].first == names.first && pair[0].second == names.second, kTag,
                 __LINE__, "the suggested pair is first and last name");
    const TVerdict found = FindSuggested(data, rules);
    if (found.type == verdictNone) LogComparedFields(data, L"(after similar detection)");
    return found;
}

}  // namespace similar
