#pragma once
// Numbers looked up by a hash of what they stand for. Owns nothing but the numbers; what they stand for is the
// user's to compare. A number, once entered, stays.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

inline constexpr uint32_t kNone = 0xFFFFFFFF;

class CHashIndex {
  public:
    /// A number entered under this hash for which isEqual(number) holds; when there is none, `number` is
    /// entered and is the result.
    template <typename IsEqual>
    uint32_t FindOrEnter(uint64_t hash, uint32_t number, IsEqual&& isEqual) {
        if (m_slots.size() * 3 < (m_used + 1) * 4) Grow();
        const uint32_t mixed = Mix(hash);
        size_t i = mixed & Mask();
        for (; m_slots[i].number != kNone; i = (i + 1) & Mask()) {
            if (m_slots[i].hash == mixed && isEqual(m_slots[i].number)) return m_slots[i].number;
        }
        m_slots[i] = {mixed, number};
        ++m_used;
        return number;
    }

    /// Has the memory that will be looked at brought in meanwhile.
    void Prepare(uint64_t hash) const {
        if (!m_slots.empty()) __builtin_prefetch(&m_slots[Mix(hash) & Mask()], 1);
    }

  private:
    struct Slot {
        uint32_t hash;
        uint32_t number;  // kNone: free
    };

    static uint32_t Mix(uint64_t hash) {
        hash = (hash ^ hash >> 32) * 0xD6E8FEB86659FD93u;
        return static_cast<uint32_t>(hash >> 32);
    }
    size_t Mask() const { return m_slots.size() - 1; }

    void Grow() {
        std::vector<Slot> slots(std::max<size_t>(16, 2 * m_slots.size()), Slot{0, kNone});
        m_slots.swap(slots);
        for (const Slot& slot : slots) {
            if (slot.number == kNone) continue;
            size_t i = slot.hash & Mask();
            while (m_slots[i].number != kNone) i = (i + 1) & Mask();
            m_slots[i] = slot;
        }
    }

    std::vector<Slot> m_slots;  // a power of two of them, at most three quarters in use
    size_t m_used = 0;
};
