#include "dupsearch/CCmpData.h"

#include "compare/value_compare.h"
#include "compare/CDefinitions.h"
#include "log/CLog.h"
#include "store/mapi_extra.h"

namespace {

/// The method under which sort keys order texts as the value comparison does; others it answers with an
/// assertion that has to be written each time.
bool HasKeys(ULONG type, ECompareMethod method) {
    return (type == PT_UNICODE || type == PT_MV_UNICODE) && (method == cmExact || method == cmLast7Digits);
}

template <typename T>
void Set(std::vector<T>& values, uint32_t node, T value) {
    if (node >= values.size()) values.resize(node + 1);
    values[node] = std::move(value);
}

}  // namespace

void CCmpData::AddEmpty(uint32_t item) {
    if (item >= m_empties.size()) m_empties.resize(item + 1);
    m_empties[item] = true;
}

void CCmpData::Remove(uint32_t item) {
    if (const uint32_t node = m_tree.NodeOf(item); node != kNone && m_tree.FirstOf(node) == item) {
        m_textKeys.Forget(node);
    }
    for (const auto& filed : m_multiTree.NodesOf(item)) {
        if (m_nodeSubValues[filed.node].item == item) m_textKeys.Forget(filed.node);
    }
    m_tree.Remove(item);
    m_multiTree.Remove(item);
    if (item < m_empties.size()) m_empties[item] = false;
}

void CCmpData::FileValue(const TCompareContext& context) {
    const SPropValue& value = *context.pPropValue;
    const bool keys = !m_bDerived && HasKeys(PROP_TYPE(value.ulPropTag), context.ValueMethod());
    if (keys) m_textKeys.Begin(value.Value.lpszW, context.ValueMethod());
    const auto compare = [&](uint32_t node, bool& error) {
        if (keys) {
            if (m_textKeys.IsIdentical(node)) return 0;
            if (const int order = m_textKeys.Compare(node)) return order;
        }
        const uint32_t other = m_tree.FirstOf(node);
        if (!m_bDerived) return fnCompare(context, &m_nodeValues[node], other, error);
        const TDerivedValue* found = FindDerived(context.items[other], value.ulPropTag);
        return fnCompare(context, found ? found->value.get() : nullptr, other, error);
    };
    const auto [node, equal] = m_tree.Insert(context.item.nIndex, compare);
    if (node == kNone || equal) {
        if (keys) m_textKeys.Drop();
        return;
    }
    Set(m_nodeValues, node, value);
    if (keys) m_textKeys.Keep(node);
    if (PROP_TYPE(value.ulPropTag) != PT_SYSTIME) m_bOnlyTimes = false;
}

void CCmpData::FileStream(const TCompareContext& context) {
    CStreamHead head;
    head.Read(context.lpMessage, m_definition->ulPropTag);
    const auto compare = [&](uint32_t node, bool& error) {
        int order;
        if (CStreamHead::Compare(head, m_nodeHeads[node], m_definition->ulPropTag, &order)) return order;
        return fnCompareStream(context, m_tree.FirstOf(node), error);
    };
    const auto [node, equal] = m_tree.Insert(context.item.nIndex, compare);
    if (node != kNone && !equal) Set(m_nodeHeads, node, std::move(head));
}

bool CCmpData::FileElement(const TCompareContext& context, const TSubValue& subValue) {
    const SPropValue& value = *context.pPropValue;
    const bool keys = HasKeys(PROP_TYPE(value.ulPropTag), context.ValueMethod());
    if (keys) m_textKeys.Begin(value.Value.MVszW.lppszW[ElementOf(subValue)], context.ValueMethod());
    const auto compare = [&](uint32_t node, bool& error) {
        if (keys) {
            if (m_textKeys.IsIdentical(node)) return 0;
            if (const int order = m_textKeys.Compare(node)) return order;
        }
        const SubValueNode& first = m_nodeSubValues[node];
        const TDerivedValue* other = FindDerived(context.items[first.item], value.ulPropTag);
        return fnCompareSubValues(context, subValue, {*other, first.mask}, error);
    };
    const auto [node, equal] = m_multiTree.Insert(context.item.nIndex, subValue.mask, compare);
    if (node == kNone || equal) {
        if (keys) m_textKeys.Drop();
        return node != kNone;
    }
    Set(m_nodeSubValues, node, {context.item.nIndex, subValue.mask});
    if (keys) m_textKeys.Keep(node);
    return true;
}

bool CCmpData::multitreeItems_Add(const TCompareContext& context) {
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
    const SPropValue& value = *derived->value;
    for (ULONG i = 0; i < value.Value.MVszW.cValues && i < kPhoneKinds; ++i) {
        // 1 for an element that holds a character.
        if (!PV_IsSubEmpty(value.Value, static_cast<int>(i), PROP_TYPE(value.ulPropTag))) continue;
        ++(FileElement(context, {*derived, 1u << derived->kinds[i]}) ? filed : failed);
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
