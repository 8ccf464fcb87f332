#pragma once
// Memory that is handed out in small pieces and given back all at once, with its owner. It grows by blocks of
// one size: growing by half of what there is, as the standard's resource does, leaves up to a third unused,
// and asks the system for ever larger regions that it clears page by page. Pieces are aligned no further than
// new aligns.

#include <cstddef>
#include <memory>
#include <memory_resource>
#include <vector>

namespace base {

class CBlockMemory final : public std::pmr::memory_resource {
  public:
    CBlockMemory() = default;
    CBlockMemory(const CBlockMemory&) = delete;

    /// A moment in its use.
    struct TMark {
        size_t blocks = 0;
        void* free = nullptr;
        size_t left = 0;
    };
    TMark Now() const { return {m_blocks.size(), m_pFree, m_nLeft}; }
    /// Takes back all pieces handed out since.
    void GoBackTo(const TMark& mark) {
        m_blocks.resize(mark.blocks);
        m_pFree = mark.free;
        m_nLeft = mark.left;
    }

  private:
    static constexpr size_t kBlock = 65536;
    // A larger piece gets a block of its own.
    static constexpr size_t kMostPiece = kBlock / 16;

    void* do_allocate(size_t size, size_t alignment) override {
        if (size > kMostPiece) return NewBlock(size);
        if (!std::align(alignment, size, m_pFree, m_nLeft)) {
            m_pFree = NewBlock(kBlock);
            m_nLeft = kBlock;
        }
        void* const piece = m_pFree;
        m_pFree = static_cast<std::byte*>(m_pFree) + size;
        m_nLeft -= size;
        return piece;
    }
    void do_deallocate(void*, size_t, size_t) override {}
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
        return this == &other;
    }

    void* NewBlock(size_t size) {
        return m_blocks.emplace_back(std::make_unique_for_overwrite<std::byte[]>(size)).get();
    }

    std::vector<std::unique_ptr<std::byte[]>> m_blocks;
    void* m_pFree = nullptr;
    size_t m_nLeft = 0;
};

}  // namespace base
