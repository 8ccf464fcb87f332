#pragma once
// An array with its spare room in the middle, where the last insertion was: inserting near there moves little.

#include <algorithm>
#include <cstddef>
#include <vector>

namespace base {

/// Elements are plain numbers.
template <typename T>
class CGapArray {
  public:
    size_t Size() const { return m_slots.size() - m_nGapSize; }

    T operator[](size_t index) const { return m_slots[index < m_nGap ? index : index + m_nGapSize]; }

    /// Makes room, so that inserting `count` elements cannot fail.
    void Reserve(size_t count) {
        if (count <= m_nGapSize) return;
        const size_t grown = std::max(count, m_slots.size() / 2 + 16);
        std::vector<T> slots(m_slots.size() - m_nGapSize + grown);
        const auto gap = m_slots.begin() + static_cast<std::ptrdiff_t>(m_nGap);
        std::copy(m_slots.begin(), gap, slots.begin());
        std::copy_backward(gap + static_cast<std::ptrdiff_t>(m_nGapSize), m_slots.end(), slots.end());
        m_slots.swap(slots);
        m_nGapSize = grown;
    }

    void Insert(size_t index, const T* values, size_t count) {
        Reserve(count);
        MoveGap(index);
        std::copy(values, values + count, m_slots.begin() + static_cast<std::ptrdiff_t>(m_nGap));
        m_nGap += count;
        m_nGapSize -= count;
    }

    void Erase(size_t index) {
        MoveGap(index);
        ++m_nGapSize;
    }

  private:
    void MoveGap(size_t index) {
        const auto slot = [this](size_t at) { return m_slots.begin() + static_cast<std::ptrdiff_t>(at); };
        if (index < m_nGap) {
            std::copy_backward(slot(index), slot(m_nGap), slot(m_nGap + m_nGapSize));
        } else if (index > m_nGap) {
            std::copy(slot(m_nGap + m_nGapSize), slot(index + m_nGapSize), slot(m_nGap));
        }
        m_nGap = index;
    }

    std::vector<T> m_slots;
    size_t m_nGap = 0;
    size_t m_nGapSize = 0;
};

}  // namespace base
