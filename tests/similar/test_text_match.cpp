// The compare methods of texts, against an oracle that spells every rule out on whole strings.

#include "similar/text_match.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <random>

#include "similar/body_hash.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;

namespace similar {
namespace {

namespace oracle {

bool Same(const std::wstring& a, const std::wstring& b) {
    return lstrcmpiW(a.c_str(), b.c_str()) == 0;
}
bool SameAt(const std::wstring& a, const std::wstring& b, size_t i) {
    return Same(a.substr(i, 1), b.substr(i, 1));
}

bool BeginsWith(const std::wstring& text, const std::wstring& begin) {
    return text.size() >= begin.size() && Same(text.substr(0, begin.size()), begin);
}

bool Missing(const std::wstring& a, const std::wstring& b) {
    if (a.size() > b.size()) return Missing(b, a);
    if (a.empty() || a.size() + 1 != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!SameAt(a, b, i)) return Same(a.substr(i), b.substr(i + 1));
    return true;
}

bool Different(const std::wstring& a, const std::wstring& b) {
    if (a.size() != b.size() || a.size() < 2) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!SameAt(a, b, i)) return Same(a.substr(i + 1), b.substr(i + 1));
    return false;
}

std::wstring Digits(const std::wstring& text) {
    std::wstring digits;
    for (wchar_t unit : text)
        if (unit >= L'0' && unit <= L'9') digits += unit;
    return digits.size() > 7 ? digits.substr(digits.size() - 7) : digits;
}

std::wstring Url(std::wstring url) {
    const auto isBlank = [](wchar_t unit) { return unit == L' ' || unit == L'\t'; };
    while (!url.empty() && isBlank(url.front())) url.erase(0, 1);
    while (!url.empty() && isBlank(url.back())) url.pop_back();
    for (wchar_t& unit : url)
        if (unit == L'\\') unit = L'/';
    if (BeginsWith(url, L"http://www."))
        url.erase(0, 11);
    else if (BeginsWith(url, L"http://"))
        url.erase(0, 7);
    else if (BeginsWith(url, L"www."))
        url.erase(0, 4);
    while (!url.empty() && url.back() == L'/') url.pop_back();
    return url;
}

/// The method that matched, Unequal when none did.
int Match(const std::wstring& a, const std::wstring& b, int method) {
    std::wstring digitsA = Digits(a), digitsB = Digits(b);
    const bool enough = digitsA.size() >= 2 && digitsB.size() >= 2;
    bool match = false;
    switch (method) {
        case 0:
            match = Same(a, b);
            break;
        case 1:
            match = !a.empty() && !b.empty() && (BeginsWith(a, b) || BeginsWith(b, a));
            break;
        case 2:
            match = Missing(a, b);
            break;
        case 3:
            match = Different(a, b);
            break;
        case 4:
            match = Same(digitsA.empty() ? a : digitsA, digitsB.empty() ? b : digitsB);
            break;
        case 5:
            match = enough ? Missing(digitsA, digitsB) : Missing(a, b);
            break;
        case 6:
            match = enough ? Different(digitsA, digitsB) : Different(a, b);
            break;
        case 7:
            for (int digits : {4, 5, 6})
                if (Match(a, b, digits) == digits) return digits;
            return Unequal;
        case 8:
            match = !a.empty() && !b.empty() && !Url(a).empty() && Same(Url(a), Url(b));
            break;
    }
    return match ? method : static_cast<int>(Unequal);
}

}  // namespace oracle

int Match(const std::wstring& a, const std::wstring& b, int method) {
    ECompareMethod matched = Unequal;
    const bool equal = StrEqual(a.c_str(), b.c_str(), static_cast<ECompareMethod>(method), &matched);
    return equal ? matched : Unequal;
}

/// The same over texts prepared for a field with these methods.
int MatchPrepared(const std::wstring& a, const std::wstring& b, int method, const TMethods& methods) {
    TKeptTexts parts;
    CUnitWeights weights;
    std::vector<unsigned char> scratch;
    const TFieldText textA = PrepareText(a.c_str(), methods, &parts, &weights, &scratch);
    const TFieldText textB = PrepareText(b.c_str(), methods, &parts, &weights, &scratch);
    ECompareMethod matched = Unequal;
    const bool equal = StrEqual(textA, textB, static_cast<ECompareMethod>(method), &matched);
    return equal ? matched : Unequal;
}

std::string Show(const std::wstring& text) {
    std::string shown = "\"";
    for (wchar_t unit : text) {
        char code[8];
        snprintf(code, sizeof code, unit < 128 ? "%c" : "\\u%04x", unit);
        shown += code;
    }
    return shown + "\"";
}

class RandomTexts {
  public:
    explicit RandomTexts(unsigned seed) : m_random(seed) {}

    std::wstring Of(const std::wstring& alphabet, size_t maxLength) {
        std::wstring text(m_random() % (maxLength + 1), L' ');
        for (wchar_t& unit : text) unit = alphabet[m_random() % alphabet.size()];
        return text;
    }
    /// A text that is often nearly the given one.
    std::wstring Near(std::wstring text, const std::wstring& alphabet) {
        for (unsigned edits = m_random() % 3; edits > 0; --edits) {
            const size_t at = m_random() % (text.size() + 1);
            const wchar_t unit = alphabet[m_random() % alphabet.size()];
            switch (m_random() % 3) {
                case 0:
                    text.insert(at, 1, unit);
                    break;
                case 1:
                    text.erase(std::min(at, text.size()), 1);
                    break;
                default:
                    if (at < text.size()) text[at] = unit;
            }
        }
        return text;
    }

