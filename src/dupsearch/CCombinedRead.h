#pragma once
// All that adding an item reads of it, with one request: the plain values and the texts behind derived ones.
// Each derived value's builder makes a request of its own, which costs more than the texts it brings; and a
// request's block, most of it about properties that the item has not, is too large to be kept for every item.

#include <memory_resource>
#include <span>
#include <vector>

#include "compare/CTagArray.h"
#include "compare/named_values.h"
#include "dupsearch/TItem.h"
#include "store/properties.h"

class CCombinedRead {
  public:
    /// derivedIds: of all derived values of an item, in the order in which it has them.
    explicit CCombinedRead(const CTagArray& plainTags = {}, std::span<const unsigned> derivedIds = {});

    /// Reads an item of the store that these names are known of: its values and those of its derived values
    /// that are gathered from texts. A derived value that takes a name that is not known is left out. When none
    /// is left, the request does not succeed, or a value comes that is neither what was asked for nor missing:
    /// nothing is done and nothing logged, and what fails is for those to say who read one value after the
    /// other. memory: where what is read is kept.
    void Read(IMessage* message, const CKnownNames& names, TItem& item, std::pmr::memory_resource& memory);

  private:
    /// The texts of a derived value.
    struct Part {
        size_t derived;  // its place among the item's
        unsigned id;
        ULONG first = 0;  // of its tags
        ULONG count = 0;  // 0: it is left out
    };

    bool FindTags(const CKnownNames& names);
    bool Measure(const SPropValue* values);
    size_t SizeOfBlock() const;
    void Copy(const SPropValue* values, SPropValue* block, TItem& item) const;

    CTagArray m_plainTags;
    std::vector<Part> m_parts;
    CTagArray m_tags;                      // the plain ones, then those of the parts
    const CKnownNames* m_names = nullptr;  // for which the tags are, nothing left out
    // Of the item being read.
    std::vector<store::Outside> m_outside;  // of each value
    size_t m_elements = 0;                  // of all derived values
    size_t m_outsideSize = 0;               // bytes, with what is left free for alignment
};
