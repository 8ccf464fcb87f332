// The debug build stops programs that do what they must not: otherwise a green debug run would prove nothing.

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace {
const DWORD kHeapCorruption = 0xC0000374;

/// Exit status of the program beside this one that commits the named fault.
DWORD RunFaulty(const std::string& fault) {
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string command = path;
    command = "\"" + command.substr(0, command.rfind('\\') + 1) + "faulty.exe\" " + fault;
    STARTUPINFOA start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION process;
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                        &process))
        return 0xFFFFFFFF;
    WaitForSingleObject(process.hProcess, 60000);
    DWORD status = 0;
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return status;
}

struct Case {
    const char* fault;
    DWORD status;
};

class Traps : public testing::TestWithParam<Case> {};

TEST_P(Traps, Stop) {
    EXPECT_EQ(RunFaulty(GetParam().fault), GetParam().status)
        << "in hexadecimal, expected: " << std::hex << GetParam().status;
}

std::string NameOf(const testing::TestParamInfo<Case>& info) {
    std::string name = info.param.fault;
    for (char& c : name)
        if (c == '-') c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(
    Debug, Traps,
    testing::Values(Case{"read-behind", STATUS_ACCESS_VIOLATION},
                    Case{"write-behind", STATUS_ACCESS_VIOLATION}, Case{"write-into-slack", kHeapCorruption},
                    Case{"write-in-front", kHeapCorruption}, Case{"read-freed", STATUS_ACCESS_VIOLATION},
                    Case{"write-freed-large", STATUS_ACCESS_VIOLATION},
                    Case{"delete-twice", STATUS_ACCESS_VIOLATION}, Case{"delete-as-single", kHeapCorruption},
                    Case{"delete-other-size", kHeapCorruption},
                    Case{"overflow-signed", STATUS_ILLEGAL_INSTRUCTION},
                    Case{"shift-too-far", STATUS_ILLEGAL_INSTRUCTION},
                    Case{"index-past-array", STATUS_ILLEGAL_INSTRUCTION},
                    Case{"read-through-null", STATUS_ILLEGAL_INSTRUCTION}, Case{"none", 0}),
    NameOf);
}  // namespace
