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
    const uint64_t hash = Hash(tuple);
    const uint32_t known =
        m_index.Find(hash, [&](uint32_t number) { return std::ranges::equal((*this)[number], tuple); });
    if (known != kNone) return known;
    const uint32_t number = Count();
    base::MakeRoom(m_words, m_words.size() + tuple.size());
    base::MakeRoom(m_ends, m_ends.size() + 1);
    m_index.MakeRoomFor(number);
    m_words.insert(m_words.end(), tuple.begin(), tuple.end());
    m_ends.push_back(static_cast<uint32_t>(m_words.size()));
    m_index.Enter(hash, number);
    return number;
}
