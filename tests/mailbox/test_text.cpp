// Texts, bytes and the small texts of the mailbox file, against plain definitions.

#include <random>

#include "mailbox/file_text.h"
#include "mailbox/text.h"
#include "tests/support/MailboxFixture.h"

namespace {

std::wstring RandomWide(std::mt19937& random) {
    static const wchar_t units[] = {0,      'a',    'b',    0x7F,   0x80,   0xE9,   0x7FF, 0x800,
                                    0x20AC, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFFFD, 0xFFFF};
    std::wstring text;
    // Long stretches of ASCII, so that whole blocks of it begin and end everywhere.
    for (size_t pieces = random() % 6; pieces-- > 0;) {
        text.append(random() % 40, L'x');
        for (size_t count = random() % 4; count-- > 0;) text += units[random() % std::size(units)];
    }
    return text;
}

TEST(Text, AnyWideTextSurvivesStoring) {
    std::mt19937 random(1);
    for (int round = 0; round < 5000; ++round) {
        const std::wstring text = RandomWide(random);
        const std::string stored = mailbox::FromWide(text);
        ASSERT_EQ(mailbox::ToWide(stored), text) << round;
        ASSERT_EQ(mailbox::WideLength(stored), text.size());
        bool isAscii = true;
        for (const wchar_t unit : text) isAscii = isAscii && unit < 0x80;
        ASSERT_EQ(mailbox::IsAscii(stored), isAscii);
        // Where the system's own conversion finds nothing to complain about, the bytes are the same.
        const int size = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(),
                                             static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
        ASSERT_EQ(mailbox::IsStrictUtf8(stored), size != 0 || text.empty()) << round;
    }
}

TEST(Text, MalformedUtf8IsNeverReadBeyondItsEnd) {
    std::mt19937 random(2);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes(random() % 24, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random() % 3 != 0 ? 0x80 + random() % 0x80 : random());
        ASSERT_EQ(mailbox::ToWide(bytes).size(), mailbox::WideLength(bytes));
    }
    EXPECT_EQ(mailbox::ToWide("a\xC3"), L"a\xFFFD");
    EXPECT_EQ(mailbox::ToWide("\xF0\x9F\x98\x80"), L"\xD83D\xDE00");
    EXPECT_EQ(mailbox::ToWide("\xC0\x80"), L"\xFFFD\xFFFD") << "an overlong form";
}

