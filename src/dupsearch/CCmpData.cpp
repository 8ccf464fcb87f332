#include "dupsearch/CCmpData.h"

#include <span>

#include "compare/string_compare.h"
#include "compare/value_compare.h"
#include "compare/value_hash.h"
#include "store/text_scan.h"
#include "compare/CDefinitions.h"
#include "dupsearch/value_override.h"
#include "log/CLog.h"
#include "store/mapi_extra.h"

namespace {

bool AreIdentical(const wchar_t* a, const wchar_t* b) {
    return a && b && scan::AreIdentical(a, b);
}

/// Whether two values of one type are the same; false for types of which that is not told.
bool AreIdentical(const SPropValue& a, const SPropValue& b) {
    switch (PROP_TYPE(a.ulPropTag)) {
        case PT_UNICODE:
            return AreIdentical(a.Value.lpszW, b.Value.lpszW);
        case PT_SYSTIME:
            return a.Value.li.QuadPart == b.Value.li.QuadPart;
        case PT_LONG:
            return a.Value.l == b.Value.l;
        default:
            return false;
    }
}

/// Whether two values of one type are equal. Most values that are equal are identical, and the comparison is
/// dear.
bool AreEqual(const SPropValue& a, const SPropValue& b, ECompareMethod method) {
    if (AreIdentical(a, b)) return true;
    long order = 1;
    return compare::ComparePropValues(&a, &b, &order, method) && order == 0;
}

template <typename T>
void Set(std::vector<T>& values, uint32_t node, T value) {
    if (node > values.size()) values.resize(node);
    if (node == values.size()) {
        values.push_back(std::move(value));
    } else {
        values[node] = std::move(value);
    }
}

}  // namespace

CCmpData::CCmpData(TComparyProp& definition, bool bMultiTree, CTextHash& textHash)
    : m_bMultiTree(bMultiTree),
      m_bDerived(::IsDerived(definition)),
      m_bOverridden(::IsOverridden(definition)),
      m_definition(&definition),
      m_textHash(textHash) {}

void CCmpData::AddEmpty(uint32_t item) {
    if (item >= m_empties.size()) m_empties.resize(item + 1);
    m_empties[item] = true;
}

void CCmpData::Remove(uint32_t item) {
    // A node may go.
    if (IsFiled(item)) EndHashing();
    m_tree.Remove(item);
    m_multiTree.Remove(item);
    if (item < m_empties.size()) m_empties[item] = false;
}

const TTreeStatistics& CCmpData::Statistics() {
    Settle();
    return m_bMultiTree ? m_multiTree.Statistics() : m_tree.Statistics();
}

// Only what has a hash is owed: comparing such values puts all of them in order, and writes no line.
int CCmpData::CompareNodes(uint32_t node, uint32_t other) const {
    long order = 0;
    if (m_definition->nInterface == 1) {
        int heads = 0;
        CStreamHead::Compare(m_nodeHeads[node].head, m_nodeHeads[other].head, m_definition->ulPropTag,
                             &heads);
        order = heads;
    } else if (m_bMultiTree) {
        order = LPCWSTR_Compare(m_nodeSubValues[node].text, m_nodeSubValues[other].text, ValueMethod());
    } else {
        compare::ComparePropValues(&m_nodeValues[node], &m_nodeValues[other], &order, ValueMethod());
    }
    return static_cast<int>(order);
}

void CCmpData::Settle() {
    const auto compare = [this](uint32_t node, uint32_t other) { return CompareNodes(node, other); };
    m_tree.Settle(compare);
    m_multiTree.Settle(compare);
}

void CCmpData::EndHashing() {
    Settle();
    m_bHashed = false;
}

THash CCmpData::HashOf(const SPropValue& value) const {
    // A range is searched for in the tree; a derived value is looked up anew for each comparison.
    if (!m_bHashed || m_bDerived || IsRange()) return std::nullopt;
    if (m_hashedType != PT_UNSPECIFIED && m_hashedType != PROP_TYPE(value.ulPropTag)) return std::nullopt;
    const THash hash = compare::HashValue(value, ValueMethod(), m_textHash);
    if (hash) m_nodes.Prepare(*hash);
    return hash;
}

