#pragma once
// One compared property of a search: the items whose value is filled, sorted into a tree, and those whose
// value is empty. An item that a comparator could not place is neither.
//
// The node of a value is found by a hash where one respects the comparison (most values: texts, times, small
// numbers), and its way down the tree is put off (CSortTree.h says what that is): matching asks for nodes alone. As
// soon as a value comes that has no such hash, or an item is taken out, the tree is settled and every value goes its
// way through it. A stream that begins as another one does and goes on otherwise is found by a hash of the whole.
//
// An item is filed in two steps: the first finds where it belongs and changes nothing, the second cannot fail.
//
// Owns the tree, the heads of streams and the look-up; values stay the items'. The definition and the hash of
// texts live as long as this, and the items of a comparison stay where they are.

#include <memory>
#include <memory_resource>
#include <optional>
#include <span>
#include <vector>

#include "base/CBlockMemory.h"
#include "compare/CDefinitions.h"
#include "compare/text_hash.h"
#include "dupsearch/CMultiPtrTree.h"
#include "dupsearch/comparators.h"
#include "dupsearch/CPtrTree.h"
#include "dupsearch/CStreamHead.h"

namespace dupsearch {

class CCmpData;

/// An element of a multi-valued derived value, to be filed under the mask of its kind.
struct TElement {
    uint32_t mask;
    const wchar_t* text;  // null where it is no text
    compare::CHash hash;
    uint32_t node = kNone;  // found; kNone: it cannot be filed
    bool isNew = false;     // the node is to be made for it
};

/// Where an item goes in one compared property.
struct TFiling {
    CCmpData* data = nullptr;
    bool empty = false;
    std::optional<SPropValue> value{};  // as this property compares it; none for a stream
    CStreamHead head{};                 // of a stream
    compare::CHash hash{};              // of the value or the head, where it is filed by one
    size_t nElements = 0;               // of a multi-valued value
    std::span<TElement> elements{};     // the same, once all are evaluated

    // Found.
    uint32_t node = kNone;                   // of a single value; kNone: it cannot be filed
    bool byHash = false;                     // without comparing
    bool isNew = false;                      // the node is to be made for it
    CSortTree::TPlace place{};               // of a single value that was compared
    std::unique_ptr<CSortTree> shape{};      // the tree with all elements in it, where these were compared
    CStreamHead kept{};                      // of a node to be made
    uint32_t alike = kNone;                  // a node whose head this one shares and that it is not
    compare::CHash whole{}, wholeOfAlike{};  // of their streams, where they are known by these from now on
};

class CCmpData {
  public:
    CCmpData(TComparyProp& definition, bool bMultiTree, compare::CTextHash& textHash);

    const TComparyProp& Definition() const { return *m_pDefinition; }
    void SetGroup(int nGroup) { m_pDefinition->nGroup = nGroup; }
    bool IsMultiTree() const { return m_bMultiTree; }
    bool IsDerived() const { return m_bDerived; }
    /// Equality is a range of times, not a node.
    bool IsRange() const {
        return !m_bMultiTree && m_pDefinition->nInterface == 0 &&
               m_pDefinition->nCompareMethod == cmApntApproxStart;
    }
    /// Whether a search of the range cannot fail: only times are filed.
    bool HasOnlyTimes() const { return m_bOnlyTimes; }

    /// What a value or a stream will be looked up by, where that is possible.
    compare::CHash HashOf(const SPropValue& value) const;
    compare::CHash HashOf(const CStreamHead& head) const;
    /// Appends the filled elements of a multi-valued value, looked up each by itself.
    void AppendElements(const items::TDerivedValue& derived, std::pmr::vector<TElement>& elements) const;

    /// Finds where an item that is added next belongs. What cannot be placed is logged and will not be filed.
    void Find(const TCompareContext& context, TFiling& filing);
    /// Files it there, with nothing filed since.
    void File(uint32_t item, const TFiling& filing) noexcept;
    /// Takes the item that was filed last out, wherever it is.
    void Remove(uint32_t item);

