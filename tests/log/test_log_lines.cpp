// What a line looks like, which lines are written, and to which files.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "log/CLog.h"
#include "quorvel.h"
#include "tests/support/CapturedDebugOutput.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;
using logging::CLog;
using logging::g_Log;

namespace {
const std::string kMark = "\xEF\xBB\xBF";

std::string LocalStamp() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char text[32];
    snprintf(text, sizeof text, "%02d/%02d/%04d %02d:%02d:%02d", now.wDay, now.wMonth, now.wYear, now.wHour,
             now.wMinute, now.wSecond);
    return text;
}

/// Tests a log of its own, with both files.
class LogWriting : public testing::Test {
  protected:
    void Configure(int verbosity = 1, int extra = 0) {
        log.Configure(errPath.c_str(), logPath.c_str(), false, verbosity, extra);
    }
    std::string LogText() const { return ReadWholeFile(logPath); }
    std::string ErrText() const { return ReadWholeFile(errPath); }
    LogLines LogFile() const { return ParseLog(LogText()); }
    LogLines ErrFile() const { return ParseLog(ErrText()); }

    TemporaryFolder folder;
    const std::string logPath = folder.File("log.txt"), errPath = folder.File("err.txt");
    CLog log;
};

TEST_F(LogWriting, LineIsDateTimeSeverityTagAndMessage) {
    log.Configure(nullptr, logPath.c_str(), false, 1, 0);
    std::string before, content, after;
    do {  // a second that passes in between would blur the expectation
        log.Configure(nullptr, logPath.c_str(), false, 1, 0);
        DeleteFileA(logPath.c_str());
        before = LocalStamp();
        log.Warning("CDuplicateSearch.Add", "lpItem->GetProps returned 0x%x, %d%%\n", 0x80040305u, 5);
        content = LogText();
        log.Close();
        after = LocalStamp();
    } while (before != after);
    EXPECT_EQ(content,
              kMark + before + " War in CDuplicateSearch.Add: lpItem->GetProps returned 0x80040305, 5%\r\n");
}

TEST_F(LogWriting, LevelDecidesAboutInformationOnly) {
    struct Case {
        int configured;
        int verbosity;
        bool isWritten;
    };
    const Case cases[] = {
        {1, 0, true},  {1, 1, true}, {1, 2, false},  {1, 3, false},  {3, 3, true},
        {0, 1, false}, {0, 0, true}, {-1, 0, false}, {-1, -1, true}, {INT_MAX, INT_MAX, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "verbosity " << c.verbosity << ", configured " << c.configured);
        DeleteFileA(logPath.c_str());
        Configure(c.configured);
        log.Info(c.verbosity, "Tag", "narrow\n");
        log.InfoW(c.verbosity, "Tag", L"wide\n");
        log.Warning("Tag", "w\n");
        log.ErrorW("Tag", L"e\n");
        log.Close();
        LogLines expected = {{sevInfo, "Tag", "narrow\n"}, {sevInfo, "Tag", "wide\n"}};
        if (!c.isWritten) expected.clear();
        expected.push_back({sevWarning, "Tag", "w\n"});
        // The fresh error file's mark follows the first line that goes there.
        LogLines lines = LogFile();
        std::erase_if(lines, [](const LogLine& line) { return line.text.empty(); });
        for (LogLine& line : lines)
            if (line.text.starts_with(kMark)) line.text.erase(0, kMark.size());
        ASSERT_GE(lines.size(), expected.size());
        lines.resize(expected.size());
        EXPECT_EQ(lines, expected);
        DeleteFileA(errPath.c_str());
    }
}

TEST_F(LogWriting, ErrorFileTakesWarningsAndErrors) {
    Configure(1, 1);
    log.Info(0, "A", "i\n");
    log.InfoW(1, "B", L"iw\n");
    log.Extra(L"dump\n");
    log.Warning("C", "w\n");
    log.WarningW("D", L"ww\n");
    log.Error("E", "e\n");
    log.ErrorW("F", L"ew\n");
    log.Assert(false, "G", 1180, nullptr);
    EXPECT_EQ(ErrFile(), (LogLines{{sevWarning, "C", "w\n"},
                                   {sevWarning, "D", "ww\n"},
                                   {sevError, "E", "e\n"},
                                   {sevError, "F", "ew\n"},
                                   {sevError, "G", "assert failed in line 1180\n"}}));
    EXPECT_EQ(LogFile().size(), 8u + 1u) << "everything, and the error file's mark";
}

