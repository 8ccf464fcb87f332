#pragma once
// All that is read of an item of one store, with one request where that is possible: the plain values and the
// texts behind derived ones. Each derived value's builder makes a request of its own, which costs more than the
// texts it brings; and a request's block, most of it about properties that the item has not, is too large to be
// kept for every item.
//
// Values come under their canonical tags; one whose name the store does not know is missing.

#include <memory_resource>
#include <span>
#include <vector>

#include "compare/named_values.h"
#include "items/CDefinedTags.h"
#include "items/TItemValues.h"
#include "store/one_mvalue.h"

namespace items {

class CItemRequest {
  public:
    /// Canonical tags of the plain values. derivedIds: of all derived values of an item, in the order in which it
    /// has them.
    CItemRequest(const CDefinedTags& tags, size_t store, compare::CTagArray plainTags,
                 std::span<const unsigned> derivedIds = {});

    /// Reads the plain values together with those derived values that are gathered from texts; what it does not
    /// get is left to the two below. A derived value that takes a name that is not known is left out. When none
    /// is left, the request does not succeed, or a value comes that is neither what was asked for nor missing:
    /// nothing is done and nothing logged, and what fails is for those to say who read one value after the
    /// other. memory: where what is read is kept.
    void ReadTogether(IMessage* message, const compare::CNames& names, TItemValues& values,
                      std::pmr::memory_resource& memory);
    /// Reads the plain values alone. The platform's result, not logged.
    HRESULT ReadPlain(IMAPIProp* object, TPlainValues& values);

    const compare::CTagArray& PlainTags() const { return m_plainTags; }

  private:
    /// The texts of a derived value.
    struct TPart {
        size_t derived;  // its place among the item's
        unsigned id;
        ULONG first = 0;  // of its tags
        ULONG count = 0;  // 0: it is left out
    };
    /// What the values of a request need of the block that they are copied to.
    struct TMeasure {
        std::vector<store::TOutside> outside;  // of each value
        size_t elements = 0;                   // of all derived values
        size_t outsideSize = 0;                // bytes, with what is left free for alignment
    };

    bool FindTags(const compare::CNames& names);
    bool Measure(const SPropValue* values, TMeasure& measure) const;
    SPropValue PlainValue(const SPropValue* values, ULONG index) const;
    void Copy(const SPropValue* values, const TMeasure& measure, SPropValue* block, TItemValues& item) const;
    void Place(ULONG count, TPlainValues& item) const;

    compare::CTagArray m_plainTags;
    TTagsInStore m_plain;
    bool m_bCanonical;
    std::vector<TPart> m_parts;
    compare::CTagArray m_tags;    // the plain ones of the store, then those of the parts
    bool m_bHasAllParts = false;  // nothing is left out
};

/// Builds one derived value; the kinds of its elements where it has any. The builder's result; an unknown id is
/// logged under the routine's name.
HRESULT BuildDerived(const char* routine, unsigned id, IMessage* message, compare::CNames& names,
                     TDerivedValue& derived);

}  // namespace items
