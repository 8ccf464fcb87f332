#pragma once
// What the first item of a search settles: tags of named properties, which properties are read and compared,
// what the exception rules need besides, the numbers of the groups. Made whole for one item; a failed first
// addition throws it away. A store of a later item may know names that those before did not: these come in then.

#include <memory>
#include <optional>
#include <vector>

#include "compare/CDefinitions.h"
#include "compare/CTagArray.h"
#include "dupsearch/CCmpData.h"
#include "items/CDefinedTags.h"
#include "items/CItemRequest.h"

namespace dupsearch {

/// What is read of the items, as far as the stores know the names. All tags are canonical.
struct TReadings {
    items::CDefinedTags tags;
    compare::CTagArray plainTags;
    compare::CTagArray streamTags;
    compare::CTagArray originalPlainTags;  // read only for choosing the original
    compare::CTagArray originalStreamTags;
    std::vector<unsigned> derivedIds;
    std::vector<const TComparyProp*> plainDefinitions;  // beside each plain tag; null for a rule's tag
    ULONG tagApntDuration = 0;                          // 0: not resolved, or no rule needs it
    ULONG tagTaskStartDate = 0;
    ULONG tagTaskDueDate = 0;
    ULONG tagJrnlDuration = 0;
    int nGroups = 0;
};

struct TPlan : TReadings {
    TPlan(const compare::CDefinitions& pristine, std::vector<unsigned> exceptionRules)
        : definitions(pristine), rules(std::move(exceptionRules)) {}
    TPlan(const TPlan&) = delete;

    compare::CDefinitions definitions;  // with tags resolved, methods and groups settled
    compare::CTextHash textHash;
    std::vector<std::unique_ptr<CCmpData>> compareData;        // in the order of the definitions
    std::vector<std::optional<items::CItemRequest>> requests;  // of plainTags and derivedIds, by store
    std::vector<unsigned> rules;

    /// The compared property of this tag or derived id; null when it is not compared.
    CCmpData* FindCompared(ULONG tag) const;
    CCmpData* FindComparedDerived(int id) const;
    /// What is read of an item of this store, whose tags are settled.
    items::CItemRequest& RequestFor(size_t store);
    /// Place of a derived id among derivedIds, -1 when it is not computed.
    int DerivedIndex(unsigned id) const;
    /// An item's derived value of this id; null when it is not computed.
    const items::TDerivedValue* DerivedOf(const TItem& item, unsigned id) const;
};

/// Makes a search ready against its first item, of this store.
std::unique_ptr<TPlan> Prepare(IMessage* item, size_t store, const compare::CDefinitions& definitions,
                               const std::vector<unsigned>& rules, bool bGrouped);
/// Takes in the definitions and what rules read of which this store is the first to know the names; definitions:
/// as Prepare had them. The items before lack all this, and are not filed yet in what came in. False when there is
/// nothing to take in.
bool BringIn(TPlan& plan, size_t store, const compare::CDefinitions& definitions, bool bGrouped);

/// The name of a plain tag, by its place, in log lines: its definition's key, or the fixed name of a rule's tag.
std::wstring PlainTagName(const TPlan& plan, ULONG index);

}  // namespace dupsearch
