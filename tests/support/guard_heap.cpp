// The heap of the debug build: operator new and delete of a module whose blocks end at an inaccessible page
// and become inaccessible when they are freed. Reading or writing past a block, or after its end of life,
// stops the program at the very instruction. What the pages cannot see is checked on delete: the few bytes
// between the end of a block and its page (blocks begin at multiples of 16), the header in front of it, the
// size and the form of the delete.
//
//     | ... | header | block | slack | inaccessible page |
//
// Addresses are not used twice. A guarded block costs ten microseconds, and while it lives the kernel two
// mappings, of which a process may have some 65,000. So of a program's first kAllGuarded blocks all are
// guarded, then every kGuardedEvery-th, and never more than kGuardedAlive of those alive; the others have the
// checks on delete only.

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <new>

namespace {
const size_t kPage = 4096;
const size_t kChunkSize = size_t{1} << 30;
const LONG kGuardedAlive = 8000;
const LONG64 kAllGuarded = 200000;
const LONG64 kGuardedEvery = 32;
const size_t kSmallestAlignment = 16;
const uint64_t kLive = 0x4B434F4C42455649;
const uint64_t kDead = 0x4B434F4C42444145;
const unsigned char kSlack = 0xBD;
const unsigned char kFresh = 0xCD;

enum class Form : uint32_t { Single, Array };

/// A range of reserved addresses, from which blocks are cut one after the other; released when it is used up
/// and its last block is freed.
struct Chunk {
    char* base;
    size_t used;
    LONG users;  // live blocks, and one while blocks are still cut from it
};

struct Header {
    Chunk* chunk;      // null for an ordinary block
    char* base;        // where its memory begins
    size_t committed;  // bytes of it, the guard page not counted
    size_t size;
    uint32_t alignment;
    Form form;
    uint64_t check;  // over all of the above; next to the block

    uint64_t Check(uint64_t state) const {
        return state ^ reinterpret_cast<uintptr_t>(chunk) ^ reinterpret_cast<uintptr_t>(base) ^
               committed << 17 ^ size << 31 ^ static_cast<uint64_t>(alignment) << 3 ^
               static_cast<uint64_t>(form);
    }
};
const size_t kHeaderSize =
    (sizeof(Header) + kSmallestAlignment - 1) / kSmallestAlignment * kSmallestAlignment;

SRWLOCK g_lock = SRWLOCK_INIT;
Chunk* g_chunk;
volatile LONG64 g_made;
volatile LONG g_guardedAlive;

size_t RoundUp(size_t value, size_t multiple) {
    return (value + multiple - 1) / multiple * multiple;
}

[[noreturn]] void Die(const char* what) {
    DWORD written;
    const HANDLE out = GetStdHandle(STD_ERROR_HANDLE);
    WriteFile(out, "heap: ", 6, &written, nullptr);
    WriteFile(out, what, static_cast<DWORD>(strlen(what)), &written, nullptr);
    WriteFile(out, "\r\n", 2, &written, nullptr);
    TerminateProcess(GetCurrentProcess(), 0xC0000374);  // STATUS_HEAP_CORRUPTION
    __builtin_trap();
}

void Release(Chunk* chunk) {
    if (InterlockedDecrement(&chunk->users) != 0) return;
    VirtualFree(chunk->base, 0, MEM_RELEASE);
    HeapFree(GetProcessHeap(), 0, chunk);
}

Chunk* NewChunk(size_t size) {
    auto* chunk = static_cast<Chunk*>(HeapAlloc(GetProcessHeap(), 0, sizeof(Chunk)));
    if (chunk == nullptr) return nullptr;
    auto* base = static_cast<char*>(VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS));
    if (base == nullptr) {
        HeapFree(GetProcessHeap(), 0, chunk);
        return nullptr;
    }
    *chunk = {base, 0, 1};
    return chunk;
}

/// Reserves size bytes; the chunk counts one user more. Null when there are no addresses.
Chunk* Reserve(size_t size, char** base) {
    if (size > kChunkSize / 16) {
        // A large block has a chunk of its own, whose only user it is.
        Chunk* chunk = NewChunk(size);
        if (chunk != nullptr) *base = chunk->base;
        return chunk;
    }
    AcquireSRWLockExclusive(&g_lock);
    if (g_chunk == nullptr || g_chunk->used + size > kChunkSize) {
        if (g_chunk != nullptr) Release(g_chunk);
        g_chunk = NewChunk(kChunkSize);
    }
    Chunk* chunk = g_chunk;
    if (chunk != nullptr) {
        *base = chunk->base + chunk->used;
        chunk->used += size;
        InterlockedIncrement(&chunk->users);
    }
    ReleaseSRWLockExclusive(&g_lock);
    return chunk;
}

