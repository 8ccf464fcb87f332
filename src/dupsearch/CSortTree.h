#pragma once
// The shape of a sorting tree: its nodes in order, the way down from the root, and the rule that rebuilds it.
//
// A sorting tree is a binary tree without rotations. It measures how many comparisons an insertion took
// against what a balanced tree of its size needs, and is rebuilt into a perfectly balanced one when the
// average since the last rebuild falls below 85 percent. Where values are equal within a tolerance, the node
// that a value joins depends on the way down: shape and counters are behaviour, not an implementation detail.
//
// A rebuilt tree is not stored link by link. It follows from the nodes in order: the root of a range lo..hi
// is the node at (lo + hi) / 2. Nodes made since the last rebuild hang below it by links, so that a rebuild
// puts only these in their place, which keeps ascending values (a rebuild every few insertions) cheap.
//
// What is put off: who knows a value's node by a hash, or that it needs one of its own, takes the node at once (Owe).
// Which node holds what is right from then on; the value's way down is owed, and with it the links of a new node, the
// counters and the rebuilds.
//
// When it is made up for: Settle sends what is owed down the tree, in the order in which it came, with every
// comparison that was left out; shape and counters are then what they would be had nothing been put off. It is called
// where these are used, and nowhere else: for a value that only the tree can place, when an item is taken out, and
// when the statistics are asked for (all of it in CCmpData). Where it says "nothing may be owed", call it first.
//
// Nodes are numbered in order of their making; the numbers stay, and what is filed under a node is its
// owner's. A comparator is int(node, bool& error): the value being placed against the node's; negative: it
// sorts before.

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "base/CGapArray.h"
#include "base/CHashIndex.h"
#include "base/room.h"

namespace dupsearch {

using base::kNone;  // no item, no node, no profile

struct TTreeStatistics {
    int nNodes = 0;          // distinct values
    int nItems = 0;          // successful insertions
    int nComparesTotal = 0;  // made by all successful insertions
    int nComparesLast = 0;   // made by the last insertion
    int nRebuilds = 0;
    double fLastEfficiency = 0.0;  // of the last insertion measured, percent
    int nMeasured = 0;             // insertions measured since the last rebuild
    double fEfficiencySum = 0.0;
    double fEfficiencyAvg = 0.0;

    bool operator==(const TTreeStatistics&) const = default;
};

class CSortTree {
  public:
    struct TParent {
        uint32_t node = kNone;
        bool right = false;
        bool balanced = true;
    };
    /// Where a value belongs, and what its insertion makes of the counters.
    struct TPlace {
        uint32_t node = kNone;  // NodeLimit() for one that is to be made; kNone: the comparator failed
        bool isNew = false;
        TParent parent;  // of a new node, the rank of its place among the balanced ones too
        size_t rank = 0;
        TTreeStatistics statistics;
    };

    /// Finds the place of a value. Nothing may be owed. The tree stays as it is, but for its shape where the
    /// next insertion rebuilds it in any case; there is room for Take then.
    template <typename Compare>
    TPlace Find(Compare&& compare) {
        return GoDown(compare, m_nNodeLimit);
    }
    /// Inserts a value where Find has found its place, with nothing inserted since.
    void Take(const TPlace& place) noexcept;

    /// A value belongs to this node, made for NodeLimit(); the way down is owed. True when it was made.
    bool Owe(uint32_t node) noexcept {
        if (node < m_nNodeLimit) return false;
        ++m_nNodeLimit;
        return true;
    }
    /// Makes up for what is owed: the nodes in the order in which Owe was given them, kNone among them
    /// standing for nothing, from the one on of which `settled` tells, which is counted up. compare:
    /// int(node, node), which is 0 for no two nodes.
    template <typename CompareNodes>
    void Settle(std::span<const uint32_t> nodes, size_t& settled, CompareNodes&& compare) {
        m_links.resize(m_nNodeLimit);
        for (; settled < nodes.size(); ++settled) {
            const uint32_t owed = nodes[settled];
            if (owed == kNone) continue;
            const auto order = [&](uint32_t node, bool&) { return node == owed ? 0 : compare(owed, node); };
            Take(GoDown(order, owed));
        }
    }