TEST(Text, HexadecimalAndBase64) {
    const struct {
        const char* bytes;
        const char* base64;
    } known[] = {{"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
                 {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"\xFF\xFE\xFD", "//79"}};
    std::string back;
    for (const auto& c : known) {
        EXPECT_EQ(mailbox::ToBase64(c.bytes), c.base64);
        EXPECT_TRUE(mailbox::FromBase64(c.base64, back));
        EXPECT_EQ(back, c.bytes);
    }
    for (const char* bad : {"Zg=", "Zg", "Z===", "Zm9 ", "=m9v", "Zm=v", "Zg==Zg=="})
        EXPECT_FALSE(mailbox::FromBase64(bad, back)) << bad;
    EXPECT_EQ(mailbox::ToHex("\x01\xAB"), "01AB");
    EXPECT_TRUE(mailbox::FromHex("01aB", back));
    EXPECT_EQ(back, "\x01\xAB");
    for (const char* bad : {"1", "0g", "01 2"}) EXPECT_FALSE(mailbox::FromHex(bad, back)) << bad;
}

TEST(Text, TimesOfTheFile) {
    const struct {
        const char* text;
        unsigned long long ticks;
    } known[] = {{"1601-01-01T00:00:00Z", 0},
                 {"1601-01-01T00:00:00.0000001Z", 1},
                 {"1970-01-01T00:00:00Z", 116444736000000000},
                 {"2000-02-29T23:59:59.5Z", 125963423995000000},
                 {"9999-12-31T23:59:59.9999999Z", 2650467743999999999}};
    unsigned long long ticks = 0;
    for (const auto& c : known) {
        EXPECT_TRUE(mailbox::ParseTime(c.text, ticks)) << c.text;
        EXPECT_EQ(ticks, c.ticks);
        EXPECT_EQ(mailbox::FormatTime(c.ticks), c.text);
    }
    EXPECT_EQ(mailbox::FormatTime(2650467744000000000), "") << "the year 10000";
    EXPECT_EQ(mailbox::FormatTime(MAXULONGLONG), "");
    for (const char* bad :
         {"2023-02-29T00:00:00Z", "2023-01-01 00:00:00Z", "2023-01-01T24:00:00Z", "2023-01-01T00:00:00",
          "1600-12-31T00:00:00Z", "2023-01-01T00:00:00.Z", "2023-01-01T00:00:00.12345678Z",
          "2023-01-01T00:00:60Z", "+023-01-01T00:00:00Z", ""})
        EXPECT_FALSE(mailbox::ParseTime(bad, ticks)) << bad;
    // The system's own calendar agrees.
    std::mt19937_64 random(3);
    for (int round = 0; round < 2000; ++round) {
        const unsigned long long any = random() % 2650467744000000000ull;
        FILETIME time{static_cast<DWORD>(any), static_cast<DWORD>(any >> 32)};
        SYSTEMTIME parts;
        ASSERT_TRUE(FileTimeToSystemTime(&time, &parts));
        char expected[32];
        std::snprintf(expected, sizeof expected, "%04d-%02d-%02dT%02d:%02d:%02d", parts.wYear, parts.wMonth,
                      parts.wDay, parts.wHour, parts.wMinute, parts.wSecond);
        ASSERT_TRUE(mailbox::FormatTime(any).starts_with(expected)) << any;
        ASSERT_TRUE(mailbox::ParseTime(mailbox::FormatTime(any), ticks));
        ASSERT_EQ(ticks, any);
    }
}

TEST(Text, KeysOfProperties) {
    const char* const set = "{00062002-0000-0000-C000-000000000046}";
    mailbox::TPropertyKey key;
    ASSERT_TRUE(mailbox::ParseKey("0037001F", key));
    EXPECT_FALSE(key.isNamed);
    EXPECT_EQ(key.tag, 0x0037001Fu);
    // A name, and whether it is a number; each must come back from its own text.
    const struct {
        const char* middle;
        bool isNumber;
        const wchar_t* text;
        LONG number;
    } names[] = {{"0x8215", true, L"", 0x8215},
                 {"0xFFFFFFFF", true, L"", -1},
                 {"Keywords", false, L"Keywords", 0},
                 {"a:b:c", false, L"a:b:c", 0},
                 {"=0x8215", false, L"0x8215", 0},
                 {"==x", false, L"=x", 0},
                 {"0x123456789", false, L"0x123456789", 0},
                 {"0xZ", false, L"0xZ", 0}};
    for (const auto& c : names) {
        const std::string text = std::string(set) + ":" + c.middle + ":101F";
        ASSERT_TRUE(mailbox::ParseKey(text, key)) << text;
        EXPECT_TRUE(key.isNamed);
        EXPECT_EQ(key.tag, 0x101Fu);
        EXPECT_EQ(key.name.numeric, c.isNumber) << text;
        EXPECT_EQ(key.name.number, c.number);
        EXPECT_EQ(key.name.text, c.text);
        EXPECT_EQ(mailbox::FormatKey(0x8001101F, &key.name), text);
    }
    for (const std::string& bad :
         {std::string("0037"), std::string("0037001G"), std::string("00370099"), std::string("8215000B"),
          std::string("0000000B"), std::string(set), std::string(set) + ":0x8215",
          std::string(set) + "::001F", std::string(set) + ":x:0099",
          "{00062002-0000-0000-C000-00000000004}" + std::string(":0x1:001F")})
        EXPECT_FALSE(mailbox::ParseKey(bad, key)) << bad;
}

}  // namespace
