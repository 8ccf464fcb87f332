#pragma once
// One compared property of a search: the items whose value is filled, sorted into a tree, and those whose
// value is empty. An item that a comparator could not place is neither.

#include <vector>

#include "compare/CDefinitions.h"
#include "dupsearch/CMultiPtrTree.h"
#include "dupsearch/CPtrTree.h"
#include "dupsearch/CStreamHead.h"
#include "dupsearch/CTextKeys.h"
#include "dupsearch/comparators.h"

class CCmpData {
  public:
    CCmpData(TComparyProp& definition, bool bMultiTree)
        : m_bMultiTree(bMultiTree), m_bDerived(::IsDerived(definition)), m_definition(&definition) {}

    const TComparyProp& Definition() const { return *m_definition; }
    void SetGroup(int nGroup) { m_definition->nGroup = nGroup; }
    bool IsMultiTree() const { return m_bMultiTree; }
    bool IsDerived() const { return m_bDerived; }
    /// Equality is a range of times, not a node.
    bool IsRange() const {
        return !m_bMultiTree && m_definition->nInterface == 0 &&
               m_definition->nCompareMethod == cmApntApproxStart;
    }
    /// Whether a search of the range cannot fail: only times are filed.
    bool HasOnlyTimes() const { return m_bOnlyTimes; }

    // Filing. Each puts a filled value into the tree; what cannot be placed is logged and left out.
    void FileValue(const TCompareContext& context);
    void FileStream(const TCompareContext& context);
    /// Files each filled element under the mask of its kind; false when none was filed.
    bool multitreeItems_Add(const TCompareContext& context);
    void AddEmpty(uint32_t item);
    /// Takes the item that was filed last out, wherever it is.
    void Remove(uint32_t item);

    bool IsEmpty(uint32_t item) const { return item < m_empties.size() && m_empties[item]; }
    bool IsFiled(uint32_t item) const {
        return m_bMultiTree ? !m_multiTree.NodesOf(item).empty() : m_tree.NodeOf(item) != kNone;
    }

    const CPtrTree& Tree() const { return m_tree; }
    const CMultiPtrTree& MultiTree() const { return m_multiTree; }
    /// The value that stands for a node of the tree of plain values.
    const SPropValue& NodeValue(uint32_t node) const { return m_nodeValues[node]; }

    /// Visits the nodes whose starts lie within a day of the item's, its own first. False, and a line, when a
    /// value is no time. visit(node) returns false to end the search.
    template <typename Visit>
    bool FindEqualsInRange(uint32_t item, Visit&& visit) const {
        const uint32_t own = m_tree.NodeOf(item);
        const auto approx = [&](uint32_t node, bool& error) {
            return fnCompare_ApproxStart(&m_nodeValues[own], &m_nodeValues[node], error);
        };
        const bool done = m_tree.VisitEqualsInRange(item, approx, visit);
        if (!done) LogRangeErrors();
        return done;
    }

  private:
    struct SubValueNode {
        uint32_t item;
        uint32_t mask;
    };

    bool FileElement(const TCompareContext& context, const TSubValue& subValue);
    static void LogRangeErrors();

    CPtrTree m_tree;
    CMultiPtrTree m_multiTree;
    bool m_bMultiTree;
    bool m_bDerived;
    bool m_bOnlyTimes = true;
    std::vector<bool> m_empties;  // by item
    TComparyProp* m_definition;

    // Beside each node: what stands for it in comparisons.
    std::vector<SPropValue> m_nodeValues;  // points into the first item's values
    std::vector<CStreamHead> m_nodeHeads;
    std::vector<SubValueNode> m_nodeSubValues;
    CTextKeys m_textKeys;
};
