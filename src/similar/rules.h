#pragma once
// The rules by which matched fields become a verdict, as tables of field indexes in the order in which they
// are tried.

#include <vector>

#include "similar/fields.h"

namespace similar {

/// Of a pair both fields must match; otherwise one of the two, second being -1 when there is no alternate.
struct TRule {
    int first;
    int second;
};

enum class ERuleKind { Pairs, Fields };

enum ERuleTable : int {
    rtStrictPairs,
    rtCompanyFields,
    rtLastNameStrictPairs,
    rtAnyFieldPairs,
    rtLastNameAnyFieldPairs,
    rtAnyFields,
    rtSuggestedPair,
    rtSuggestedFields,
    rtLastNameSuggestedFields,
    rtLastNameTwoFields,
    rtCount
};

struct TRuleTable {
    const wchar_t* heading;
    ERuleKind kind;
    std::vector<TRule> rules;
};

using TRuleTables = std::array<TRuleTable, rtCount>;

TRuleTables BuildRules(const TContactFields& fields);

}  // namespace similar
