#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "log/identifier_text.h"
#include "tests/support/CapturedDebugOutput.h"

namespace {
TEST(Hex, BytesBecomeUpperCasePairsAndComeBack) {
    std::vector<BYTE> bytes(256);
    std::string expected;
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<BYTE>(i);
        char pair[3];
        snprintf(pair, sizeof pair, "%02X", static_cast<unsigned>(i));
        expected += pair;
    }
    std::string text(513, '?');
    logging::BytesToHex(bytes.data(), bytes.size(), text.data());
    EXPECT_STREQ(text.c_str(), expected.c_str());

    for (const bool isLower : {false, true}) {
        if (isLower) CharLowerA(text.data());
        std::vector<BYTE> back(256, 0xEE);
        logging::HexToBytes(text.c_str(), back.size(), back.data());
        EXPECT_EQ(back, bytes) << (isLower ? "lower case" : "upper case");
    }
}

TEST(Hex, NoBytesBecomeAnEmptyText) {
    char text[2] = {'x', 'y'};
    logging::BytesToHex(nullptr, 0, text);
    EXPECT_EQ(text[0], '\0');
    EXPECT_EQ(text[1], 'y');
}

TEST(Hex, BadDigits) {
    struct Case {
        const char* text;
        int n;
        unsigned long value;
        size_t errors;
    };
    const Case cases[] = {
        {"1F", 2, 0x1F, 0},
        {"deadBEEF", 8, 0xDEADBEEF, 0},
        {"123456789", 9, 0x23456789, 0},
        {"FF", 1, 0xF, 0},
        {"FF", 0, 0, 0},
        {"FF", -1, 0, 0},
        {"G1", 2, 0xFFFFFFF1, 1},
        {"1G", 2, 0xFFFFFFFF, 1},
        {"g:@", 3, 0xFFFFFFFF, 3},
        {"1G23", 4, 0xFFFFFF23, 1},
        // The end of the text is no digit, and nothing behind it is read.
        {"A\0BC", 3, 0xFFFFFFFF, 2},
    };
    for (const Case& c : cases) {
        CapturedDebugOutput debug;
        EXPECT_EQ(logging::Hex2Dec(c.text, c.n), c.value) << c.text << ", " << c.n << " digits";
        EXPECT_EQ(debug.Texts(), std::vector<std::string>(c.errors, "Hex2DecError\n")) << c.text;
    }
}

TEST(Guid, TextsInEveryDress) {
    const GUID wanted = {0x00062004, 0x1234, 0xABCD, {0xC0, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x46}};
    for (const char* text :
         {"{00062004-1234-ABCD-C001-020304050646}", "000620041234abcdc001020304050646",
          "  0006-2004 1234/ABCD:C001_020304050646 xyz", "{00062004-1234-ABCD-C001-020304050646}FFFF"}) {
        GUID guid;
        memset(&guid, 0xEE, sizeof guid);
        EXPECT_EQ(logging::Str2GUID(text, &guid), 1) << text;
        EXPECT_EQ(memcmp(&guid, &wanted, sizeof guid), 0) << text;
    }
}

TEST(Guid, ShortTextsLeaveTheResultAlone) {
    GUID untouched;
    memset(&untouched, 0xEE, sizeof untouched);
    for (const char* text :
         {"", "{}", "{00062004-0000-0000-C000-00000000004}", static_cast<const char*>(nullptr)}) {
        GUID guid = untouched;
        EXPECT_EQ(logging::Str2GUID(text, &guid), 0) << (text != nullptr ? text : "null");
        EXPECT_EQ(memcmp(&guid, &untouched, sizeof guid), 0) << (text != nullptr ? text : "null");
    }
}
}  // namespace
