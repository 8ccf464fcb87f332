// What configuring does to files that exist, and what the log does with paths that it cannot use.

#include <gtest/gtest.h>

#include <string>

#include "log/CLog.h"
#include "log/trim_file.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;
using logging::CLog;

namespace {
const std::string kMark = "\xEF\xBB\xBF";
const size_t kLogLimit = 10485760, kErrLimit = 131072, kWindow = 65536;

void WriteWholeFile(const std::string& path, const std::string& content) {
    FILE* file = fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path;
    ASSERT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
    fclose(file);
}

/// Numbered lines, size bytes in all.
std::string Lines(size_t size, const char* lineBreak) {
    std::string text;
    text.reserve(size + 64);
    for (size_t i = 0; text.size() < size; ++i)
        text.append("line ").append(std::to_string(i * 7919)).append(lineBreak);
    text.resize(size);
    return text;
}

bool Exists(const std::string& path) {
    return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string AnsiToUtf8(const std::string& text) {
    std::string result;
    for (const char c : text) {
        wchar_t wide[2];
        char utf8[8];
        const int units = MultiByteToWideChar(CP_ACP, 0, &c, 1, wide, 2);
        result.append(utf8, static_cast<size_t>(
                                WideCharToMultiByte(CP_UTF8, 0, wide, units, utf8, 8, nullptr, nullptr)));
    }
    return result;
}

class LogTrimming : public testing::Test {
  protected:
    /// The file after a configuration that names it as log file or as error file.
    std::string Trimmed(const std::string& content, bool asErrFile = false) {
        WriteWholeFile(path, content);
        log.Configure(asErrFile ? path.c_str() : nullptr, asErrFile ? nullptr : path.c_str(), false, 1, 0);
        log.Close();
        EXPECT_FALSE(Exists(path + "1")) << "the temporary file stayed";
        return ReadWholeFile(path);
    }

    TemporaryFolder folder;
    const std::string path = folder.File("file.txt");
    CLog log;
};

/// Compares long texts without printing them.
testing::AssertionResult Same(const std::string& got, const std::string& wanted) {
    if (got == wanted) return testing::AssertionSuccess();
    size_t at = 0;
    while (at < got.size() && at < wanted.size() && got[at] == wanted[at]) ++at;
    return testing::AssertionFailure()
           << "has " << got.size() << " bytes instead of " << wanted.size() << ", first difference at " << at
           << ": \"" << got.substr(at, 40) << "\" instead of \"" << wanted.substr(at, 40) << '"';
}

TEST_F(LogTrimming, SizeDecides) {
    for (const bool asErrFile : {false, true}) {
        const size_t limit = asErrFile ? kErrLimit : kLogLimit;
        for (const char* lineBreak : {"\r\n", "\n"}) {
            for (const size_t size : {size_t{3}, size_t{4}, limit - 1, limit}) {
                const std::string content = kMark + Lines(size - 3, lineBreak);
                EXPECT_TRUE(Same(Trimmed(content, asErrFile), content))
                    << size << " bytes are within the limit";
            }
            for (const size_t size : {limit + 1, limit + 2, limit + limit / 2, limit * 2 + 77}) {
                const std::string content = kMark + Lines(size - 3, lineBreak);
                const size_t cut = content.find('\n', size - limit / 2) + 1;
                EXPECT_TRUE(Same(Trimmed(content, asErrFile), kMark + content.substr(cut)))
                    << size << " bytes";
            }
        }
    }
}

TEST_F(LogTrimming, CutsAtTheFirstLineBreakBehindTheStart) {
    struct Case {
        const char* name;
        std::string tail;  // the last 65,536 bytes of a file that is one byte too long
        size_t cut;
    };
    const size_t half = kErrLimit / 2;
    std::string none(half, 'x'), first(half, 'x'), loneFirst(half, 'x'), last(half, 'x'), split(half, 'x');
    first[0] = '\n';
    loneFirst[10] = '\n';
    loneFirst.replace(100, 2, "\r\n");
    last[half - 1] = '\n';
    split[50] = '\r';
    split[60] = '\n';
    const Case cases[] = {
        {"none: all of it goes", none, half},
        {"at the very start", first, 1},
        {"CR LF wins over an earlier LF", loneFirst, 102},
        {"at the very end", last, half},
        {"a lone CR is none", split, 61},
    };
    for (const Case& c : cases) {
        const std::string content = kMark + std::string(half + 1 - 3, 'y') + c.tail;
        EXPECT_TRUE(Same(Trimmed(content, true), kMark + c.tail.substr(c.cut))) << c.name;
    }
    // Beyond the window everything is kept, whatever was found in it.
    std::string content = kMark + std::string(kLogLimit - 2, 'z');
    const size_t start = content.size() - kLogLimit / 2;
    EXPECT_TRUE(Same(Trimmed(content), kMark + content.substr(start + kWindow)));
}

TEST_F(LogTrimming, FileWithoutMarkIsConverted) {
    std::string bytes;
    for (int i = 1; i < 256; ++i) bytes += static_cast<char>(i);
    std::string longText;
    while (longText.size() < 3 * kWindow) longText += bytes;
    struct Case {
        const char* name;
        std::string content;
    };
    const Case cases[] = {{"one byte", "a"},
                          {"two bytes of the mark", "\xEF\xBB"},
                          {"a mark with another last byte", "\xEF\xBB\xBE text\n"},
                          {"the mark not at the start", " " + kMark},
                          {"every byte", bytes},
                          {"several blocks", longText},
                          {"several blocks without line break", std::string(2 * kWindow + 5, '\xE9')}};
    for (const Case& c : cases) {
        EXPECT_TRUE(Same(Trimmed(c.content), kMark + AnsiToUtf8(c.content))) << c.name;
        const std::string again = ReadWholeFile(path);
        EXPECT_TRUE(Same(Trimmed(again), again)) << c.name << ": a second configuration changes nothing";
    }
    const std::string large = Lines(kErrLimit + 1, "\xE9\r\n");
    const size_t cut = large.find('\n', large.size() - kErrLimit / 2) + 1;
    EXPECT_TRUE(Same(Trimmed(large, true), kMark + AnsiToUtf8(large.substr(cut)))) << "trimmed and converted";
}

TEST_F(LogTrimming, EmptyFileStaysEmptyUntilTheFirstLine) {
    EXPECT_EQ(Trimmed(""), "");
    log.Configure(nullptr, path.c_str(), false, 1, 0);
    log.Info(0, "T", "x\n");
    EXPECT_TRUE(ReadWholeFile(path).starts_with(kMark));
}

TEST_F(LogTrimming, WhatCannotBeReplacedStaysAsItIs) {
    const std::string content = "no mark, so it is to be converted \xE9\r\n";
    WriteWholeFile(path, content);
    const auto configure = [&] {
        log.Configure(nullptr, path.c_str(), false, 1, 0);
        log.Close();
    };
    ASSERT_TRUE(CreateDirectoryA((path + "1").c_str(), nullptr));
    configure();
    EXPECT_EQ(ReadWholeFile(path), content) << "the temporary file cannot be opened";
    RemoveDirectoryA((path + "1").c_str());

    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY);
    configure();
    EXPECT_EQ(ReadWholeFile(path), content) << "the file cannot be deleted";
    EXPECT_FALSE(Exists(path + "1"));
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);

