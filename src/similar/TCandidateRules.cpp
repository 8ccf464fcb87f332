#include "similar/TCandidateRules.h"

#include <algorithm>
#include <bit>

namespace similar {
namespace {

TFieldSet FieldsOf(const TRuleTable& table) {
    TFieldSet fields = 0;
    for (const TRule& rule : table.rules) fields |= SetOf(rule.first) | SetOf(rule.second);
    return fields;
}

void AppendPairs(const TRuleTable& table, std::vector<TFieldSet>* pairs) {
    for (const TRule& rule : table.rules) pairs->push_back(SetOf(rule.first) | SetOf(rule.second));
}

bool HasPair(const std::vector<TFieldSet>& pairs, TFieldSet matched) {
    return std::any_of(pairs.begin(), pairs.end(),
                       [matched](TFieldSet pair) { return (matched & pair) == pair; });
}

}  // namespace

TCandidateRules BuildCandidateRules(const TRuleTables& tables, const TSimilarPropIndexes& indexes) {
    TCandidateRules rules;
    // Of two entries of one company no name is asked; the company itself is always needed.
    rules.alone = FieldsOf(tables[rtSuggestedFields]) | SetOf(indexes.Company);
    rules.withLastName = FieldsOf(tables[rtLastNameSuggestedFields]);
    rules.twoWithLastName = FieldsOf(tables[rtLastNameTwoFields]);
    // Where both names match, the first one is in order.
    for (const ERuleTable table : {rtSuggestedPair, rtStrictPairs, rtAnyFieldPairs})
        AppendPairs(tables[table], &rules.pairs);
    for (const ERuleTable table : {rtLastNameStrictPairs, rtLastNameAnyFieldPairs})
        AppendPairs(tables[table], &rules.pairsWithLastName);
    rules.all = rules.alone | rules.withLastName | rules.twoWithLastName;
    for (const auto* pairs : {&rules.pairs, &rules.pairsWithLastName})
        for (const TFieldSet pair : *pairs) rules.all |= pair;
    return rules;
}

bool TCandidateRules::MayHaveVerdict(TFieldSet matched, bool firstNameOk, bool lastNameOk) const {
    if (matched & alone) return true;
    if (lastNameOk && ((matched & withLastName) || std::popcount(matched & twoWithLastName) >= 2))
        return true;
    if (!firstNameOk || std::popcount(matched) < 2) return false;
    return HasPair(pairs, matched) || (lastNameOk && HasPair(pairsWithLastName, matched));
}

}  // namespace similar