char* Guarded(size_t committed, Chunk** chunk) {
    char* base = nullptr;
    *chunk = Reserve(committed + kPage, &base);
    if (*chunk == nullptr) return nullptr;
    if (VirtualAlloc(base, committed, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        Release(*chunk);
        return nullptr;
    }
    return base;
}

/// Whether the next block is to be guarded; if so it is counted as alive.
bool IsGuardWanted() {
    const LONG64 made = InterlockedIncrement64(&g_made);
    if (made > kAllGuarded && made % kGuardedEvery != 0) return false;
    if (InterlockedIncrement(&g_guardedAlive) <= kGuardedAlive) return true;
    InterlockedDecrement(&g_guardedAlive);
    return false;
}

void* Allocate(size_t size, size_t alignment, Form form) {
    if (alignment < kSmallestAlignment) alignment = kSmallestAlignment;
    if (size > PTRDIFF_MAX - 4 * kPage - alignment) return nullptr;
    const size_t rounded = RoundUp(size, alignment);
    // The page's own alignment serves all alignments up to it; beyond, there is room to move.
    const size_t committed = RoundUp(rounded + kHeaderSize + (alignment > kPage ? alignment : 0), kPage);
    Chunk* chunk = nullptr;
    char* base = nullptr;
    if (IsGuardWanted()) {
        base = Guarded(committed, &chunk);
        if (base == nullptr) InterlockedDecrement(&g_guardedAlive);
    }
    char* end = base + committed;
    if (base == nullptr) {
        base = static_cast<char*>(HeapAlloc(GetProcessHeap(), 0, rounded + kHeaderSize + alignment));
        if (base == nullptr) return nullptr;
        end = base + rounded + kHeaderSize + alignment;
    }
    const uintptr_t address = (reinterpret_cast<uintptr_t>(end) - rounded) / alignment * alignment;
    char* block = base + (address - reinterpret_cast<uintptr_t>(base));
    Header header{chunk, base, chunk != nullptr ? committed : 0, size, static_cast<uint32_t>(alignment),
                  form,  0};
    header.check = header.Check(kLive);
    memcpy(block - kHeaderSize, &header, sizeof header);
    memset(block, kFresh, size);
    memset(block + size, kSlack, rounded - size);
    return block;
}

void* AllocateOrThrow(size_t size, size_t alignment, Form form) {
    for (;;) {
        if (void* block = Allocate(size, alignment, form)) return block;
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) throw std::bad_alloc();
        handler();
    }
}

/// size is SIZE_MAX where the delete does not know it.
void Free(void* memory, size_t size, Form form) {
    if (memory == nullptr) return;
    char* block = static_cast<char*>(memory);
    Header header;
    memcpy(&header, block - kHeaderSize, sizeof header);
    if (header.check == header.Check(kDead)) Die("block deleted twice");
    if (header.check != header.Check(kLive))
        Die("delete of something that is no block, or written in front of it");
    if (header.form != form) Die(form == Form::Array ? "delete[] of new" : "delete of new[]");
    if (size != SIZE_MAX && size != header.size) Die("delete of another type than was made");
    for (char* at = block + header.size; at != block + RoundUp(header.size, header.alignment); ++at)
        if (static_cast<unsigned char>(*at) != kSlack) Die("written behind a block");
    if (header.chunk != nullptr) {
        VirtualFree(header.base, header.committed, MEM_DECOMMIT);
        InterlockedDecrement(&g_guardedAlive);
        Release(header.chunk);
        return;
    }
    header.check = header.Check(kDead);
    memcpy(block - kHeaderSize, &header, sizeof header);
    memset(block, kSlack, header.size);
    HeapFree(GetProcessHeap(), 0, header.base);
}
}  // namespace

void* operator new(size_t size) {
    return AllocateOrThrow(size, 0, Form::Single);
}
void* operator new[](size_t size) {
    return AllocateOrThrow(size, 0, Form::Array);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size, 0, Form::Single);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size, 0, Form::Array);
}
void* operator new(size_t size, std::align_val_t alignment) {
    return AllocateOrThrow(size, static_cast<size_t>(alignment), Form::Single);
}
void* operator new[](size_t size, std::align_val_t alignment) {
    return AllocateOrThrow(size, static_cast<size_t>(alignment), Form::Array);
}
void operator delete(void* block) noexcept {
    Free(block, SIZE_MAX, Form::Single);
}
void operator delete[](void* block) noexcept {
    Free(block, SIZE_MAX, Form::Array);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    Free(block, SIZE_MAX, Form::Single);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    Free(block, SIZE_MAX, Form::Array);
}
void operator delete(void* block, size_t size) noexcept {
    Free(block, size, Form::Single);
}
void operator delete[](void* block, size_t size) noexcept {
    Free(block, size, Form::Array);
}
void operator delete(void* block, std::align_val_t) noexcept {
    Free(block, SIZE_MAX, Form::Single);
}
void operator delete[](void* block, std::align_val_t) noexcept {
    Free(block, SIZE_MAX, Form::Array);
}
void operator delete(void* block, size_t size, std::align_val_t) noexcept {
    Free(block, size, Form::Single);
}
void operator delete[](void* block, size_t size, std::align_val_t) noexcept {
    Free(block, size, Form::Array);
}
