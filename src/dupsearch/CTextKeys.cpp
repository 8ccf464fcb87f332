#include "dupsearch/CTextKeys.h"

namespace {
// A key costs as much as a few comparisons, and a common value is found in as few.
constexpr int kComparesWithoutKey = 2;
// Where a key begins is kept in 32 bits.
constexpr size_t kLargestArena = 0xF0000000u;
}  // namespace

void CTextKeys::Begin(const wchar_t* text, ECompareMethod method) {
    m_text = text;
    m_method = method;
    m_placed = {};
    m_compares = 0;
    m_made = false;
}

void CTextKeys::MakeKey() {
    m_made = true;
    const size_t begin = m_arena.size();
    if (begin > kLargestArena) return;
    m_placed.begin = static_cast<uint32_t>(begin);
    m_placed.size = static_cast<uint32_t>(compare::AppendSortKey(m_text, m_method, m_arena));
    for (size_t i = 0; i < sizeof(m_placed.prefix); ++i) {
        m_placed.prefix = m_placed.prefix << 8 | (i < m_placed.size ? m_arena[begin + i] : 0);
    }
}

int CTextKeys::Compare(uint32_t node) {
    if (++m_compares <= kComparesWithoutKey) return 0;
    if (!m_made) MakeKey();
    if (m_placed.size == 0 || node >= m_nodes.size() || m_nodes[node].size == 0) return 0;
    const Key& other = m_nodes[node];
    if (m_placed.prefix != other.prefix) return m_placed.prefix < other.prefix ? -1 : 1;
    return compare::CompareSortKeys(Bytes(m_placed), Bytes(other));
}

void CTextKeys::Keep(uint32_t node) {
    if (!m_made) MakeKey();
    if (node >= m_nodes.size()) m_nodes.resize(node + 1);
    m_nodes[node] = m_placed;
}

void CTextKeys::Drop() {
    if (m_placed.size != 0) m_arena.resize(m_placed.begin);
}
