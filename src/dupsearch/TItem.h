#pragma once
// One item of a search: its identifiers, the values read from it, and what choosing an original needs to
// know.

#include <forward_list>
#include <memory>
#include <string>

#include "items/CItemReader.h"
#include "items/TItemValues.h"

struct TItem : TItemValues {
    using TItemValues::TItemValues;

    const char* EntryID = "";  // owned by the search's items
    CItemReader::TStore* store = nullptr;
    uint32_t nIndex = 0;  // number in order of addition
    unsigned nCallerRank = 0;

    // Facts for choosing an original; -1 and null: not computed.
    int nFilledProps = -1;
    std::unique_ptr<ULONG[]> ValuesSizes;  // one per compared plain tag, then one per compared stream tag
    int nMessageSize = -1;
    int nHasFieldValue = -1;
    short nODApntRecurIndex = -1;
    short nODApntAnnvrsryYear = -1;
    short nHasCRMID = -1;
    short nAllDayLike = -1;  // asked for by definitions too

    bool bAsRead = false;                           // one value for each tag, all as the item has them
    std::forward_list<std::wstring> comparedTexts;  // what is compared in place of a text that was read

    const char* StoreID() const { return store ? store->id.c_str() : ""; }
};
