// The debug build stops programs that do what they must not: otherwise a green debug run would prove nothing. The program
// starts itself once for each fault, and commits it then; exit status 0: it was not stopped.

#include <gtest/gtest.h>
#include <windows.h>

#include <climits>
#include <cstring>
#include <memory>
#include <string>

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

constexpr DWORD kHeapCorruption = 0xC0000374;
constexpr char kVariable[] = "QUORVEL_FAULT";
constexpr struct {
    const char* name;
    DWORD status;
    void (*commit)();
} kFaults[] = {{"read-behind", STATUS_ACCESS_VIOLATION, ReadBehind},
               {"write-behind", STATUS_ACCESS_VIOLATION, WriteBehind},
               {"write-into-slack", kHeapCorruption, WriteIntoSlack},
               {"write-in-front", kHeapCorruption, WriteInFront},
               {"read-freed", STATUS_ACCESS_VIOLATION, ReadFreed},
               {"write-freed-large", STATUS_ACCESS_VIOLATION, WriteFreedLarge},
               {"delete-twice", STATUS_ACCESS_VIOLATION, DeleteTwice},
               {"delete-as-single", kHeapCorruption, DeleteAsSingle},
               {"delete-other-size", kHeapCorruption, DeleteOtherSize},
               {"overflow-signed", STATUS_ILLEGAL_INSTRUCTION, OverflowSigned},
               {"shift-too-far", STATUS_ILLEGAL_INSTRUCTION, ShiftTooFar},
               {"index-past-array", STATUS_ILLEGAL_INSTRUCTION, IndexPastArray},
               {"read-through-null", STATUS_ILLEGAL_INSTRUCTION, ReadThroughNull},
               {"none", 0, BehaveWell}};

// Ends at once: the system's own handler starts a debugger.
LONG WINAPI End(EXCEPTION_POINTERS* pointers) {
    TerminateProcess(GetCurrentProcess(), pointers->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

[[maybe_unused]] const bool g_isFaulty = [] {
    char wanted[32] = "";
    if (!GetEnvironmentVariableA(kVariable, wanted, sizeof wanted)) return false;
    SetUnhandledExceptionFilter(End);
    for (const auto& fault : kFaults) {
        if (strcmp(wanted, fault.name) == 0) fault.commit();
    }
    ExitProcess(0);
}();

TEST(Traps, Stop) {
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    for (const auto& fault : kFaults) {
        SetEnvironmentVariableA(kVariable, fault.name);
        STARTUPINFOA start = {};
        start.cb = sizeof start;
        PROCESS_INFORMATION process;
        ASSERT_TRUE(
            CreateProcessA(path, nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process));
        WaitForSingleObject(process.hProcess, 60000);
        DWORD status = 0;
        GetExitCodeProcess(process.hProcess, &status);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        EXPECT_EQ(status, fault.status) << fault.name << ", in hexadecimal " << std::hex << status;
    }
    SetEnvironmentVariableA(kVariable, nullptr);
}
}  // namespace