    const HANDLE reader = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    configure();
    EXPECT_EQ(ReadWholeFile(path), content)
        << "another program reads the file and does not let it be deleted";
    EXPECT_FALSE(Exists(path + "1"));
    CloseHandle(reader);

    configure();
    EXPECT_EQ(ReadWholeFile(path), kMark + AnsiToUtf8(content)) << "with nothing in the way it is converted";
}

// One file's temporary name may be the other's own: a host that names its files log.txt and log.txt1.
TEST_F(LogTrimming, NeverErasesTheOtherFile) {
    const std::string other = path + "1", content = "to be converted\r\n",
                      kept = kMark + "what went wrong\r\n";
    for (const bool otherIsErrFile : {true, false}) {
        WriteWholeFile(path, content);
        WriteWholeFile(other, kept);
        const std::string otherwise = folder.Path() + "\\.\\FILE.txt1";
        const char* const second = otherwise.c_str();
        log.Configure(otherIsErrFile ? second : path.c_str(), otherIsErrFile ? path.c_str() : second, false,
                      1, 0);
        log.Close();
        EXPECT_EQ(ReadWholeFile(other), kept);
        EXPECT_EQ(ReadWholeFile(path), content) << "as when the temporary file cannot be opened";
        DeleteFileA(other.c_str());
    }
}

