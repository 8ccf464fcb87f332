#pragma once
// Memory for many small things that come and go, with its owner: what is given back is handed out again for
// things of the same size. Small things come from blocks of one size, which stay until the end; a large one is
// the system's. Exhausted memory throws and leaves all as it was.

#include <array>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <new>
#include <utility>
#include <vector>

namespace base {

class CPoolMemory final : public std::pmr::memory_resource {
  public:
    CPoolMemory() = default;
    CPoolMemory(const CPoolMemory&) = delete;

  private:
    static constexpr size_t kBlock = 65536;
    static constexpr size_t kStep = 16;
    static constexpr size_t kMostPiece = 1024;

    struct TFree {
        TFree* next;
    };
    static size_t Class(size_t size) { return (size + kStep - 1) / kStep; }
    static bool IsSmall(size_t size) { return size - 1 < kMostPiece; }

    void* do_allocate(size_t size, size_t) override {
        if (!IsSmall(size)) return ::operator new(size);
        TFree*& free = m_pFree[Class(size)];
        if (free) return std::exchange(free, free->next);
        const size_t bytes = Class(size) * kStep;
        if (m_nLeft < bytes) {
            m_blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(kBlock));
            m_nLeft = kBlock;
        }
        m_nLeft -= bytes;
        return m_blocks.back().get() + m_nLeft;
    }
    void do_deallocate(void* piece, size_t size, size_t) override {
        if (IsSmall(size)) {
            TFree*& free = m_pFree[Class(size)];
            free = new (piece) TFree{free};
        } else {
            ::operator delete(piece);
        }
    }
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
        return this == &other;
    }

    std::vector<std::unique_ptr<std::byte[]>> m_blocks;
    size_t m_nLeft = 0;  // of the last one
    std::array<TFree*, kMostPiece / kStep + 1> m_pFree{};
};

}  // namespace base