  private:
    std::mt19937 m_random;
};

// Letters in both cases, digits, marks that the word sort passes over, letters that equal two others, a
// letter that equals its accented form, one that counts for nothing, parts of web addresses.
const std::wstring kAlphabets[] = {L"abAB",           L"01",          L"0123456789",
                                   L"12a +-",         L"ao-'",        L"s\u00df\u00e6aeE\u00e9\u00ad",
                                   L"i\u0131\u0130I", L"/\\ \tw.ht:p"};

constexpr TMethods kPrepared[] = {{Exact, StartWith, MissChar, DiffChar},
                                  {Exact, Last7Digits, Last7Digits1Miss, Last7Digits1Diff},
                                  {Exact, HttpUrlCompare, NotCompared, NotCompared}};

TEST(TextMatch, AgreesWithTheOracle) {
    for (const std::wstring& alphabet : kAlphabets) {
        RandomTexts texts(static_cast<unsigned>(alphabet.size()));
        for (int round = 0; round < 4000; ++round) {
            const std::wstring a = texts.Of(alphabet, 9);
            const std::wstring b = round % 4 == 0 ? texts.Of(alphabet, 9) : texts.Near(a, alphabet);
            for (int method = Exact; method <= HttpUrlCompare; ++method)
                ASSERT_EQ(Match(a, b, method), oracle::Match(a, b, method))
                    << Show(a) << " and " << Show(b) << " under method " << method;
            for (const TMethods& methods : kPrepared)
                for (size_t i = 0; round % 2 && !a.empty() && !b.empty() && i < methods.size(); ++i) {
                    if (methods[i] == NotCompared) break;
                    ASSERT_EQ(MatchPrepared(a, b, methods[i], methods), oracle::Match(a, b, methods[i]))
                        << Show(a) << " and " << Show(b) << ", prepared, under method " << methods[i];
                }
        }
    }
}

TEST(TextMatch, WithoutAMatchTheMethodAskedForIsGivenBack) {
    for (int method = Exact; method <= HttpUrlCompare; ++method) {
        ECompareMethod matched = Unequal;
        EXPECT_FALSE(StrEqual(L"Ann 12345", L"Walter 98", static_cast<ECompareMethod>(method), &matched));
        EXPECT_EQ(matched, method);
    }
}

TEST(TextMatch, UnknownMethodAssertsAndWorksAsExact) {
    for (int method : {-2, -1, 9, 10}) {
        CapturedLog log;
        ECompareMethod matched = Exact;
        EXPECT_TRUE(StrEqual(L"Ann", L"ANN", static_cast<ECompareMethod>(method), &matched));
        EXPECT_EQ(matched, method);
        EXPECT_FALSE(StrEqual(L"Ann", L"Anna", static_cast<ECompareMethod>(method)));
        EXPECT_EQ(log.Lines(sevError, "StrEqual").size(), 2u) << "method " << method;
    }
}

TEST(CompareMethod, HasATextForEveryResult) {
    const struct {
        int value;
        const wchar_t* plain;
        const wchar_t* parentheses;
        const wchar_t* omitExact;
    } kCases[] = {
        {-2, L"Invalid(Unitilized)", L"(Invalid:Unitilized)", L"(Invalid:Unitilized)"},
        {-1, L"Invalid(Unequal)", L"(Invalid:Unequal)", L"(Invalid:Unequal)"},
        {0, L"Exact", L"(Exact)", L""},
        {2, L"MissChar", L"(MissChar)", L"(MissChar)"},
        {7, L"Last7DigitsAnyMethod", L"(Last7DigitsAnyMethod)", L"(Last7DigitsAnyMethod)"},
        {9, L"Intercept", L"(Intercept)", L"(Intercept)"},
        {10, L"Unknown", L"(Unknown)", L"(Unknown)"},
        {-3, L"Unknown", L"(Unknown)", L"(Unknown)"},
    };
    CapturedLog log;
    for (const auto& c : kCases) {
        EXPECT_STREQ(CmpMethod2Str(c.value, false, false), c.plain);
        EXPECT_STREQ(CmpMethod2Str(c.value, false, true), c.parentheses);
        EXPECT_STREQ(CmpMethod2Str(c.value, true, true), c.omitExact);
    }
    EXPECT_EQ(log.Lines(sevError, "CSimilarSearch.CmpMethod2Str").size(), 6u);
}

// Values worked out by another program from the published algorithm.
TEST(BodyHash, IsTheKnownOne) {
    const struct {
        const wchar_t* text;
        ULONG hash;
    } kCases[] = {{L"", 0x00000000u},
                  {L"a", 0xCAFAE02Cu},
                  {L"ab", 0x1F377FCBu},
                  {L"abc", 0x7AAF7D48u},
                  {L"the quick brown fox", 0x1F9D4C18u},
                  {L"\u00fcber \u0431", 0x2A0F22D2u}};
    for (const auto& c : kCases) EXPECT_EQ(BodyHash(c.text, wcslen(c.text)), c.hash) << Show(c.text);
}

}  // namespace
}  // namespace similar
