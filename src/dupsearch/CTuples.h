#pragma once
// Numbered sequences of 32-bit numbers, each kept once: a sequence is found by its content at once.

#include <cstdint>
#include <span>
#include <vector>

class CTuples {
  public:
    using Tuple = std::span<const uint32_t>;
    static constexpr uint32_t kNotFound = 0xFFFFFFFF;

    uint32_t Count() const { return static_cast<uint32_t>(m_ends.size()); }
    Tuple operator[](uint32_t number) const {
        const uint32_t begin = number == 0 ? 0 : m_ends[number - 1];
        return {m_words.data() + begin, m_ends[number] - begin};
    }
    uint32_t Find(Tuple tuple) const;
    /// Appends a sequence that Find did not find; numbers count up from 0.
    uint32_t Add(Tuple tuple);

  private:
    static uint32_t Hash(Tuple tuple);
    size_t Slot(Tuple tuple, uint32_t hash) const;
    void Grow();

    std::vector<uint32_t> m_words;
    std::vector<uint32_t> m_ends;
    std::vector<uint32_t> m_hashes;
    std::vector<uint32_t> m_slots;  // a number or kNotFound; a power of two of them, at most half in use
};