THash CCmpData::HashOf(const CStreamHead& head) const {
    const THash hash = m_bHashed ? head.Hash(m_definition->ulPropTag, m_textHash) : std::nullopt;
    if (hash) m_nodes.Prepare(*hash);
    return hash;
}

void CCmpData::Prepare(THash hash) const {
    const uint32_t node = hash ? m_nodes.Expected(*hash) : kNone;
    if (node < m_nodeValues.size()) __builtin_prefetch(&m_nodeValues[node]);
}

void CCmpData::FileValue(const TCompareContext& context, THash hash) {
    const SPropValue& value = *context.pPropValue;
    const uint32_t item = context.item.nIndex;
    m_hashedType = PROP_TYPE(value.ulPropTag);
    CPtrTree::Inserted inserted;
    if (hash) {
        const auto isEqual = [&](uint32_t node) {
            return AreEqual(value, m_nodeValues[node], ValueMethod());
        };
        inserted = m_tree.InsertKnown(item, m_nodes.FindOrEnter(*hash, m_tree.NodeLimit(), isEqual));
    } else {
        EndHashing();
        inserted = m_tree.Insert(item, [&](uint32_t node, bool& error) {
            const uint32_t other = m_tree.FirstOf(node);
            if (!m_bDerived) return fnCompare(context, &m_nodeValues[node], other, error);
            const TDerivedValue* found = FindDerived(context.items[other], value.ulPropTag);
            return fnCompare(context, found ? found->value : nullptr, other, error);
        });
    }
    if (inserted.node == kNone || inserted.equal) return;
    Set(m_nodeValues, inserted.node, value);
    if (PROP_TYPE(value.ulPropTag) != PT_SYSTIME) m_bOnlyTimes = false;
}

// A head tells streams apart, and equal ones only where it is the whole of both. Where it does not tell, the
// items' streams are compared.
bool CCmpData::Joins(const TCompareContext& context, const CStreamHead& head, uint32_t node,
                     std::optional<TOutcome>& outcome) const {
    const TNodeHead& other = m_nodeHeads[node];
    if (other.isShared) return false;
    int order;
    if (CStreamHead::Compare(head, other.head, m_definition->ulPropTag, &order)) return order == 0;
    outcome.emplace();
    outcome->order = fnCompareStream(context, m_tree.FirstOf(node), outcome->error);
    return outcome->order == 0 && !outcome->error;
}

void CCmpData::FileStream(const TCompareContext& context, const CStreamHead& head, THash hash) {
    const ULONG tag = m_definition->ulPropTag;
    const uint32_t item = context.item.nIndex, newNode = m_tree.NodeLimit();
    uint32_t alike = kNone;  // the node of this head, the first one if several have it
    std::optional<TOutcome> outcome;
    if (hash) {
        alike = m_nodes.FindOrEnter(*hash, newNode, [&](uint32_t node) {
            int order = 0;
            CStreamHead::Compare(head, m_nodeHeads[node].head, tag, &order);
            return order == 0;
        });
        if (alike == newNode || Joins(context, head, alike, outcome)) {
            m_tree.InsertKnown(item, alike);
            if (alike == newNode) Set(m_nodeHeads, newNode, {head.Kept(tag, m_headBytes)});
            return;
        }
    } else {
        EndHashing();
    }
    // Its way through the tree, which comes by the node that it was compared with.
    Settle();
    const auto [node, equal] = m_tree.Insert(item, [&](uint32_t other, bool& error) {
        int order;
        if (CStreamHead::Compare(head, m_nodeHeads[other].head, tag, &order)) return order;
        if (!outcome) return fnCompareStream(context, m_tree.FirstOf(other), error);
        error = outcome->error;
        return outcome->order;
    });
    if (node == kNone || equal) return;
    Set(m_nodeHeads, node, {head.Kept(tag, m_headBytes)});
    if (alike != kNone) m_nodeHeads[alike].isShared = true;
}

