#include "dupsearch/CMultiPtrTree.h"

#include <algorithm>

namespace dupsearch {

void CMultiPtrTree::MakeRoomFor(uint32_t item, size_t count) {
    base::MakeRoom(m_items, size_t{item} + 1);
    base::MakeRoom(m_filed, m_filed.size() + count);
    base::MakeRoom(m_owed, m_owed.size() + count);
    base::MakeRoom(m_holders, NodeLimit() + count);
}

void CMultiPtrTree::Append(uint32_t node, uint32_t item, uint32_t mask) noexcept {
    if (item > m_items.size()) m_items.resize(item);
    if (item == m_items.size()) m_items.emplace_back();
    if (node == m_holders.size()) m_holders.push_back(0);
    TRange& range = m_items[item];
    if (range.count == 0) range.begin = static_cast<uint32_t>(m_filed.size());
    const auto begin = m_filed.begin() + range.begin;
    const auto same = std::find_if(begin, m_filed.end(), [&](const TFiled& f) { return f.node == node; });
    if (same != m_filed.end()) {
        same->mask |= mask;
    } else {
        m_filed.push_back({node, mask});
        ++range.count;
        ++m_holders[node];
    }
    ++range.insertions;
}

std::span<const CMultiPtrTree::TFiled> CMultiPtrTree::NodesOf(uint32_t item) const {
    if (item >= m_items.size()) return {};
    return {m_filed.data() + m_items[item].begin, m_items[item].count};
}

bool CMultiPtrTree::Exists(Filings item, uint32_t mask) {
    return std::ranges::any_of(item, [&](const TFiled& f) { return (f.mask & mask) != 0; });
}

bool CMultiPtrTree::FindEquals(Filings item, Filings other, uint32_t mask1, uint32_t mask2, bool* found) {
    *found = !item.empty();
    return std::ranges::any_of(item, [&](const TFiled& a) {
        return (a.mask & mask1) != 0 && std::ranges::any_of(other, [&](const TFiled& b) {
                   return a.node == b.node && (b.mask & mask2) != 0;
               });
    });
}

void CMultiPtrTree::Remove(uint32_t item) {
    const auto nodes = NodesOf(item);
    if (nodes.empty()) return;
    m_tree.ForgetInsertions(m_items[item].insertions);
    for (const TFiled& filed : nodes) {
        if (--m_holders[filed.node] == 0) m_tree.Erase(filed.node);
    }
    if (m_items[item].begin + m_items[item].count == m_filed.size()) m_filed.resize(m_items[item].begin);
    m_items[item] = {};
}

}  // namespace dupsearch
