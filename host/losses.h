#pragma once
// What would be lost if a duplicate went: every value of it that the kept copy lacks or holds differently.

#include <vector>

#include "host/definitions.h"
#include "host/item_values.h"
#include "host/plan.h"

namespace host {

/// duplicate equals kept by these definitions: what they compare is no loss where both have a value, or, of
/// properties gathered from several fields, where the kept copy has it in any of them. Attachments and
/// recipients count as values. kept, duplicate: the items with their values.
std::vector<TLoss> Losses(CItemReader& reader, const TDefinitions& definitions, const TItem& keptItem,
                          const TItemValues& kept, const TItem& duplicateItem, const TItemValues& duplicate);

/// The same of two that are no duplicates by these definitions: what they compare is no loss where it is equal by
/// itself.
std::vector<TLoss> LossesOfUnlike(CItemReader& reader, const TDefinitions& definitions, const TItem& keptItem,
                                  const TItemValues& kept, const TItem& duplicateItem,
                                  const TItemValues& duplicate);

/// The part of a value that the kept copy does not hold; kept may be null. Texts are equal without blanks at their
/// end.
TItemValue Missing(const TItemValue* kept, const TItemValue& value);
/// As the searches compare texts.
bool AreEqualTexts(const std::string& a, const std::string& b, ECompareMethod method);
/// A value for people, on one line and cut. isMark: it says no more than that it is there.
std::string ShownValue(const TItemValue& value, bool isMark);

}  // namespace host
