#include "dupsearch/CTuples.h"

#include <algorithm>

uint32_t CTuples::Hash(Tuple tuple) {
    uint64_t hash = 0x9E3779B97F4A7C15u;
    for (const uint32_t word : tuple) {
        hash = (hash ^ word) * 0xBF58476D1CE4E5B9u;
        hash ^= hash >> 29;
    }
    return static_cast<uint32_t>(hash >> 16);
}

// The slot that holds the sequence, or the free one where it belongs.
size_t CTuples::Slot(Tuple tuple, uint32_t hash) const {
    const size_t mask = m_slots.size() - 1;
    size_t slot = hash & mask;
    for (; m_slots[slot] != kNotFound; slot = (slot + 1) & mask) {
        const uint32_t number = m_slots[slot];
        if (m_hashes[number] == hash && std::ranges::equal((*this)[number], tuple)) break;
    }
    return slot;
}

uint32_t CTuples::Find(Tuple tuple) const {
    return m_slots.empty() ? kNotFound : m_slots[Slot(tuple, Hash(tuple))];
}

uint32_t CTuples::Add(Tuple tuple) {
    if (m_slots.size() < 2 * (m_ends.size() + 1)) Grow();
    const uint32_t hash = Hash(tuple);
    const size_t slot = Slot(tuple, hash);
    m_words.insert(m_words.end(), tuple.begin(), tuple.end());
    m_hashes.push_back(hash);
    m_ends.push_back(static_cast<uint32_t>(m_words.size()));
    return m_slots[slot] = Count() - 1;
}

void CTuples::Grow() {
    std::vector<uint32_t> slots(std::max<size_t>(64, 2 * m_slots.size()), kNotFound);
    const size_t mask = slots.size() - 1;
    for (uint32_t number = 0; number < Count(); ++number) {
        size_t slot = m_hashes[number] & mask;
        while (slots[slot] != kNotFound) slot = (slot + 1) & mask;
        slots[slot] = number;
    }
    m_slots.swap(slots);
}
