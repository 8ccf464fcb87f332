#include "dupsearch/CCmpData.h"

#include <algorithm>
#include <cwchar>
#include <span>

#include "base/mapi_extra.h"
#include "compare/CDefinitions.h"
#include "compare/item_compare.h"
#include "compare/string_compare.h"
#include "compare/value_compare.h"
#include "compare/value_hash.h"
#include "compare/value_operations.h"
#include "log/CLog.h"

namespace dupsearch {

using compare::CHash;
using compare::CTextHash;
using enum compare::EPropEx;
using items::TDerivedValue;
using logging::g_Log;
using store::ComPtr;

namespace {

constexpr char kCompareTag[] = "CDuplicateSearch.fnCompare";

bool AreIdentical(const wchar_t* a, const wchar_t* b) {
    return a && b && std::wcscmp(a, b) == 0;
}

/// Whether two values of one type are the same; false for types that this does not compare.
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
/// expensive.
bool AreEqual(const SPropValue& a, const SPropValue& b, ECompareMethod method) {
    if (AreIdentical(a, b)) return true;
    long order = 1;
    return compare::ComparePropValues(&a, &b, &order, method) && order == 0;
}

/// Sets what belongs to a node; there is room.
template <typename T>
void Set(std::vector<T>& values, uint32_t node, const T& value) noexcept {
    if (node >= values.size()) values.resize(size_t{node} + 1);
    values[node] = value;
}

}  // namespace

CCmpData::CCmpData(TComparyProp& definition, bool bMultiTree, CTextHash& textHash)
    : m_bMultiTree(bMultiTree),
      m_bDerived(compare::IsDerived(definition)),
      m_pDefinition(&definition),
      m_textHash(textHash) {}

void CCmpData::Remove(uint32_t item) {
    // A node may go.
    if (IsFiled(item)) {
        Settle();
        m_bHashed = false;
    }
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
    if (m_pDefinition->nInterface == 1) {
        int heads = 0;
        if (!CStreamHead::Compare(m_nodeHeads[node].head, m_nodeHeads[other].head, m_pDefinition->ulPropTag,
                                  &heads))
            return CompareWholes(node, other);
        order = heads;
    } else if (m_bMultiTree) {
        order =
            compare::LPCWSTR_Compare(m_nodeSubValues[node].text, m_nodeSubValues[other].text, ValueMethod());
    } else {
        compare::ComparePropValues(&m_nodeValues[node], &m_nodeValues[other], &order, ValueMethod());
    }
    return static_cast<int>(order);
}

/// Two streams of one head, known to differ; in order of their nodes where they cannot be read any more.
int CCmpData::CompareWholes(uint32_t node, uint32_t other) const {
    const auto open = [this](uint32_t n) {
        return m_pItems->Open((*m_pItems)[m_tree.FirstOf(n)], kCompareTag);
    };
    const ComPtr<IMessage> a = open(node), b = open(other);
    long order = 0;
    bool bCmpWritten = false;
    const auto tagOf = [this](uint32_t n) {
        return TagIn((*m_pItems)[m_tree.FirstOf(n)], m_pDefinition->ulPropTag, m_pTags);
    };
    if (a && b) compare::CompareStreamProp(a.Get(), tagOf(node), b.Get(), tagOf(other), &order, &bCmpWritten);
    if (!bCmpWritten || order == 0) return node < other ? -1 : 1;
    return static_cast<int>(order);
}

void CCmpData::Settle() {
    const auto compare = [this](uint32_t node, uint32_t other) { return CompareNodes(node, other); };
    m_tree.Settle(compare);
    m_multiTree.Settle(compare);
}

CHash CCmpData::HashOf(const SPropValue& value) const {
    // A range is searched for in the tree; a derived value is looked up anew for each comparison.
    if (!m_bHashed || m_bDerived || IsRange()) return std::nullopt;
    if (m_nHashedType != PT_UNSPECIFIED && m_nHashedType != PROP_TYPE(value.ulPropTag)) return std::nullopt;
    return compare::HashValue(value, ValueMethod(), m_textHash);
}

CHash CCmpData::HashOf(const CStreamHead& head) const {
    return m_bHashed ? head.Hash(m_pDefinition->ulPropTag, m_textHash) : std::nullopt;
}

void CCmpData::Find(const TCompareContext& context, TFiling& filing) {
    const uint32_t item = context.item.nIndex;
    base::MakeRoom(m_empties, size_t{item} + 1);
    if (filing.empty) return;
    if (!filing.value) {
        FindStream(context, filing);
    } else if (m_bMultiTree) {
        FindElements(context, filing);
        return;
    } else {
        FindValue(context, filing);
    }
    m_tree.MakeRoomFor(item);
    if (!filing.isNew) return;
    if (filing.byHash) m_nodes.MakeRoomFor(filing.node);
    if (filing.value) {
        base::MakeRoom(m_nodeValues, size_t{filing.node} + 1);
    } else {
        base::MakeRoom(m_nodeHeads, size_t{filing.node} + 1);
        filing.kept = filing.head.Kept(m_pDefinition->ulPropTag, m_headBytes);
    }
}

void CCmpData::File(uint32_t item, const TFiling& filing) noexcept {
    if (filing.empty) {
        if (item >= m_empties.size()) m_empties.resize(size_t{item} + 1);
        m_empties[item] = true;
        return;
    }
    if (m_bMultiTree) {
        FileElements(item, filing);
        return;
    }
    if (filing.value) m_nHashedType = PROP_TYPE(filing.value->ulPropTag);
    if (filing.byHash) {
        m_tree.FileKnown(item, filing.node);
    } else {
        m_tree.File(item, filing.place);
    }
    if (!filing.hash) m_bHashed = false;
    if (!filing.isNew) return;
    if (filing.alike != kNone) {
        TNodeHead& alike = m_nodeHeads[filing.alike];
        if (filing.wholeOfAlike) m_wholes.Enter(*filing.wholeOfAlike, filing.alike);
        if (filing.whole) m_wholes.Enter(*filing.whole, filing.node);
        alike.inWholes = static_cast<bool>(filing.whole);
        alike.isShared = true;
    } else if (filing.byHash) {
        m_nodes.Enter(*filing.hash, filing.node);
    }
    if (filing.value) {
        Set(m_nodeValues, filing.node, *filing.value);
        if (m_nHashedType != PT_SYSTIME) m_bOnlyTimes = false;
    } else {
        Set(m_nodeHeads, filing.node, {filing.kept});
    }
}

void CCmpData::FileElements(uint32_t item, const TFiling& filing) noexcept {
    if (filing.shape) {
        m_multiTree.SetShape(std::move(*filing.shape));
        m_bHashed = false;
    }
    for (const TElement& element : filing.elements) {
        if (element.node == kNone) continue;
        if (filing.shape) {
            m_multiTree.FileAt(item, element.mask, element.node);
        } else {
            m_multiTree.FileKnown(item, element.mask, element.node);
        }
        if (!element.isNew) continue;
        if (!filing.shape) m_nodes.Enter(*element.hash, element.node);
        Set(m_nodeSubValues, element.node, {item, element.mask, filing.shape ? nullptr : element.text});
    }
}

void CCmpData::FindValue(const TCompareContext& context, TFiling& filing) {
    const SPropValue& value = *context.pPropValue;
    if (filing.hash) {
        filing.byHash = true;
        filing.node = m_nodes.Find(
            *filing.hash, [&](uint32_t node) { return AreEqual(value, m_nodeValues[node], ValueMethod()); });
        filing.isNew = filing.node == kNone;
        if (filing.isNew) filing.node = m_tree.NodeLimit();
        return;
    }
    Settle();
    filing.place = m_tree.Find([&](uint32_t node, bool& error) {
        const uint32_t other = m_tree.FirstOf(node);
        if (!m_bDerived) return fnCompare(context, &m_nodeValues[node], other, error);
        const TDerivedValue* found = FindDerived(context.items[other], value.ulPropTag);
        return fnCompare(context, found ? found->value : nullptr, other, error);
    });
    filing.node = filing.place.node;
    filing.isNew = filing.place.isNew;
}

// A head tells streams apart, and equal ones only where it is the whole of both. Where it does not tell, the
// items' streams are compared.
CCmpData::TOutcome CCmpData::CompareStreams(const TCompareContext& context, const CStreamHead& head,
                                            uint32_t node, ComPtr<IMessage>* opened) const {
    TOutcome outcome{node};
    if (!CStreamHead::Compare(head, m_nodeHeads[node].head, m_pDefinition->ulPropTag, &outcome.order))
        outcome.order = fnCompareStream(context, m_tree.FirstOf(node), outcome.error, opened);
    return outcome;
}

/// Finds the node of a stream among those of its head, or that it needs one of its own, by the hashes of whole
/// streams. False where that cannot be decided; a comparison that was made for that is handed out. messageOfAlike:
/// the first item of that head, while no other has it.
bool CCmpData::FindWhole(const TCompareContext& context, uint32_t alike, IMessage* messageOfAlike,
                         TFiling& filing, std::optional<TOutcome>& outcome) {
    const TNodeHead& first = m_nodeHeads[alike];
    if (first.isShared && !first.inWholes) return false;
    filing.whole = compare::HashStreamProp(context.lpMessage, context.TagOf(context.item), m_textHash);
    if (!filing.whole) return false;
    if (first.isShared) {
        filing.node = m_wholes.Find(*filing.whole, [&](uint32_t node) {
            if (outcome && outcome->error) return false;
            outcome = CompareStreams(context, filing.head, node);
            return outcome->order == 0 && !outcome->error;
        });
        if (outcome && outcome->error) return false;
    } else {
        if (messageOfAlike) {
            const TItem& other = context.items[m_tree.FirstOf(alike)];
            filing.wholeOfAlike = compare::HashStreamProp(messageOfAlike, context.TagOf(other), m_textHash);
        }
        if (!filing.wholeOfAlike) return false;
    }
    filing.isNew = filing.node == kNone;
    if (!filing.isNew) return true;
    filing.node = m_tree.NodeLimit();
    m_wholes.MakeRoomFor(filing.node);
    return true;
}

void CCmpData::FindStream(const TCompareContext& context, TFiling& filing) {
    const ULONG tag = m_pDefinition->ulPropTag;
    const CStreamHead& head = filing.head;
    m_pItems = &context.items;
    m_pTags = context.tags;
    std::optional<TOutcome> outcome;
    if (filing.hash) {
        // The node of this head, the first one if several have it.
        const uint32_t alike = m_nodes.Find(*filing.hash, [&](uint32_t node) {
            int order = 0;
            CStreamHead::Compare(head, m_nodeHeads[node].head, tag, &order);
            return order == 0;
        });
        filing.byHash = true;
        filing.isNew = alike == kNone;
        if (filing.isNew) {
            filing.node = m_tree.NodeLimit();
            return;
        }
        ComPtr<IMessage> opened;
        if (!m_nodeHeads[alike].isShared) {
            outcome = CompareStreams(context, head, alike, &opened);
            if (outcome->order == 0 && !outcome->error) {
                filing.node = alike;
                return;
            }
        }
        filing.alike = alike;
        if (!(outcome && outcome->error) && FindWhole(context, alike, opened.Get(), filing, outcome)) return;
        filing.byHash = false;
        filing.whole = filing.wholeOfAlike = std::nullopt;
    }
    // Its way through the tree, on which the node lies that it was compared with.
    Settle();
    filing.place = m_tree.Find([&](uint32_t node, bool& error) {
        const TOutcome found =
            outcome && outcome->node == node ? *outcome : CompareStreams(context, head, node);
        error = found.error;
        return found.order;
    });
    filing.node = filing.place.node;
    filing.isNew = filing.place.isNew;
}

CHash CCmpData::HashOfElement(const wchar_t* text) const {
    if (!m_bHashed || !text) return std::nullopt;
    return compare::HashText(text, ValueMethod(), m_textHash);
}

void CCmpData::AppendElements(const TDerivedValue& derived, std::pmr::vector<TElement>& elements) const {
    const SPropValue& value = *derived.value;
    const bool isText = PROP_TYPE(value.ulPropTag) == PT_MV_UNICODE;
    for (ULONG i = 0; i < value.Value.MVszW.cValues && i < compare::kPhoneKinds; ++i) {
        // 1 for an element that holds a character.
        if (!compare::PV_IsSubEmpty(value.Value, static_cast<int>(i), PROP_TYPE(value.ulPropTag))) continue;
        const wchar_t* const text = isText ? value.Value.MVszW.lppszW[i] : nullptr;
        elements.push_back({1u << derived.kinds[i], text, HashOfElement(text)});
    }
}

/// Elements of one item may be equal to each other.
void CCmpData::FindByHash(std::span<TElement> elements) {
    uint32_t limit = m_multiTree.NodeLimit();
    for (size_t i = 0; i < elements.size(); ++i) {
        TElement& element = elements[i];
        const auto isEqual = [&](const wchar_t* other) {
            return AreIdentical(element.text, other) ||
                   compare::LPCWSTR_Compare(element.text, other, ValueMethod()) == 0;
        };
        element.node =
            m_nodes.Find(*element.hash, [&](uint32_t node) { return isEqual(m_nodeSubValues[node].text); });
        for (size_t k = 0; k < i && element.node == kNone; ++k) {
            if (elements[k].isNew && elements[k].hash == element.hash && isEqual(elements[k].text))
                element.node = elements[k].node;
        }
        if (element.node != kNone) continue;
        element.isNew = true;
        element.node = limit++;
    }
    if (limit > m_multiTree.NodeLimit()) m_nodes.MakeRoomFor(limit - 1);
}

/// Each element is one of those that the next is compared with: they are placed in a copy of the tree.
void CCmpData::FindByComparing(const TCompareContext& context, TFiling& filing) {
    Settle();
    filing.shape = std::make_unique<CSortTree>(m_multiTree.Shape());
    const TDerivedValue& derived = *FindDerived(context.item, context.pPropValue->ulPropTag);
    const uint32_t limit = m_multiTree.NodeLimit();
    for (TElement& element : filing.elements) {
        const auto place = filing.shape->Find([&](uint32_t node, bool& error) {
            if (node >= limit) {
                const auto made = std::ranges::find(filing.elements, node, &TElement::node);
                return fnCompareSubValues(context, {derived, element.mask}, {derived, made->mask}, error);
            }
            const TSubValueNode& first = m_nodeSubValues[node];
            const TDerivedValue* other =
                FindDerived(context.items[first.item], context.pPropValue->ulPropTag);
            return fnCompareSubValues(context, {derived, element.mask}, {*other, first.mask}, error);
        });
        filing.shape->Take(place);
        element.node = place.node;
        element.isNew = place.isNew;
    }
}

void CCmpData::FindElements(const TCompareContext& context, TFiling& filing) {
    constexpr char kTag[] = "CDuplicateSearch.multitreeItems_Add";
    const wchar_t* const key = compare::KeyOf(*m_pDefinition);
    const int id = m_pDefinition->nID;
    const std::span<TElement> elements = filing.elements;
    const TDerivedValue* derived =
        context.pPropValue ? FindDerived(context.item, context.pPropValue->ulPropTag) : nullptr;
    filing.elements = {};
    if (!m_bMultiTree) {
        g_Log.ErrorW(kTag, L"m_bMultiTree == false for Prop(key=%s)\n", key);
        return;
    }
    if (!derived || !m_bDerived) {
        g_Log.ErrorW(kTag, L"Prop(key=%s) is not PropEx\n", key);
        return;
    }
    if (id < int{propexAnyAddress} || id > int{propexAnyPhone}) {
        g_Log.ErrorW(kTag, L"Prop(key=%s, nID=%d) is not clpr*Any*\n", key, id);
        return;
    }
    filing.elements = elements;
    if (m_bHashed && std::ranges::all_of(elements, [](const TElement& e) { return bool(e.hash); })) {
        FindByHash(elements);
    } else {
        FindByComparing(context, filing);
    }
    m_multiTree.MakeRoomFor(context.item.nIndex, elements.size());
    base::MakeRoom(m_nodeSubValues, m_multiTree.NodeLimit() + elements.size());
    const auto failed = std::ranges::count(elements, kNone, &TElement::node);
    if (failed == std::ssize(elements)) {
        g_Log.ErrorW(kTag, L"Cant add values for prop(key=%s,nID=%d)\n", key, id);
    } else if (failed != 0) {
        g_Log.ErrorW(kTag, L"Cant add some values for item.prop(key=%s,nID=%d)\n", key, id);
    }
}

void CCmpData::LogRangeErrors() {
    g_Log.Error("CCmpData.FindEqualsInRange", "Was errors\n");
}

}  // namespace dupsearch
