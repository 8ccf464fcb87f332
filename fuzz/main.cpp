// quorvel-fuzz TARGET CORPUS [ROUNDS [SEED [FIRST]]]: runs a driver over so many rounds, 1,000 when no number is given.
// Exit status 0: every round held. Otherwise the last line names the seed and the round, which FIRST runs again.

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "fuzz/fuzz.h"
#include "log/CLog.h"

using logging::g_Log;

namespace fuzz {
namespace {

struct TTarget {
    const char* name;
    void (*run)(const TCorpus& corpus, CChoices& choices);
};
constexpr TTarget kTargets[] = {{"mailbox", MailboxFile}, {"values", ValuePair}, {"items", Items}};

const char* g_target = "";
unsigned g_seed = 1, g_round = 0;

void SayWhere() {
    std::printf("%s: seed %u, round %u\n", g_target, g_seed, g_round);
    std::fflush(stdout);
}

// Ends at once: the system's own handler starts a debugger.
LONG WINAPI End(EXCEPTION_POINTERS* pointers) {
    std::printf("stopped by 0x%lx at %p\n", pointers->ExceptionRecord->ExceptionCode,
                pointers->ExceptionRecord->ExceptionAddress);
    SayWhere();
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
}

TCorpus Read(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
    std::ranges::sort(files);
    TCorpus corpus;
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return corpus;
}

int Run(int count, char** arguments) {
    const auto number = [&](int index, unsigned otherwise) {
        return count > index ? static_cast<unsigned>(std::strtoul(arguments[index], nullptr, 10)) : otherwise;
    };
    const auto* const target = std::ranges::find(kTargets, std::string(count > 1 ? arguments[1] : ""),
                                                 [](const TTarget& one) { return std::string(one.name); });
    if (target == std::end(kTargets) || count < 3) {
        std::puts("usage: quorvel-fuzz mailbox|values|items CORPUS [ROUNDS [SEED [FIRST]]]");
        return 2;
    }
    const TCorpus corpus = Read(arguments[2]);
    if (corpus.empty()) {
        std::puts("the corpus is empty");
        return 2;
    }
    g_target = target->name;
    g_seed = number(4, 1);
    const unsigned rounds = number(3, 1000), first = number(5, 0);
    for (g_round = first; g_round < first + rounds; ++g_round) {
        CChoices choices(g_seed, g_round);
        target->run(corpus, choices);
    }
    std::printf("%s: %u rounds\n", g_target, rounds);
    return 0;
}

}  // namespace

void Fail(const std::string& what, const std::string& input) {
    std::printf("%s\n%s\n", input.c_str(), what.c_str());
    SayWhere();
    TerminateProcess(GetCurrentProcess(), 1);
    std::abort();
}

std::string Damaged(std::string text, const TCorpus& corpus, CChoices& choices) {
    static const char* const tokens[] = {"\"",
                                         "{",
                                         "}",
                                         "[",
                                         "]",
                                         ":",
                                         ",",
                                         "null",
                                         "true",
                                         "0x",
                                         "-1",
                                         "1e999",
                                         "0000",
                                         "\\u0000",
                                         "\\ud83d",
                                         "\\\\",
                                         "\xED\xA0\x80",
                                         "base64",
                                         "AAA=",
                                         "\xFF",
                                         "\n",
                                         "4294967296",
                                         "101F",
                                         "001F",
                                         "=",
                                         "id"};
    for (uint32_t changes = choices.Below(6); changes > 0 && !text.empty(); --changes) {
        const size_t at = choices.Below(text.size()),
                     size = choices.OneIn(4) ? choices.Below(200) : choices.Below(4);
        const std::string& other = choices.Of(corpus);
        switch (choices.Below(6)) {
            case 0:
                text.erase(at, size);
                break;
            case 1:
                text.insert(at, text.substr(choices.Below(text.size()), size));
                break;
            case 2:
                text.insert(at, other.substr(choices.Below(other.size()), size));
                break;
            case 3:
                text[at] = static_cast<char>(choices.Any());
                break;
            case 4:
                text.replace(at, size, choices.Of(tokens));
                break;
            default:
                text.insert(at, choices.Of(tokens));
                break;
        }
    }
    return text;
}

}  // namespace fuzz

int main(int count, char** arguments) {
    SetUnhandledExceptionFilter(fuzz::End);
    g_Log.Configure(nullptr, nullptr, false, 1, 0);
    return fuzz::Run(count, arguments);
}
