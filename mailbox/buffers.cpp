#include "mailbox/buffers.h"

#include <new>

#include "mailbox/calls.h"

namespace mailbox {

namespace {

/// Stands in front of each block; 16 bytes keep the block aligned for everything.
struct THeader {
    THeader* more;
    unsigned mark;
    unsigned reserved;
};
constexpr unsigned kFirst = 0x46425651;
constexpr unsigned kMore = 0x4D425651;
constexpr unsigned kFreed = 0x58425651;

THeader* NewBlock(size_t size, unsigned mark) {
    if (size > SIZE_MAX - sizeof(THeader)) return nullptr;
    void* memory = ::operator new(size + sizeof(THeader), std::nothrow);
    return memory == nullptr ? nullptr : new (memory) THeader{nullptr, mark, 0};
}

THeader* HeaderOf(void* buffer) {
    return static_cast<THeader*>(buffer) - 1;
}

}  // namespace

void* NewBuffer(size_t size) {
    THeader* header = NewBlock(size, kFirst);
    if (header == nullptr) return nullptr;
    InterlockedIncrement(&g_alive[okBuffer]);
    return header + 1;
}

void* NewBufferMore(size_t size, void* root) {
    THeader* first = HeaderOf(root);
    if (first->mark != kFirst) return nullptr;
    THeader* header = NewBlock(size, kMore);
    if (header == nullptr) return nullptr;
    header->more = first->more;
    first->more = header;
    return header + 1;
}

bool FreeBuffer(void* buffer) {
    if (buffer == nullptr) return true;
    THeader* header = HeaderOf(buffer);
    if (header->mark != kFirst) return false;
    InterlockedDecrement(&g_alive[okBuffer]);
    while (header != nullptr) {
        THeader* next = header->more;
        header->mark = kFreed;
        ::operator delete(header);
        header = next;
    }
    return true;
}

void FreeRows(SRowSet* rows) {
    if (rows == nullptr) return;
    for (ULONG row = 0; row < rows->cRows; ++row) FreeBuffer(rows->aRow[row].lpProps);
    FreeBuffer(rows);
}

}  // namespace mailbox