    /// Visits in order the nodes that compare equal, a range of neighbours: left branches are searched where
    /// the order is 0 or negative, right ones where it is 0 or positive. visit returns false to end the
    /// search. The result is false when the comparator reported an error, which ends the search too. Nothing
    /// may be owed.
    template <typename Compare, typename Visit>
    bool VisitRange(Compare&& compare, Visit&& visit) const {
        std::vector<TPending> pending{{Root(), kNone, 0}};
        while (!pending.empty()) {
            const TPending top = pending.back();
            pending.pop_back();
            if (top.node == kNone) {
                if (IsEnd(top.branch)) continue;
                const uint32_t node = NodeAt(top.branch);
                bool error = false;
                const int order = compare(node, error);
                if (error) return false;
                pending.push_back({top.branch, node, order});
                if (order <= 0) pending.push_back({Left(top.branch, node), kNone, 0});
                continue;
            }
            if (top.order == 0 && !visit(top.node)) return true;
            if (top.order >= 0) pending.push_back({Right(top.branch, top.node), kNone, 0});
        }
        return true;
    }

    /// All nodes in order. Nothing may be owed.
    std::vector<uint32_t> InOrder() const;

    /// Takes a node out and rebuilds what is left; its number is not given again. Nothing may be owed.
    void Erase(uint32_t node);
    /// Insertions taken back from nodes that stay.
    void ForgetInsertions(int items) { m_statistics.nItems -= items; }

    const TTreeStatistics& Statistics() const { return m_statistics; }
    /// One more than the highest node number given so far.
    uint32_t NodeLimit() const { return m_nNodeLimit; }

  private:
    struct TLinks {
        uint32_t left = kNone;
        uint32_t right = kNone;
    };
    /// A subtree: the balanced one over lo..hi (hi excluded), or, where that is empty, what hangs there.
    struct TBranch {
        size_t lo;
        size_t hi;
        uint32_t hanging;
    };
    /// Nodes made since the last rebuild, below an end of the balanced tree: between its nodes rank - 1 and
    /// rank.
    struct THanging {
        size_t rank;
        uint32_t top;
        uint32_t parent;
    };
    /// A subtree to search, or (node given) its root after its left side.
    struct TPending {
        TBranch branch;
        uint32_t node;
        int order;
    };

    /// `made`: the node to be made at the end of the way.
    template <typename Compare>
    TPlace GoDown(Compare&& compare, uint32_t made) {
        TPlace place;
        TTreeStatistics& s = place.statistics = m_statistics;
        if (WantsRebuild(s)) {
            Balance();
            CountRebuild(s);
        }
        s.nComparesLast = 0;
        TBranch at = Root();
        while (!IsEnd(at)) {
            const uint32_t node = NodeAt(at);
            bool error = false;
            ++s.nComparesLast;
            const int order = compare(node, error);
            if (error) return place;
            if (order == 0) {
                place.node = node;
                CountInsertion(s);
                return place;
            }
            place.parent = {node, order > 0, at.lo < at.hi};
            at = order < 0 ? Left(at, node) : Right(at, node);
        }
        place.node = made;
        place.isNew = true;
        place.rank = at.lo;
        CountInsertion(s);
        ++s.nNodes;
        base::MakeRoom(m_links, m_links.size() + 1);
        base::MakeRoom(m_hanging, m_hanging.size() + 1);
        return place;
    }

    TBranch Root() const { return {0, m_order.Size(), m_order.Size() == 0 ? m_nFirstRoot : kNone}; }
    static bool IsEnd(const TBranch& at) { return at.lo == at.hi && at.hanging == kNone; }
    static size_t Middle(const TBranch& at) { return (at.lo + at.hi - 1) / 2; }
    uint32_t NodeAt(const TBranch& at) const { return at.lo < at.hi ? m_order[Middle(at)] : at.hanging; }
    TBranch Left(const TBranch& at, uint32_t node) const {
        const uint32_t hanging = m_links[node].left;
        return at.lo < at.hi ? TBranch{at.lo, Middle(at), hanging} : TBranch{at.lo, at.lo, hanging};
    }
    TBranch Right(const TBranch& at, uint32_t node) const {
        const uint32_t hanging = m_links[node].right;
        return at.lo < at.hi ? TBranch{Middle(at) + 1, at.hi, hanging} : TBranch{at.lo, at.lo, hanging};
    }

    static bool WantsRebuild(TTreeStatistics& s);
    void CountRebuild(TTreeStatistics& s) const;
    static void CountInsertion(TTreeStatistics& s);
    void Balance();
    void AppendInOrder(uint32_t top, std::vector<uint32_t>& out) const;

    base::CGapArray<uint32_t> m_order;
    uint32_t m_nNodeLimit = 0;
    std::vector<TLinks> m_links;  // by node; none yet of nodes that are owed
    std::vector<THanging> m_hanging;
    uint32_t m_nFirstRoot = kNone;  // of a tree that was never rebuilt
    TTreeStatistics m_statistics;
};

}  // namespace dupsearch
