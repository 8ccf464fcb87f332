#pragma once
// What is read of an item: plain values under canonical tags, and derived ones.

#include <memory>
#include <memory_resource>
#include <vector>

#include "compare/propex.h"
#include "store/resources.h"

namespace items {

/// A derived value. Of a multi-valued one, kinds tells of each element which property it came from.
struct TDerivedValue {
    const SPropValue* value = nullptr;
    store::MapiBuffer<SPropValue> own;  // null where it was read along with the plain values
    unsigned char kinds[compare::kPhoneKinds] = {};
};

struct TPlainValues {
    // The block of the values as they were read; null where they are in somebody else's memory.
    store::MapiBuffer<SPropValue> read;
    // The values themselves, where the block's are not one for each tag.
    std::unique_ptr<SPropValue[]> placed;
    SPropValue* values = nullptr;  // in the order of the tags
    ULONG cValues = 0;

    /// The first read value of this property, whatever its type; null when none was read.
    SPropValue* Find(ULONG tag) const {
        for (ULONG i = 0; i < cValues; ++i) {
            if (PROP_ID(values[i].ulPropTag) == PROP_ID(tag)) return &values[i];
        }
        return nullptr;
    }
};

struct TItemValues : TPlainValues {
    TItemValues() = default;
    /// memory: where the list is kept, for as long as this.
    explicit TItemValues(std::pmr::memory_resource& memory) : derived(&memory) {}

    std::pmr::vector<TDerivedValue> derived;  // in the order of the derived ids
};

}  // namespace items
