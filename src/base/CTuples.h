#pragma once
// Numbered sequences of 32-bit numbers, each kept once: a sequence is found by its content at once.

#include <algorithm>
#include <span>
#include <vector>

#include "base/CHashIndex.h"
#include "base/room.h"

namespace base {

class CTuples {
  public:
    using Tuple = std::span<const uint32_t>;

    static uint64_t Hash(Tuple tuple) {
        uint64_t hash = 0x9E3779B97F4A7C15u;
        for (const uint32_t word : tuple) {
            hash = (hash ^ word) * 0xBF58476D1CE4E5B9u;
            hash ^= hash >> 29;
        }
        return hash;
    }

    uint32_t Count() const { return static_cast<uint32_t>(m_ends.size()); }
    Tuple operator[](uint32_t number) const {
        const uint32_t begin = number == 0 ? 0 : m_ends[number - 1];
        return {m_words.data() + begin, m_ends[number] - begin};
    }
    /// The number of a sequence, which is kept if it was not yet; numbers count up from 0.
    uint32_t FindOrAdd(Tuple tuple) {
        const uint64_t hash = Hash(tuple);
        const uint32_t known =
            m_index.Find(hash, [&](uint32_t number) { return std::ranges::equal((*this)[number], tuple); });
        if (known != kNone) return known;
        const uint32_t number = Count();
        MakeRoom(m_words, m_words.size() + tuple.size());
        MakeRoom(m_ends, m_ends.size() + 1);
        m_index.MakeRoomFor(number);
        m_words.insert(m_words.end(), tuple.begin(), tuple.end());
        m_ends.push_back(static_cast<uint32_t>(m_words.size()));
        m_index.Enter(hash, number);
        return number;
    }

  private:
    std::vector<uint32_t> m_words;
    std::vector<uint32_t> m_ends;
    CHashIndex m_index;
};

}  // namespace base
