#pragma once
// An array with its spare room in the middle, where the last insertion was: inserting near there moves
// little. Owns its elements; elements are plain numbers.

#include <algorithm>
#include <cstddef>
#include <vector>

template <typename T>
class CGapArray {
  public:
    size_t Size() const { return m_slots.size() - m_gapSize; }

    T operator[](size_t index) const { return m_slots[index < m_gap ? index : index + m_gapSize]; }

    /// Makes room, so that inserting `count` elements cannot fail.
    void Reserve(size_t count) {
        if (count <= m_gapSize) return;
        const size_t grown = std::max(count, m_slots.size() / 2 + 16);
        std::vector<T> slots(m_slots.size() - m_gapSize + grown);
        const auto gap = m_slots.begin() + static_cast<std::ptrdiff_t>(m_gap);
        std::copy(m_slots.begin(), gap, slots.begin());
        std::copy_backward(gap + static_cast<std::ptrdiff_t>(m_gapSize), m_slots.end(), slots.end());
        m_slots.swap(slots);
        m_gapSize = grown;
    }

    void Insert(size_t index, const T* values, size_t count) {
        Reserve(count);
        MoveGap(index);
        std::copy(values, values + count, m_slots.begin() + static_cast<std::ptrdiff_t>(m_gap));
        m_gap += count;
        m_gapSize -= count;
    }

    void Erase(size_t index) {
        MoveGap(index);
        ++m_gapSize;
    }

  private:
    void MoveGap(size_t index) {
        const auto slot = [this](size_t at) { return m_slots.begin() + static_cast<std::ptrdiff_t>(at); };
        if (index < m_gap) {
            std::copy_backward(slot(index), slot(m_gap), slot(m_gap + m_gapSize));
        } else if (index > m_gap) {
            std::copy(slot(m_gap + m_gapSize), slot(index + m_gapSize), slot(m_gap));
        }
        m_gap = index;
    }

    std::vector<T> m_slots;
    size_t m_gap = 0;
    size_t m_gapSize = 0;
};
