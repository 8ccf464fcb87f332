// Texts under the methods that concern them: last digits, case, search without regard to case.

#include "compare/string_compare.h"
#include "tests/compare/sample_values.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;

namespace {

TEST(StringCompare, LastSevenDigits) {
    const struct {
        const wchar_t *first, *second;
        int exact, digits;
    } rows[] = {
        {L"abc", L"ABC", 0, 0},
        {L"\u00c9t\u00e9", L"\u00e9T\u00c9", 0, 0},
        {L"+1 (555) 123-4567", L"555.123.4567", -1, 0},
        {L"1234567", L"9991234567", -1, 0},
        {L"234567", L"1234567", 1, 1},  // six digits are not seven
        {L"tel 12", L"fax 1-2", 1, 0},
        {L"12", L"twelve", -1, -1},  // a text without a digit stands for itself
        {L"no number", L"No Number", 0, 0},
        {L"", L"", 0, 0},
        {L"", L"7", -1, -1},
        {L"\u0661\u0662", L"\u0661\u0662", 0, 0},  // other digits are no decimal digits here
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.first)) + " and " +
                     testing::PrintToString(std::wstring(row.second)));
        EXPECT_EQ(SignOf(compare::LPCWSTR_Compare(row.first, row.second, cmExact)), row.exact);
        EXPECT_EQ(SignOf(compare::LPCWSTR_Compare(row.first, row.second, cmLast7Digits)), row.digits);
        EXPECT_EQ(SignOf(compare::LPCWSTR_Compare(row.second, row.first, cmLast7Digits)), -row.digits);
    }
    EXPECT_EQ(compare::LPCSTR_Compare("(555) 123-4567", "x5551234567", cmLast7Digits), 0);
    EXPECT_LT(compare::LPCSTR_Compare("abc", "ABD", cmLast7Digits), 0);
}

TEST(StringCompare, InapplicableMethodsAssertAndCompareExactly) {
    CapturedLog log;
    LogLines expected;
    for (const auto method : {cmTimeWithin10Min, cmTimeWithinDay, cmApntAlldaylikeSubject, cmDayAndMonth,
                              cmApntAlldaylikeStart, cmRecipients, cmApntApproxStart}) {
        EXPECT_EQ(compare::LPCWSTR_Compare(L"ab1", L"AB1", method), 0);
        EXPECT_GT(compare::LPCSTR_Compare("b1", "a1", method), 0);
        expected.push_back({sevError, "LPCWSTR_Compare", "assert failed in line 29\n"});
        expected.push_back({sevError, "LPCSTR_Compare", "assert failed in line 29\n"});
    }
    EXPECT_EQ(log.Lines(), expected);
}

TEST(StringCompare, ExtractsDigitsFromTheEnd) {
    RandomTexts texts(L"0123456789 -+()a", 14);
    for (int round = 0; round < 2000; ++round) {
        const std::wstring text = texts();
        std::wstring digits;
        for (const wchar_t c : text) {
            if (c >= L'0' && c <= L'9') digits += c;
        }
        for (const size_t n : {size_t{0}, size_t{1}, size_t{7}}) {
            wchar_t buffer[9] = {};
            buffer[n + 1] = L'!';
            const std::wstring expected = digits.substr(digits.size() - std::min(n, digits.size()));
            ASSERT_EQ(compare::ExtractLastDigits(text.c_str(), buffer, static_cast<int>(n)), expected);
            ASSERT_EQ(buffer[n + 1], L'!') << "written behind the buffer";
            char narrow[9];
            ASSERT_EQ(compare::ExtractLastDigits(std::string(text.begin(), text.end()).c_str(), narrow,
                                                 static_cast<int>(n)),
                      std::string(expected.begin(), expected.end()));
        }
    }
}

TEST(StringCompare, FindsTextWithoutRegardToCase) {
    const struct {
        const wchar_t *haystack, *needle;
        int place;  // -1: nowhere
    } rows[] = {
        {L"Ann (ANN@x.org)", L"ann@X.org", 5},
        {L"aaab", L"AB", 2},
        {L"abab", L"ab", 0},
        {L"abc", L"ABC", 0},
        {L"abc", L"abd", -1},
        {L"abc", L"", -1},
        {L"", L"", -1},
        {L"ab", L"abc", -1},
        {L"\u00dcber \u00c4rger", L"\u00e4RGER", 5},
        {L"x\xD83D", L"\xD83D", 1},  // half of a surrogate pair
    };
    for (const auto& row : rows) {
        const wchar_t* found = compare::FindTextNoCase(row.haystack, row.needle);
        EXPECT_EQ(found ? static_cast<int>(found - row.haystack) : -1, row.place)
            << testing::PrintToString(std::wstring(row.haystack));
    }
    // The working copies change from the stack to the heap somewhere: no length may matter.
    for (size_t length = 500; length < 530; ++length) {
        const std::wstring haystack = std::wstring(length - 3, L'A') + L"xYz", needle(length - 1, L'a');
        EXPECT_EQ(compare::FindTextNoCase(haystack.c_str(), L"XyZ"), haystack.c_str() + length - 3) << length;
        EXPECT_EQ(compare::FindTextNoCase(haystack.c_str(), needle.c_str()), nullptr) << length;
        EXPECT_EQ(compare::FindTextNoCase((haystack + L"b").c_str(), L"q"), nullptr) << length;
    }
}

}  // namespace
