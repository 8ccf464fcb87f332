#pragma once
// The sorting tree of a single-valued property: items whose values compare equal share a node.
//
// Items are known by their number in order of addition (nIndex). The tree owns no values: the comparator
// knows the new item, and what belongs to a node (its first item's value) is kept by the tree's user under
// the node's number. NodeOf, FirstOf and FindEquals are right while the tree is owed something (see CSortTree.h);
// all else waits for Settle.

#include <vector>

#include "dupsearch/CSortTree.h"

namespace dupsearch {

class CPtrTree {
  public:
    /// Where a value belongs: CSortTree's Find. Nothing may be owed. compare: int(node, bool& error), the value
    /// against that of the node's first item.
    template <typename Compare>
    CSortTree::TPlace Find(Compare&& compare) {
        return m_tree.Find(compare);
    }
    /// Makes room, so that filing this item cannot fail.
    void MakeRoomFor(uint32_t item) {
        base::MakeRoom(m_nodes, size_t{item} + 1);
        base::MakeRoom(m_firsts, size_t{NodeLimit()} + 1);
    }
    /// Files an item added after all that are filed at the place found; one without a node stays unfiled.
    void File(uint32_t item, const CSortTree::TPlace& place) noexcept;
    /// The same for an item whose node is known, NodeLimit() for one that needs a node of its own; its way down is
    /// owed.
    void FileKnown(uint32_t item, uint32_t node) noexcept {
        m_tree.Owe(node);
        Append(node, item);
    }
    /// compare: int(node, node), as for CSortTree.
    template <typename CompareNodes>
    void Settle(CompareNodes&& compare) {
        m_tree.Settle(m_nodes, m_nSettled, compare);
    }
    /// Finds the place of an item and files it there.
    template <typename Compare>
    CSortTree::TPlace Insert(uint32_t item, Compare&& compare) {
        const CSortTree::TPlace place = Find(compare);
        MakeRoomFor(item);
        File(item, place);
        return place;
    }

    /// The item's node, kNone for an item that is not filed.
    uint32_t NodeOf(uint32_t item) const { return item < m_nodes.size() ? m_nodes[item] : kNone; }
    uint32_t FirstOf(uint32_t node) const { return m_firsts[node]; }

    /// The items of the item's node in order of addition, the item among them; none for an item that is not
    /// filed. Looks at all items: matching works on nodes.
    std::vector<uint32_t> FindEquals(uint32_t item) const;

    /// For an equality that is a range: visits a value's own node, then every other node that compares equal, as
    /// CSortTree::VisitRange does. False when the comparator reported an error.
    template <typename Compare, typename Visit>
    bool VisitEqualsInRange(uint32_t own, Compare&& compare, Visit&& visit) const {
        if (own == kNone || !visit(own)) return true;
        return m_tree.VisitRange(compare, [&](uint32_t node) { return node == own || visit(node); });
    }

    /// Takes an item out; one that is not filed is ignored. A node that held nothing else goes with it. Nothing
    /// may be owed, and from then on nothing is filed by FileKnown.
    void Remove(uint32_t item);

    std::vector<uint32_t> NodesInOrder() const { return m_tree.InOrder(); }
    uint32_t NodeLimit() const { return m_tree.NodeLimit(); }
    const TTreeStatistics& Statistics() const { return m_tree.Statistics(); }

  private:
    void Append(uint32_t node, uint32_t item) noexcept;

    CSortTree m_tree;
    std::vector<uint32_t> m_nodes;   // by item
    size_t m_nSettled = 0;           // items of which nothing is owed
    std::vector<uint32_t> m_firsts;  // by node; kNone when it is gone
};

}  // namespace dupsearch
