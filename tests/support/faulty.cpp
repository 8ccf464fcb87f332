// Commits the fault that its argument names: the guard-page heap and the traps of the debug build have to
// stop it. Exit status 0: it was not stopped.

#include <windows.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {
// Opaque to the optimiser.
volatile int g_one = 1;
volatile char g_sink;
char* volatile g_block;

/// A block of size bytes.
char* Block(size_t size) {
    g_block = new char[size];
    return g_block;
}

void ReadBehind() {
    g_sink = Block(32)[31 + g_one];
}
void WriteBehind() {
    Block(4096)[4095 + g_one] = 1;
}
void WriteIntoSlack() {
    Block(30)[29 + g_one] = 1;
    delete[] g_block;
}
void WriteInFront() {
    Block(64)[-1 - g_one] = 1;
    delete[] g_block;
}
void ReadFreed() {
    char* block = Block(100);
    delete[] block;
    g_sink = g_block[50 * g_one];
}
void WriteFreedLarge() {
    char* block = Block(200u << 20);
    delete[] block;
    g_block[100 * g_one] = 1;
}
void DeleteTwice() {
    delete[] Block(100);
    delete[] g_block;
}
void DeleteAsSingle() {
    char* volatile block = Block(100);
    operator delete(block);
}
void DeleteOtherSize() {
    operator delete (operator new(static_cast<size_t>(8 * g_one)), size_t{16});
}
void OverflowSigned() {
    g_one = INT_MAX - 1 + g_one + g_one;
}
void ShiftTooFar() {
    g_one = 1 << (31 * g_one + g_one);
}
void IndexPastArray() {
    int values[4] = {1, 2, 3, 4};
    g_one = values[3 + g_one];
}
void ReadThroughNull() {
    int* const volatile nothing = nullptr;
    g_one = *nothing;
}
/// What must not be stopped: blocks of all sizes, filled whole, and more of them than have guard pages.
void BehaveWell() {
    for (size_t size = 0; size < 10000; size += 7) {
        std::unique_ptr<char[]> block(new char[size]);
        memset(block.get(), 1, size);
    }
    const size_t kMany = 20000;
    auto blocks = std::make_unique<std::unique_ptr<int>[]>(kMany);
    for (size_t i = 0; i < kMany; ++i) blocks[i] = std::make_unique<int>(static_cast<int>(i));
    for (size_t i = 0; i < kMany; ++i)
        if (*blocks[i] != static_cast<int>(i)) ExitProcess(1);
    struct alignas(8192) Wide {
        char bytes[3 * 8192];
    };
    for (int i = 0; i < 10; ++i) {
        const auto wide = std::make_unique<Wide>();
        if (reinterpret_cast<uintptr_t>(wide.get()) % 8192 != 0) ExitProcess(2);
        memset(wide->bytes, 1, sizeof wide->bytes);
    }
}

struct Fault {
    const char* name;
    void (*commit)();
};
const Fault kFaults[] = {{"read-behind", ReadBehind},
                         {"write-behind", WriteBehind},
                         {"write-into-slack", WriteIntoSlack},
                         {"write-in-front", WriteInFront},
                         {"read-freed", ReadFreed},
                         {"write-freed-large", WriteFreedLarge},
                         {"delete-twice", DeleteTwice},
                         {"delete-as-single", DeleteAsSingle},
                         {"delete-other-size", DeleteOtherSize},
                         {"overflow-signed", OverflowSigned},
                         {"shift-too-far", ShiftTooFar},
                         {"index-past-array", IndexPastArray},
                         {"read-through-null", ReadThroughNull},
                         {"none", BehaveWell}};

// Ends at once: the system's own handler starts a debugger.
LONG WINAPI End(EXCEPTION_POINTERS* pointers) {
    TerminateProcess(GetCurrentProcess(), pointers->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}
}  // namespace

int main(int argc, char** argv) {
    SetUnhandledExceptionFilter(End);
    for (const Fault& fault : kFaults) {
        if (argc == 2 && strcmp(argv[1], fault.name) == 0) {
            fault.commit();
            return 0;
        }
    }
    puts("usage: faulty NAME");
    return 99;
}