class LogBadPaths : public testing::Test {
  protected:
    TemporaryFolder folder;
    CLog log;
};

TEST_F(LogBadPaths, NeverFailTheCaller) {
    const std::string good = folder.File("good.txt");
    const std::string paths[] = {"",
                                 folder.Path(),
                                 folder.File("missing\\log.txt"),
                                 folder.File("a<b>|c?.txt"),
                                 "Q:\\nowhere\\log.txt",
                                 folder.File(std::string(300, 'n')),
                                 std::string(40000, 'p')};
    for (const std::string& bad : paths) {
        SCOPED_TRACE(bad.substr(0, 80));
        DeleteFileA(good.c_str());
        log.Configure(bad.c_str(), good.c_str(), false, 1, 1);
        log.Error("T", "one\n");
        log.Extra(L"two\n");
        EXPECT_EQ(ParseLog(ReadWholeFile(good)), (LogLines{{sevError, "T", "one\n"}, {sevRaw, "", "two\n"}}))
            << "with a bad error file the log file is written";
        EXPECT_EQ(log.ErrFile(), bad);

        log.Close();
        DeleteFileA(good.c_str());
        log.Configure(good.c_str(), bad.c_str(), false, 1, 1);
        log.Error("T", "one\n");
        log.Extra(L"two\n");
        EXPECT_EQ(ParseLog(ReadWholeFile(good)), (LogLines{{sevError, "T", "one\n"}}))
            << "with a bad log file the error file is written";
        log.Close();
    }
}

TEST_F(LogBadPaths, FilesAreTriedAgainWithEachLine) {
    const std::string sub = folder.File("later"), path = sub + "\\log.txt";
    log.Configure(path.c_str(), path.c_str(), false, 1, 0);
    log.Configure((path + ".err").c_str(), path.c_str(), false, 1, 0);
    log.Error("T", "lost\n");
    ASSERT_TRUE(CreateDirectoryA(sub.c_str(), nullptr));
    log.Error("T", "found\n");
    log.Close();
    EXPECT_EQ(ParseLog(ReadWholeFile(path))[0], (LogLine{sevError, "T", "found\n"}));
    EXPECT_EQ(ParseLog(ReadWholeFile(path + ".err")), (LogLines{{sevError, "T", "found\n"}}));
    DeleteFileA(path.c_str());
    DeleteFileA((path + ".err").c_str());
    RemoveDirectoryA(sub.c_str());
}

TEST_F(LogBadPaths, FileHeldByAnotherProgramLosesNothing) {
    const std::string path = folder.File("held.txt"), content = "from before, without mark\r\n";
    WriteWholeFile(path, content);
    const HANDLE holder =
        CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(holder, INVALID_HANDLE_VALUE);
    log.Configure(nullptr, path.c_str(), false, 1, 0);
    log.Error("T", "while it was held\n");
    EXPECT_FALSE(Exists(path + "1"));
    CloseHandle(holder);
    EXPECT_EQ(ReadWholeFile(path), content);
    log.Error("T", "afterwards\n");
    const std::string now = ReadWholeFile(path);
    EXPECT_TRUE(now.starts_with(content)) << now;
    EXPECT_EQ(ParseLog(now.substr(content.size())), (LogLines{{sevError, "T", "afterwards\n"}}));
}

}  // namespace