THash CCmpData::HashOfElement(const wchar_t* text) const {
    if (!m_bHashed || !text) return std::nullopt;
    const THash hash = compare::HashText(text, ValueMethod(), m_textHash);
    if (hash) m_nodes.Prepare(*hash);
    return hash;
}

void CCmpData::AppendElements(const TDerivedValue& derived, std::vector<TElement>& elements) const {
    const SPropValue& value = *derived.value;
    const bool isText = PROP_TYPE(value.ulPropTag) == PT_MV_UNICODE;
    for (ULONG i = 0; i < value.Value.MVszW.cValues && i < kPhoneKinds; ++i) {
        // 1 for an element that holds a character.
        if (!PV_IsSubEmpty(value.Value, static_cast<int>(i), PROP_TYPE(value.ulPropTag))) continue;
        const wchar_t* const text = isText ? value.Value.MVszW.lppszW[i] : nullptr;
        elements.push_back({1u << derived.kinds[i], text, HashOfElement(text)});
    }
}

bool CCmpData::FileElement(const TCompareContext& context, const TDerivedValue& derived,
                           const TElement& element) {
    const uint32_t item = context.item.nIndex;
    const bool hashed = m_bHashed && element.hash;
    CMultiPtrTree::Inserted inserted;
    if (hashed) {
        const auto isEqual = [&](uint32_t node) {
            const wchar_t* const other = m_nodeSubValues[node].text;
            return AreIdentical(element.text, other) ||
                   LPCWSTR_Compare(element.text, other, ValueMethod()) == 0;
        };
        inserted = m_multiTree.InsertKnown(
            item, element.mask, m_nodes.FindOrEnter(*element.hash, m_multiTree.NodeLimit(), isEqual));
    } else {
        EndHashing();
        inserted = m_multiTree.Insert(item, element.mask, [&](uint32_t node, bool& error) {
            const SubValueNode& first = m_nodeSubValues[node];
            const TDerivedValue* other =
                FindDerived(context.items[first.item], context.pPropValue->ulPropTag);
            return fnCompareSubValues(context, {derived, element.mask}, {*other, first.mask}, error);
        });
    }
    if (inserted.node == kNone || inserted.equal) return inserted.node != kNone;
    Set(m_nodeSubValues, inserted.node, {item, element.mask, hashed ? element.text : nullptr});
    return true;
}

bool CCmpData::multitreeItems_Add(const TCompareContext& context, std::span<const TElement> elements) {
    constexpr char kTag[] = "CDuplicateSearch.multitreeItems_Add";
    const wchar_t* const key = KeyOf(*m_definition);
    const int id = m_definition->nID;
    if (!m_bMultiTree) {
        g_Log.ErrorW(kTag, L"m_bMultiTree == false for Prop(key=%s)\n", key);
        return false;
    }
    const TDerivedValue* derived =
        context.pPropValue ? FindDerived(context.item, context.pPropValue->ulPropTag) : nullptr;
    if (!derived || !m_bDerived) {
        g_Log.ErrorW(kTag, L"Prop(key=%s) is not PropEx\n", key);
        return false;
    }
    if (id < int{propexAnyAddress} || id > int{propexAnyPhone}) {
        g_Log.ErrorW(kTag, L"Prop(key=%s, nID=%d) is not clpr*Any*\n", key, id);
        return false;
    }
    int filed = 0, failed = 0;
    for (const TElement& element : elements) {
        ++(FileElement(context, *derived, element) ? filed : failed);
    }
    if (filed == 0) {
        g_Log.ErrorW(kTag, L"Cant add values for prop(key=%s,nID=%d)\n", key, id);
    } else if (failed != 0) {
        g_Log.ErrorW(kTag, L"Cant add some values for item.prop(key=%s,nID=%d)\n", key, id);
    }
    return filed != 0;
}

void CCmpData::LogRangeErrors() {
    g_Log.Error("CCmpData.FindEqualsInRange", "Was errors\n");
}