TEST_F(LogWriting, MarksOfFreshFiles) {
    Configure();
    log.Info(0, "A", "one\n");
    log.Error("B", "two\n");
    log.Error("C", "three\n");
    const std::string content = LogText();
    const size_t second = content.find(kMark, 1);
    EXPECT_TRUE(content.starts_with(kMark));
    ASSERT_NE(second, std::string::npos) << "the error file's mark is in the log file";
    EXPECT_GT(second, content.find("two\r\n")) << "behind the line that opened the error file";
    EXPECT_LT(second, content.find("three\r\n"));
    EXPECT_EQ(content.find(kMark, second + 1), std::string::npos);
    EXPECT_EQ(ErrText().find(kMark), std::string::npos);

    // A file that has content gets no mark; the error file, which lacks one, is converted at configuration.
    Configure();
    EXPECT_TRUE(ErrText().starts_with(kMark));
    log.Error("D", "four\n");
    log.Close();
    EXPECT_EQ(LogText().rfind(kMark), second);
    EXPECT_EQ(ErrText().rfind(kMark), 0u);
    EXPECT_EQ(ErrFile(),
              (LogLines{{sevError, "B", "two\n"}, {sevError, "C", "three\n"}, {sevError, "D", "four\n"}}));
}

TEST_F(LogWriting, ErrorFileAloneHasNoMark) {
    log.Configure(errPath.c_str(), nullptr, false, 3, 1);
    log.Info(0, "A", "not written\n");
    log.Extra(L"not written\n");
    EXPECT_EQ(GetFileAttributesA(errPath.c_str()), INVALID_FILE_ATTRIBUTES)
        << "opened by the first line that needs it";
    log.Error("B", "two\n");
    EXPECT_EQ(ErrText().find(kMark), std::string::npos);
    EXPECT_EQ(ErrFile(), (LogLines{{sevError, "B", "two\n"}}));
}

TEST_F(LogWriting, ExtraIsTheTextAlone) {
    log.Configure(nullptr, logPath.c_str(), false, 1, 0);
    log.Extra(L"dropped %d\n", 1);
    log.Configure(nullptr, logPath.c_str(), false, 1, 2);
    EXPECT_TRUE(log.IsExtra());
    log.Extra(L"%s = %hs;", L"key", "value");
    log.Extra(L" \x20AC\n");
    EXPECT_EQ(LogText(), kMark + "key = value; \xE2\x82\xAC\r\n");
}

TEST_F(LogWriting, Assert) {
    log.Configure(nullptr, logPath.c_str(), false, -5, 0);
    log.Assert(true, "T", 1, "never");
    log.Assert(false, "T", 1180, nullptr);
    log.Assert(false, "T", 7, "pDst <= \"%s%n\"");
    EXPECT_EQ(LogFile(),
              (LogLines{{sevError, "T", "assert failed in line 1180\n"},
                        {sevError, "T", "assert failed in line 7: \"pDst <= \"%s%n\"\" is false\n"}}));
}

TEST_F(LogWriting, MessagesAreUtf8) {
    struct Case {
        const char* name;
        std::function<void(CLog&)> write;
        std::string text;
    };
    const std::wstring lonely = {L'a', wchar_t{0xD800}, L'b', wchar_t{0xDC00}};
    const Case cases[] = {
        {"ANSI code page", [](CLog& l) { l.Error("T", "%s\n", "caf\xE9 \x80"); },
         "caf\xC3\xA9 \xE2\x82\xAC\n"},
        {"beyond the first plane", [](CLog& l) { l.ErrorW("T", L"%s\n", L"\U0001F600"); },
         "\xF0\x9F\x98\x80\n"},
        {"8-bit in wide", [](CLog& l) { l.ErrorW("T", L"%hs\n", "abc"); }, "abc\n"},
        {"wide in 8-bit", [](CLog& l) { l.Error("T", "%ls\n", L"abc"); }, "abc\n"},
        {"lonely surrogates", [&](CLog& l) { l.ErrorW("T", L"%s\n", lonely.c_str()); },
         "a\xEF\xBF\xBD"
         "b\xEF\xBF\xBD\n"},
        {"null", [](CLog& l) { l.ErrorW("T", L"%s\n", static_cast<wchar_t*>(nullptr)); }, "(null)\n"},
        {"empty", [](CLog& l) { l.Error("T", "%s", ""); }, ""},
        {"64 bits", [](CLog& l) { l.ErrorW("T", L"%I64d\n", 1LL << 40); }, "1099511627776\n"},
    };
    for (const Case& c : cases) {
        DeleteFileA(logPath.c_str());
        log.Configure(nullptr, logPath.c_str(), false, 1, 0);
        c.write(log);
        log.Close();
        EXPECT_EQ(LogFile(), (LogLines{{sevError, "T", c.text}})) << c.name;
    }
}

