#pragma once
// The sorting tree of a multi-valued derived property: an item is filed once for each of its sub-values,
// under a mask that says which kind of sub-value it is (home phone, mobile phone ...). Items are equal when
// any selected sub-value of the one shares a node with any selected sub-value of the other.
//
// Items are known by their number in order of addition; all sub-values of an item are filed before the next
// item's.

#include <span>
#include <utility>
#include <vector>

#include "dupsearch/CSortTree.h"

namespace dupsearch {

class CMultiPtrTree {
  public:
    static constexpr uint32_t kAnyKind = 0xFFFFFFFF;
    struct TFiled {
        uint32_t node;
        uint32_t mask;  // of all the item's sub-values in this node
    };
    /// Makes room, so that filing so many sub-values of an item cannot fail.
    void MakeRoomFor(uint32_t item, size_t count);
    /// Files a sub-value whose node is known, NodeLimit() for one that needs a node of its own; its way down is owed
    /// (see CSortTree.h).
    void FileKnown(uint32_t item, uint32_t mask, uint32_t node) noexcept {
        m_owed.push_back(node);
        m_tree.Owe(node);
        Append(node, item, mask);
    }
    template <typename CompareNodes>
    void Settle(CompareNodes&& compare) {
        m_tree.Settle(m_owed, m_nSettled, compare);
        m_owed.clear();
        m_nSettled = 0;
    }

    // Sub-values whose nodes have to be found by comparing, each after the one before it: in a copy of the
    // tree's shape, which then takes its place. Nothing may be owed.
    const CSortTree& Shape() const { return m_tree; }
    void SetShape(CSortTree&& shape) noexcept { m_tree = std::move(shape); }
    void FileAt(uint32_t item, uint32_t mask, uint32_t node) noexcept { Append(node, item, mask); }

    /// The item's nodes, each once, in order of filing; none for an item that is not filed.
    std::span<const TFiled> NodesOf(uint32_t item) const;

    using Filings = std::span<const TFiled>;
    /// Whether one of an item's sub-values is of one of these kinds.
    static bool Exists(Filings item, uint32_t mask);
    /// Whether a sub-value of the item of a kind in mask1 shares a node with one of the other item of a kind
    /// in mask2. *found: whether the item is filed at all.
    static bool FindEquals(Filings item, Filings other, uint32_t mask1, uint32_t mask2, bool* found);

    /// Takes all sub-values of an item out; nodes that held nothing else go with them.
    void Remove(uint32_t item);

    uint32_t NodeLimit() const { return m_tree.NodeLimit(); }
    const TTreeStatistics& Statistics() const { return m_tree.Statistics(); }

  private:
    struct TRange {
        uint32_t begin = 0;
        uint32_t count = 0;
        int insertions = 0;
    };

    void Append(uint32_t node, uint32_t item, uint32_t mask) noexcept;

    CSortTree m_tree;
    std::vector<uint32_t> m_owed;
    size_t m_nSettled = 0;            // of m_owed
    std::vector<TFiled> m_filed;      // item by item
    std::vector<TRange> m_items;      // by item: its part of m_filed
    std::vector<uint32_t> m_holders;  // by node: how many items it holds
};

}  // namespace dupsearch
