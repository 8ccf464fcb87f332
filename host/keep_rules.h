#pragma once
// The rules that say which of several copies to keep, by what the copies hold.

#include <string>
#include <vector>

#include "host/definitions.h"
#include "host/item_values.h"

namespace host {

/// One rule. "field=NAME:TEXT" names a property of the definitions.
struct TKeep {
    enum class ERule {
        MostFilled,
        First,
        Last,
        Newest,
        Oldest,
        Read,
        Flagged,
        LargestValues,
        Largest,
        Field,
        Recurrence,
        CrmId
    };
    ERule rule = ERule::MostFilled;
    std::string field;
    std::string text;
};
/// Throws Failure naming what is allowed.
TKeep KeepOf(const std::string& text);
/// Rules in order: "newest, then most-filled".
std::string KeepText(const std::vector<TKeep>& rules);
/// Throws Failure when a rule names a property that the definitions do not have.
void CheckKeep(const TDefinitions& definitions, const std::vector<TKeep>& rules);

/// What a rule goes by, one number for each of these items: the larger, the rather kept. -1: cannot be
/// known.
std::vector<long long> KeepFacts(CItemReader& reader, const TKeep& keep, const TDefinitions& definitions,
                                 const std::vector<const TItem*>& items);
/// Why the item with the larger fact was taken: "the newest".
std::string KeepSentence(const TKeep& keep, long long kept, long long next);

}  // namespace host
