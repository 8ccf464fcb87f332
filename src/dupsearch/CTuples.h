#pragma once
// Numbered sequences of 32-bit numbers, each kept once: a sequence is found by its content at once.

#include <span>
#include <vector>

#include "dupsearch/CHashIndex.h"

class CTuples {
  public:
    using Tuple = std::span<const uint32_t>;

    static uint64_t Hash(Tuple tuple);

    uint32_t Count() const { return static_cast<uint32_t>(m_ends.size()); }
    Tuple operator[](uint32_t number) const {
        const uint32_t begin = number == 0 ? 0 : m_ends[number - 1];
        return {m_words.data() + begin, m_ends[number] - begin};
    }
    /// The number of a sequence, which is kept if it was not yet; numbers count up from 0.
    uint32_t FindOrAdd(Tuple tuple);

  private:
    std::vector<uint32_t> m_words;
    std::vector<uint32_t> m_ends;
    CHashIndex m_index;
};
