#pragma once
// How the trees of a search order items: by plain and single derived values, by elements of multi-valued
// ones, by streams, by starts less than a day apart.
//
// Negative: the new item sorts before the other, 0: equal, positive: after. A comparator that cannot decide
// logs why and sets the error flag; the new item is then not filed.

#include "dupsearch/CItems.h"
#include "items/CDefinedTags.h"
#include "quorvel.h"

namespace dupsearch {

/// A canonical tag as the store of an item has it. tags: in the stores of the items; null: the same in all.
inline ULONG TagIn(const TItem& item, ULONG canonical, const items::CDefinedTags* tags) {
    return tags ? tags->TagIn(item.store->number, canonical) : canonical;
}

/// A new item, the last of the items, on its way into the tree of one property.
struct TCompareContext {
    const TComparyProp& definition;
    CItems& items;
    const TItem& item;
    const SPropValue* pPropValue = nullptr;  // null for a stream
    IMessage* lpMessage = nullptr;
    const items::CDefinedTags* tags = nullptr;  // in the stores of the items; null: the same in all

    /// The definition's tag as the store of an item has it.
    ULONG TagOf(const TItem& of) const { return TagIn(of, definition.ulPropTag, tags); }
};

/// A definition's method as the value comparison gets it: the search's own methods have acted on the values
/// already.
ECompareMethod ValueMethod(const TComparyProp& definition);

int fnCompare(const TCompareContext& context, const SPropValue* other, uint32_t otherItem, bool& error);
/// opened: the other item, where it could be opened.
int fnCompareStream(const TCompareContext& context, uint32_t otherItem, bool& error,
                    store::ComPtr<IMessage>* opened = nullptr);

/// An element of a multi-valued derived value, chosen by the lowest bit of a mask of kinds.
struct TSubValue {
    const items::TDerivedValue& derived;
    uint32_t mask;
};
int fnCompareSubValues(const TCompareContext& context, const TSubValue& mine, const TSubValue& other,
                       bool& error);
/// Index of the element that the mask chooses; -1 when there is none.
int ElementOf(const TSubValue& subValue);

int fnCompare_ApproxStart(const SPropValue* value1, const SPropValue* value2, bool& error);
/// The same for two times.
int CompareApproxStart(const FILETIME& t1, const FILETIME& t2);

/// The derived value of this property id, or null.
const items::TDerivedValue* FindDerived(const TItem& item, ULONG tag);

}  // namespace dupsearch
