#include "dupsearch/CTextKeys.h"

#include <algorithm>

namespace {

// Where a key begins is kept in 32 bits.
constexpr size_t kLargestArena = 0xF0000000u;

uint32_t HashOf(const wchar_t* text) {
    uint64_t hash = 0x9E3779B97F4A7C15u;
    for (; *text; ++text) hash = (hash ^ *text) * 0xBF58476D1CE4E5B9u;
    return static_cast<uint32_t>(hash >> 32);
}

bool AreIdentical(const wchar_t* a, const wchar_t* b) {
    while (*a && *a == *b) ++a, ++b;
    return *a == *b;
}

}  // namespace

void CTextKeys::Begin(const wchar_t* text, ECompareMethod method) {
    if (!text) text = L"";
    m_text = {text, HashOf(text)};
    m_key = {};
    m_identical = FindIdentical();
    if (m_identical != kNoNode) {
        m_key = m_keys[m_identical];
    } else {
        MakeKey(method);
    }
}

void CTextKeys::MakeKey(ECompareMethod method) {
    const size_t begin = m_arena.size();
    if (begin > kLargestArena) return;
    m_key.begin = static_cast<uint32_t>(begin);
    m_key.size = static_cast<uint32_t>(compare::AppendSortKey(m_text.text, method, m_arena));
    for (size_t i = 0; i < sizeof(m_key.prefix); ++i) {
        m_key.prefix = m_key.prefix << 8 | (i < m_key.size ? m_arena[begin + i] : 0);
    }
}

int CTextKeys::Compare(uint32_t node) const {
    if (m_key.size == 0 || node >= m_keys.size() || m_keys[node].size == 0) return 0;
    const Key& other = m_keys[node];
    if (m_key.prefix != other.prefix) return m_key.prefix < other.prefix ? -1 : 1;
    return compare::CompareSortKeys(Bytes(m_key), Bytes(other));
}

void CTextKeys::Keep(uint32_t node) {
    if (node >= m_keys.size()) {
        m_keys.resize(node + 1);
        m_texts.resize(node + 1);
    }
    m_keys[node] = m_key;
    m_texts[node] = m_text;
    // The same text can have made a node before, where it compares equal to nothing, itself included.
    if (m_identical == kNoNode) Enter(node);
}

void CTextKeys::Drop() {
    if (m_identical == kNoNode && m_key.size != 0) m_arena.resize(m_key.begin);
}

void CTextKeys::Forget(uint32_t node) {
    if (node < m_texts.size()) m_texts[node] = {L"", 0};
}

uint32_t CTextKeys::FindIdentical() const {
    if (m_slots.empty()) return kNoNode;
    const size_t mask = m_slots.size() - 1;
    for (size_t slot = m_text.hash & mask; m_slots[slot] != kNoNode; slot = (slot + 1) & mask) {
        const Text& known = m_texts[m_slots[slot]];
        if (known.hash == m_text.hash && AreIdentical(known.text, m_text.text)) return m_slots[slot];
    }
    return kNoNode;
}

void CTextKeys::Enter(uint32_t node) {
    if (m_slots.size() < 2 * (m_used + 1)) Grow();
    const size_t mask = m_slots.size() - 1;
    size_t slot = m_texts[node].hash & mask;
    while (m_slots[slot] != kNoNode) slot = (slot + 1) & mask;
    m_slots[slot] = node;
    ++m_used;
}

void CTextKeys::Grow() {
    std::vector<uint32_t> nodes;
    std::copy_if(m_slots.begin(), m_slots.end(), std::back_inserter(nodes),
                 [](uint32_t n) { return n != kNoNode; });
    m_slots.assign(std::max<size_t>(64, 2 * m_slots.size()), kNoNode);
    m_used = 0;
    for (const uint32_t node : nodes) Enter(node);
}
