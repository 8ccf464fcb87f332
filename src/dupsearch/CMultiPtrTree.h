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

class CMultiPtrTree {
  public:
    static constexpr uint32_t kAnyKind = 0xFFFFFFFF;
    struct Filed {
        uint32_t node;
        uint32_t mask;  // of all the item's sub-values in this node
    };
    struct Inserted {
        uint32_t node;  // kNone: the comparator reported an error, the sub-value is not filed
        bool equal;
    };

    /// Files one sub-value. compare: int(node, bool& error).
    template <typename Compare>
    Inserted Insert(uint32_t item, uint32_t mask, Compare&& compare) {
        const CSortTree::Placed placed = m_tree.Place(compare);
        if (placed.node == kNone) return {kNone, false};
        Append(placed.node, item, mask);
        return {placed.node, !placed.isNew};
    }

    /// The same for a sub-value whose node is known, as CPtrTree has it.
    Inserted InsertKnown(uint32_t item, uint32_t mask, uint32_t node) {
        m_owed.push_back(node);
        Append(node, item, mask);
        return {node, !m_tree.Owe(node)};
    }
    template <typename CompareNodes>
    void Settle(CompareNodes&& compare) {
        m_tree.Settle(std::exchange(m_owed, {}), compare);
    }

    /// The item's nodes, each once, in order of filing; none for an item that is not filed.
    std::span<const Filed> NodesOf(uint32_t item) const;

    /// Whether the item has a sub-value of one of these kinds.
    bool Exists(uint32_t item, uint32_t mask) const;
    /// Whether a sub-value of the item of a kind in mask1 shares a node with one of the other item of a kind
    /// in mask2. *found: whether the item is filed at all.
    bool FindEquals(uint32_t item, uint32_t other, uint32_t mask1, uint32_t mask2, bool* found) const;

    /// Takes all sub-values of an item out; nodes that held nothing else go with them.
    void Remove(uint32_t item);

    uint32_t NodeLimit() const { return m_tree.NodeLimit(); }
    const TTreeStatistics& Statistics() const { return m_tree.Statistics(); }

  private:
    struct Range {
        uint32_t begin = 0;
        uint32_t count = 0;
        int insertions = 0;
    };

    void Append(uint32_t node, uint32_t item, uint32_t mask);

    CSortTree m_tree;
    std::vector<uint32_t> m_owed;
    std::vector<Filed> m_filed;       // item by item
    std::vector<Range> m_items;       // by item: its part of m_filed
    std::vector<uint32_t> m_holders;  // by node: how many items it holds
};
