#pragma once
// The rules turned round: which fields must match at least, so that two contacts can have a verdict at all.
//
// Made of the rule tables, so that both cannot differ. The answer errs to one side only: where it is no, the
// rules find nothing. A third field beside a pair is taken to match; a name is taken to be in order when it
// matches or one of the two contacts has none.

#include "similar/rules.h"

namespace similar {

struct TCandidateRules {
    TFieldSet all = 0;           // fields that a verdict needs
    TFieldSet alone = 0;         // one of these is enough,
    TFieldSet withLastName = 0;  // or one of these when the last name is in order,
    TFieldSet twoWithLastName = 0;
    std::vector<TFieldSet> pairs;  // or one of these pairs when the first name is in order,
    std::vector<TFieldSet> pairsWithLastName;

    bool MayHaveVerdict(TFieldSet matched, bool firstNameOk, bool lastNameOk) const;
};

TCandidateRules BuildCandidateRules(const TRuleTables& tables, const TSimilarPropIndexes& indexes);

}  // namespace similar
