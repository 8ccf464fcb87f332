#pragma once
// One item of a search: its identifiers, the values read from it, and what choosing an original needs to
// know.

#include <forward_list>
#include <memory>
#include <memory_resource>
#include <string>
#include <vector>

#include "compare/propex.h"
#include "store/resources.h"

/// A derived value. Of a multi-valued one, kinds tells of each element which property it came from.
struct TDerivedValue {
    const SPropValue* value = nullptr;
    MapiBuffer<SPropValue> own;  // null where the search's items own it
    unsigned char kinds[kPhoneKinds] = {};
};

struct TItem {
    TItem() = default;
    /// memory: where lists of the item are kept, for as long as the item.
    explicit TItem(std::pmr::memory_resource& memory) : derived(&memory) {}

    const char* EntryID = "";      // owned by the search's items
    const char* lpszStoreID = "";  // the same
    uint32_t nIndex = 0;           // number in order of addition
    unsigned nCallerRank = 0;

    // Facts for choosing an original; -1 and null: not computed.
    int nFilledProps = -1;
    std::unique_ptr<ULONG[]> ValuesSizes;  // one per compared plain tag, then one per compared stream tag
    int nMessageSize = -1;
    int nHasFieldValue = -1;
    short nODApntRecurIndex = -1;
    short nODApntAnnvrsryYear = -1;
    short nHasCRMID = -1;

    // The block of the values as they were read; null where the search's items own them.
    MapiBuffer<SPropValue> read;
    SPropValue* values = nullptr;  // in the order of the plain tags
    ULONG cValues = 0;
    bool bAsRead = false;                           // one for each tag, all as the item has them
    std::forward_list<std::wstring> comparedTexts;  // what is compared in place of a text that was read
    std::pmr::vector<TDerivedValue> derived;        // in the order of the derived ids

    /// The first read value of this property, whatever its type; null when none was read.
    SPropValue* Find(ULONG tag) const {
        for (ULONG i = 0; i < cValues; ++i) {
            if (PROP_ID(values[i].ulPropTag) == PROP_ID(tag)) return &values[i];
        }
        return nullptr;
    }
};