TEST_F(LogWriting, TextBeyondTheCodePageEndsTheMessage) {
    // What the stack held before must not come out behind it.
    log.Configure(nullptr, logPath.c_str(), false, 1, 0);
    log.Error("T", "%s", std::string(4000, '#').c_str());
    log.Error("T", "name %ls and more\n", L"\x4E00");
    const std::string content = LogText();
    EXPECT_EQ(content.substr(content.rfind(": ") + 2).find('#'), std::string::npos);
    EXPECT_LT(content.substr(content.rfind("in T: ")).size(), 40u);
}

TEST_F(LogWriting, LongMessagesAreCut) {
    struct Case {
        const char* name;
        std::function<void(CLog&)> write;
        std::string text;
    };
    const std::string narrow(5000, 'n');
    const std::wstring wide(5000, L'w'), euros(2000, L'\x20AC');
    std::string euroBytes;
    for (int i = 0; i < 1365; ++i) euroBytes += "\xE2\x82\xAC";  // 4,095 bytes exactly
    const Case cases[] = {
        {"8-bit", [&](CLog& l) { l.Error("T", "%s\n", narrow.c_str()); }, std::string(4095, 'n')},
        {"8-bit, fits", [&](CLog& l) { l.Error("T", "%.4094s\n", narrow.c_str()); },
         std::string(4094, 'n') + "\n"},
        {"8-bit, one more", [&](CLog& l) { l.Error("T", "%.4095s\n", narrow.c_str()); },
         std::string(4095, 'n')},
        {"wide", [&](CLog& l) { l.ErrorW("T", L"%s\n", wide.c_str()); }, std::string(4095, 'w')},
        {"UTF-8 of exactly the limit", [&](CLog& l) { l.ErrorW("T", L"%.1365s", euros.c_str()); }, euroBytes},
        {"UTF-8 beyond the limit", [&](CLog& l) { l.ErrorW("T", L"%s\n", euros.c_str()); }, euroBytes},
        {"cut within a character", [&](CLog& l) { l.ErrorW("T", L"a%s\n", euros.c_str()); },
         "a" + euroBytes.substr(0, 4094)},
    };
    for (const Case& c : cases) {
        DeleteFileA(logPath.c_str());
        log.Configure(nullptr, logPath.c_str(), false, 1, 0);
        c.write(log);
        log.Error("Next", "line\n");
        log.Close();
        const LogLines lines = LogFile();
        ASSERT_EQ(lines.size(), 2u) << c.name;
        EXPECT_EQ(lines[0], (LogLine{sevError, "T", c.text})) << c.name;
    }

    const std::string tag(6000, 't');
    log.Configure(nullptr, logPath.c_str(), false, 1, 0);
    log.Error(tag.c_str(), "message\n");
    EXPECT_NE(LogText().find(std::string(4000, 't')), std::string::npos)
        << "an endless tag is cut, not the line lost";
}

