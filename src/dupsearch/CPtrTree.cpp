#include "dupsearch/CPtrTree.h"

void CPtrTree::Append(uint32_t node, uint32_t item) {
    if (node >= m_ends.size()) m_ends.resize(node + 1);
    Ends& ends = m_ends[node];
    (ends.first == kNone ? ends.first : m_places[ends.last].next) = item;
    ends.last = item;
    m_places[item] = {node, kNone};
}

std::vector<uint32_t> CPtrTree::FindEquals(uint32_t item) const {
    std::vector<uint32_t> equals;
    const uint32_t node = NodeOf(item);
    if (node == kNone) return equals;
    for (uint32_t i = m_ends[node].first; i != kNone; i = m_places[i].next) equals.push_back(i);
    return equals;
}

void CPtrTree::Remove(uint32_t item) {
    const uint32_t node = NodeOf(item);
    if (node == kNone) return;
    Ends& ends = m_ends[node];
    if (ends.first == item && ends.last == item) {
        ends = {};
        m_tree.Erase(node);
    } else if (ends.first == item) {
        ends.first = m_places[item].next;
    } else {
        uint32_t before = ends.first;
        while (m_places[before].next != item) before = m_places[before].next;
        m_places[before].next = m_places[item].next;
        if (ends.last == item) ends.last = before;
    }
    m_places[item] = {};
    m_tree.ForgetInsertions(1);
}
