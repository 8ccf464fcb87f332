#pragma once
// Exception rules: pairs of items that the compared properties call equal and that are no duplicates all the
// same.

#include <span>
#include <vector>

#include "dupsearch/plan.h"

namespace dupsearch {

/// Name of a rule for the log, "unknown" for a number that names none.
const char* ExceptionName(unsigned rule, bool bShort);

/// Makes the search read what its rules need, besides what it compares.
void PrepareExceptions(IMessage* item, TPlan& plan);
/// Makes it read what they need and no store knew the names of before.
void BringInRuleTags(TPlan& plan);

/// An item as the rules see it: what was read of it, and where it is filed or is about to be.
struct TRuleItem {
    const TItem& item;
    std::span<const TFiling> filings;  // none of an item that is filed

    /// The node of a single value, or kNone.
    uint32_t NodeIn(const CCmpData& data) const;
    std::vector<CMultiPtrTree::TFiled> NodesIn(const CCmpData& data) const;
};

/// Appends all that the rules read of an item besides the nodes of its values: of two items with the same, they
/// exempt the same pairs.
void AppendRuleFacts(const TPlan& plan, const TRuleItem& item, std::vector<uint32_t>& facts);

/// Whether a rule exempts the pair: they are no duplicates. The first rule of the list that does decides.
/// logged: with extra logging on, every rule asked is written.
bool IsExempt(const TPlan& plan, const TRuleItem& item, const TRuleItem& equal, bool logged);

}  // namespace dupsearch
