#pragma once
// What the first item of a search settles: tags of named properties, which properties are read and compared,
// what the exception rules need besides, the numbers of the groups. Made whole for one item; a failed first
// addition throws it away.

#include <memory>
#include <vector>

#include "dupsearch/CCmpData.h"
#include "dupsearch/CCombinedRead.h"
#include "compare/CDefinitions.h"
#include "compare/CTagArray.h"

struct TPreparation {
    TPreparation(const CDefinitions& pristine, std::vector<unsigned> exceptionRules)
        : definitions(pristine), rules(std::move(exceptionRules)) {}
    TPreparation(const TPreparation&) = delete;

    CDefinitions definitions;  // with tags resolved, methods and groups settled
    CTextHash textHash;
    std::vector<std::unique_ptr<CCmpData>> compareData;  // in the order of the definitions
    CTagArray plainTags;
    CTagArray streamTags;
    CTagArray originalPlainTags;  // read only for choosing the original
    CTagArray originalStreamTags;
    std::vector<unsigned> derivedIds;
    CCombinedRead combinedRead;                         // of plainTags and derivedIds
    std::vector<const TComparyProp*> plainDefinitions;  // beside each plain tag; null for a rule's tag
    std::vector<unsigned> rules;
    ULONG tagApntDuration = 0;  // 0: not resolved, or no rule needs it
    ULONG tagTaskStartDate = 0;
    ULONG tagTaskDueDate = 0;
    ULONG tagJrnlDuration = 0;
    int nGroups = 0;

    /// The compared property of this tag or derived id; null when it is not compared.
    CCmpData* FindCompared(ULONG tag) const;
    CCmpData* FindComparedDerived(int id) const;
    /// Place of a derived id among derivedIds, -1 when it is not computed.
    int DerivedIndex(unsigned id) const;
};

/// Makes a search ready against its first item.
std::unique_ptr<TPreparation> Prepare(IMessage* item, const CDefinitions& definitions,
                                      const std::vector<unsigned>& rules, bool bGrouped);

/// Name of the n-th plain tag in log lines: its definition's key, or the fixed name of a rule's tag.
std::wstring PlainTagName(const TPreparation& preparation, ULONG index);
