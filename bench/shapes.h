#pragma once
// The mailboxes that the benchmark of the duplicate search is measured on.

#include <memory>
#include <string>
#include <vector>

#include "mailbox/CDatabase.h"
#include "quorvel.h"

struct TShape {
    const char* name;
    const char* about;
    unsigned algorithm;  // ESearchAlgorithm
    /// Adds n items to a store in the order in which they are to be added to the search.
    void (*fill)(mailbox::CDatabase& database, mailbox::TStore& store, unsigned n, unsigned seed);
    std::vector<TComparyProp> definitions;
    /// Tags that a host reads to have the same values in its hands.
    std::vector<ULONG> bareTags;
    std::vector<unsigned> rules = {};  // EException
    unsigned stores = 1;  // each filled with its share; items are added from one after the other in turn
};

/// The shape of this name, or null.
const TShape* FindShape(const std::string& name);
const std::vector<TShape>& AllShapes();
