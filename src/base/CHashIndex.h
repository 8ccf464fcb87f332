#pragma once
// Numbers looked up by a hash of what they stand for. Owns nothing but the numbers; what they stand for is the
// user's to compare. A number, once entered, stays.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/room.h"

namespace base {

/// No number.
inline constexpr uint32_t kNone = 0xFFFFFFFF;

class CHashIndex {
  public:
    /// A number entered under this hash for which isEqual(number) holds, or kNone.
    template <typename IsEqual>
    uint32_t Find(uint64_t hash, IsEqual&& isEqual) const {
        if (m_slots.empty()) return kNone;
        const uint32_t mixed = Mix(hash);
        for (size_t i = mixed & m_nMask; m_slots[i] != kNone; i = (i + 1) & m_nMask) {
            const uint32_t known = m_slots[i] & m_nMask;
            if (m_slots[i] == Slot(mixed, known) && isEqual(known)) return known;
        }
        return kNone;
    }
    /// Makes room, so that entering numbers up to this one cannot fail.
    void MakeRoomFor(uint32_t number) {
        MakeRoom(m_hashes, size_t{number} + 1);
        if (number >= m_nMask || (size_t{number} + 1) * 2 > m_slots.size()) Grow(number);
    }
    /// Enters a number that was not entered before, and for which there is room.
    void Enter(uint64_t hash, uint32_t number) noexcept {
        if (number >= m_hashes.size()) m_hashes.resize(size_t{number} + 1, kNone);
        m_hashes[number] = Mix(hash);
        m_slots[FreeSlot(m_hashes[number])] = Slot(m_hashes[number], number);
    }

  private:
    static uint32_t Mix(uint64_t hash) {
        hash = (hash ^ hash >> 32) * 0xD6E8FEB86659FD93u;
        const auto mixed = static_cast<uint32_t>(hash >> 32);
        return mixed == kNone ? 0 : mixed;
    }
    /// The low bits of a slot are the number, the high ones those of the hash that do not choose the slot.
    uint32_t Slot(uint32_t mixed, uint32_t number) const { return (mixed & ~m_nMask) | number; }

    size_t FreeSlot(uint32_t mixed) const {
        size_t i = mixed & m_nMask;
        while (m_slots[i] != kNone) i = (i + 1) & m_nMask;
        return i;
    }

    void Grow(uint32_t number) {
        size_t size = std::max<size_t>(16, m_slots.size());
        while (number >= size - 1 || (size_t{number} + 1) * 2 > size) size *= 2;
        std::vector<uint32_t>(size, kNone).swap(m_slots);
        m_nMask = static_cast<uint32_t>(size - 1);
        for (uint32_t entered = 0; entered < m_hashes.size(); ++entered) {
            if (m_hashes[entered] == kNone) continue;
            m_slots[FreeSlot(m_hashes[entered])] = Slot(m_hashes[entered], entered);
        }
    }

    // Small slots: what is looked at in no order shall stay close at hand.
    std::vector<uint32_t> m_slots;   // kNone: free; a power of two of them, at most half of them in use
    uint32_t m_nMask = 0;            // the size of m_slots less 1
    std::vector<uint32_t> m_hashes;  // by number; kNone: it was left out
};

}  // namespace base