    bool IsEmpty(uint32_t item) const { return item < m_empties.size() && m_empties[item]; }
    bool IsFiled(uint32_t item) const {
        return m_bMultiTree ? !m_multiTree.NodesOf(item).empty() : m_tree.NodeOf(item) != kNone;
    }

    /// Of the tree, everything filed so far counted in.
    const TTreeStatistics& Statistics();
    const CPtrTree& Tree() const { return m_tree; }
    const CMultiPtrTree& MultiTree() const { return m_multiTree; }
    /// The value that stands for a node of the tree of plain values.
    const SPropValue& NodeValue(uint32_t node) const { return m_nodeValues[node]; }

    /// Visits the nodes whose starts lie within a day of a value's, its own first, which may be one that is to be
    /// made. False, and a line, when a value is no time. visit(node) returns false to end the search.
    template <typename Visit>
    bool FindEqualsInRange(uint32_t own, const SPropValue& value, Visit&& visit) const {
        const auto approx = [&](uint32_t node, bool& error) {
            return fnCompare_ApproxStart(&value, node == own ? &value : &m_nodeValues[node], error);
        };
        // A node to be made is not in the tree yet, where its value would be looked at.
        bool error = false;
        if (own == m_tree.NodeLimit()) approx(own, error);
        const bool done = !error && m_tree.VisitEqualsInRange(own, approx, visit);
        if (!done) LogRangeErrors();
        return done;
    }

  private:
    struct TSubValueNode {
        uint32_t item;
        uint32_t mask;
        const wchar_t* text;  // null where elements are no texts
    };

    struct TNodeHead {
        CStreamHead head;
        bool isShared = false;  // another node has the same
        bool inWholes = false;  // all nodes of this head are in m_wholes
    };
    struct TOutcome {
        uint32_t node = kNone;  // that was compared with
        int order = 0;
        bool error = false;
    };

    ECompareMethod ValueMethod() const { return dupsearch::ValueMethod(*m_pDefinition); }
    /// The comparison of a stream with the node's, from the heads where these tell.
    TOutcome CompareStreams(const TCompareContext& context, const CStreamHead& head, uint32_t node,
                            store::ComPtr<IMessage>* opened = nullptr) const;
    bool FindWhole(const TCompareContext& context, uint32_t alike, IMessage* messageOfAlike, TFiling& filing,
                   std::optional<TOutcome>& outcome);
    compare::CHash HashOfElement(const wchar_t* text) const;
    void FindValue(const TCompareContext& context, TFiling& filing);
    void FindStream(const TCompareContext& context, TFiling& filing);
    void FindElements(const TCompareContext& context, TFiling& filing);
    void FindByHash(std::span<TElement> elements);
    void FileElements(uint32_t item, const TFiling& filing) noexcept;
    void FindByComparing(const TCompareContext& context, TFiling& filing);
    int CompareNodes(uint32_t node, uint32_t other) const;
    int CompareWholes(uint32_t node, uint32_t other) const;
    void Settle();
    static void LogRangeErrors();

    CPtrTree m_tree;
    CMultiPtrTree m_multiTree;
    bool m_bMultiTree;
    bool m_bDerived;
    bool m_bOnlyTimes = true;
    std::vector<bool> m_empties;  // by item
    TComparyProp* m_pDefinition;

    // Beside each node: what stands for it in comparisons.
    std::vector<SPropValue> m_nodeValues;  // points into the first item's values
    std::vector<TNodeHead> m_nodeHeads;    // their bytes in m_headBytes
    base::CBlockMemory m_headBytes;
    std::vector<TSubValueNode> m_nodeSubValues;

    compare::CTextHash& m_textHash;
    base::CHashIndex m_nodes;    // by the hash of their value
    base::CHashIndex m_wholes;   // of streams that share their heads, by the hash of the whole
    CItems* m_pItems = nullptr;  // whose streams are filed
    const items::CDefinedTags* m_pTags = nullptr;
    bool m_bHashed = true;  // all nodes are in m_nodes
    ULONG m_nHashedType = PT_UNSPECIFIED;
};

}  // namespace dupsearch