TEST_F(LogWriting, DebuggerGetsPrefixAndMessageInTwoCalls) {
    CapturedDebugOutput debug;
    log.Info(1, "Fresh", "from the start\n");
    log.Info(2, "Fresh", "dropped\n");
    log.Extra(L"dropped\n");
    log.Configure(nullptr, nullptr, true, 2, 1);
    log.Extra(L"dump\n");
    log.ErrorW("Tag", L"text %d\n", 5);
    log.Configure(nullptr, logPath.c_str(), false, 2, 1);
    log.Error("Tag", "to the file only\n");
    const std::vector<std::string> texts = debug.Texts();
    ASSERT_EQ(texts.size(), 5u);
    EXPECT_TRUE(texts[0].ends_with(" Inf in Fresh: ")) << texts[0];
    EXPECT_EQ(texts[1], "from the start\n");
    EXPECT_EQ(texts[2], "dump\n");
    EXPECT_TRUE(texts[3].ends_with(" Err in Tag: ")) << texts[3];
    EXPECT_EQ(texts[4], "text 5\n");
}

TEST_F(LogWriting, WhatNoSinkTakesIsNotEvenFormatted) {
    // Formatting this argument would end the program.
    const auto* bad = reinterpret_cast<const char*>(8);
    log.Configure(nullptr, nullptr, false, 3, 1);
    log.Info(0, "T", "%s", bad);
    log.Warning("T", "%s", bad);
    log.Error("T", "%s", bad);
    log.Extra(L"%hs", bad);
    log.Configure(errPath.c_str(), nullptr, false, 3, 1);
    log.Info(0, "T", "%s", bad);
    log.InfoW(0, "T", L"%hs", bad);
    log.Extra(L"%hs", bad);
    log.Configure(nullptr, logPath.c_str(), false, 0, 0);
    log.Info(1, "T", "%s", bad);
    log.Extra(L"%hs", bad);
    log.Assert(true, "T", 1, bad);
    EXPECT_EQ(LogText() + ErrText(), "");
}

/// The exports and the process-wide log.
class LogExports : public testing::Test {
  protected:
    ~LogExports() override { Quorvel_ConfigLog(nullptr, nullptr, 0, 1); }
    TemporaryFolder folder;
    std::string logPath = folder.File("log.txt"), errPath = folder.File("err.txt");
};

TEST_F(LogExports, NamesAreCopied) {
    EXPECT_EQ(Quorvel_GetCompatibleCode(), 4);
    Quorvel_ConfigLog(nullptr, nullptr, 0, 1);
    EXPECT_EQ(Quorvel_GetFilenameErr(), nullptr);
    EXPECT_EQ(Quorvel_GetFilenameLog(), nullptr);

    const std::string wantedErr = errPath, wantedLog = logPath;
    Quorvel_ConfigLog(errPath.c_str(), logPath.c_str(), 0, 1);
    errPath.assign(errPath.size(), '?');
    logPath.assign(logPath.size(), '?');
    EXPECT_EQ(Quorvel_GetFilenameErr(), wantedErr);
    EXPECT_EQ(Quorvel_GetFilenameLog(), wantedLog);

    // A host may hand back what it was given, even the wrong way round.
    Quorvel_ConfigLog(Quorvel_GetFilenameLog(), Quorvel_GetFilenameErr(), 0, 1);
    EXPECT_EQ(Quorvel_GetFilenameErr(), wantedLog);
    EXPECT_EQ(Quorvel_GetFilenameLog(), wantedErr);

    Quorvel_ConfigLogEx(nullptr, Quorvel_GetFilenameLog(), 0, 1, 0);
    EXPECT_EQ(Quorvel_GetFilenameErr(), nullptr);
    EXPECT_EQ(Quorvel_GetFilenameLog(), wantedErr);
}

TEST_F(LogExports, ExtraLoggingIsOnForAnyValueAndOffWithTheShortForm) {
    for (const int extra : {1, 2, 0x100, 0x10000, -1}) {
        Quorvel_ConfigLogEx(nullptr, logPath.c_str(), 0, 1, extra);
        EXPECT_TRUE(g_Log.IsExtra()) << extra;
    }
    Quorvel_ConfigLog(nullptr, logPath.c_str(), 0, 1);
    EXPECT_FALSE(g_Log.IsExtra());

    CapturedDebugOutput debug;
    Quorvel_ConfigLogEx(nullptr, nullptr, 0x100, 1, 0);
    g_Log.Info(1, "T", "x\n");
    EXPECT_EQ(debug.Texts().size(), 2u) << "debugger output, too, is on for any value";
}
}  // namespace
