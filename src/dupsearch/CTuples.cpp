#include "dupsearch/CTuples.h"

uint64_t CTuples::Hash(Tuple tuple) {
    uint64_t hash = 0x9E3779B97F4A7C15u;
    for (const uint32_t word : tuple) {
        hash = (hash ^ word) * 0xBF58476D1CE4E5B9u;
        hash ^= hash >> 29;
    }
    return hash;
}

uint32_t CTuples::FindOrAdd(Tuple tuple) {
    const uint32_t number = m_index.FindOrEnter(
        Hash(tuple), Count(), [&](uint32_t known) { return std::ranges::equal((*this)[known], tuple); });
    if (number == Count()) {
        m_words.insert(m_words.end(), tuple.begin(), tuple.end());
        m_ends.push_back(static_cast<uint32_t>(m_words.size()));
    }
    return number;
}
