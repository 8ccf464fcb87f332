#include "dupsearch/CPtrTree.h"

#include <algorithm>

namespace dupsearch {

void CPtrTree::File(uint32_t item, const CSortTree::TPlace& place) noexcept {
    m_tree.Take(place);
    if (place.node == kNone) return;
    Append(place.node, item);
    m_nSettled = m_nodes.size();
}

void CPtrTree::Append(uint32_t node, uint32_t item) noexcept {
    if (node == m_firsts.size()) m_firsts.push_back(item);
    // Items that were not filed leave gaps.
    if (item > m_nodes.size()) m_nodes.resize(item, kNone);
    if (item == m_nodes.size()) {
        m_nodes.push_back(node);
    } else {
        m_nodes[item] = node;
    }
}

std::vector<uint32_t> CPtrTree::FindEquals(uint32_t item) const {
    std::vector<uint32_t> equals;
    const uint32_t node = NodeOf(item);
    if (node == kNone) return equals;
    for (uint32_t i = m_firsts[node]; i < m_nodes.size(); ++i) {
        if (m_nodes[i] == node) equals.push_back(i);
    }
    return equals;
}

void CPtrTree::Remove(uint32_t item) {
    const uint32_t node = NodeOf(item);
    if (node == kNone) return;
    m_nodes[item] = kNone;
    if (m_firsts[node] == item) {
        const auto next = std::find(m_nodes.begin() + item, m_nodes.end(), node);
        m_firsts[node] = next == m_nodes.end() ? kNone : static_cast<uint32_t>(next - m_nodes.begin());
        if (m_firsts[node] == kNone) m_tree.Erase(node);
    }
    m_tree.ForgetInsertions(1);
}

}  // namespace dupsearch
