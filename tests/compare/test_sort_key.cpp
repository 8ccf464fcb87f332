// Keys agree in sign with the comparison of the texts that they stand for, and hashes with equality.

#include "compare/sort_key.h"

#include <set>

#include "compare/string_compare.h"
#include "compare/text_hash.h"
#include "tests/compare/sample_values.h"

namespace {

const std::pair<const char*, std::wstring> kAlphabets[] = {
    {"plain", L"abcABC"},
    {"words", L"coopCO-'- \u00ad"},
    {"accents", L"e\u00e9\u00c9E\u00e8n\u0303\u00f1\u0301"},
    {"expansions", L"s\u00df\u00e6a\ufb01fiAES\u0153o"},
    {"digits", L"0123456789 ()-+x"},
    {"greek and cyrillic", L"\u03c3\u03c2\u03a3\u03b1\u0391\u0430\u0410\u0451\u0415"},
    {"turkish", L"iI\u0131\u0130"},
    {"han, kana, hangul", L"\u4e2d\u56fd\u30a2\u3042\uff71\uac00\u1100\u1161"},
    {"arabic and hebrew", L"\u0627\u0628\u05d0\u05d1\u064b\u0640"},
    {"surrogates, halves and controls", L"\xD83D\xDE00\xD800\xDC00\x01\x7f\uffff\u200bA"},
    {"punctuation", L"_.,;:!?@#$%&*/\\[]{}<>~^|`\"'-"},
};

class SortKeys : public testing::TestWithParam<std::pair<const char*, std::wstring>> {};

TEST_P(SortKeys, AgreeWithTheComparison) {
    struct Keyed {
        std::wstring text;
        std::vector<unsigned char> arena;
    };
    RandomTexts texts(GetParam().second, 12);
    std::vector<Keyed> keyed(400);
    for (auto& k : keyed) {
        k.text = texts();
        k.arena = {1, 2, 3};  // something is there already
        const size_t size = compare::AppendSortKey(k.text.c_str(), k.arena);
        ASSERT_GT(size, 0u);
        ASSERT_EQ(k.arena.size(), size + 3);
        k.arena.erase(k.arena.begin(), k.arena.begin() + 3);
    }
    for (const auto& a : keyed) {
        for (const auto& b : keyed) {
            const auto order = a.arena <=> b.arena;
            ASSERT_EQ((order > 0) - (order < 0),
                      SignOf(LPCWSTR_Compare(a.text.c_str(), b.text.c_str(), cmExact)))
                << testing::PrintToString(a.text) << " and " << testing::PrintToString(b.text);
        }
    }
}

TEST_P(SortKeys, EqualTextsHaveOneHash) {
    CTextHash hash;
    for (const auto method : {cmExact, cmLast7Digits}) {
        // Mixed with plain letters: texts hashed from their characters meet texts hashed from their keys.
        RandomTexts texts(GetParam().second + L"sSeiaf1", 3, method + 7u);
        std::vector<std::wstring> all(400);
        for (auto& text : all) text = texts();
        std::set<uint64_t> different;
        for (const auto& a : all) {
            const auto ofA = hash.Hash(a.c_str(), method);
            ASSERT_TRUE(ofA);
            different.insert(*ofA);
            for (const auto& b : all) {
                if (LPCWSTR_Compare(a.c_str(), b.c_str(), method) != 0) continue;
                ASSERT_EQ(ofA, hash.Hash(b.c_str(), method))
                    << testing::PrintToString(a) << " and " << testing::PrintToString(b);
            }
        }
        EXPECT_GT(different.size(), 5u) << "a hash that tells nothing apart";
    }
}

TEST(TextHash, PlainTextsNeedNoKey) {
    CTextHash hash;
    EXPECT_TRUE(hash.HasWeights());
    EXPECT_EQ(hash.Hash(nullptr, cmExact), hash.Hash(L"", cmExact));
    EXPECT_NE(hash.Hash(L"ab", cmExact), hash.Hash(L"ba", cmExact));
}

INSTANTIATE_TEST_SUITE_P(Alphabets, SortKeys, testing::ValuesIn(kAlphabets),
                         [](const auto& suite) { return "number" + std::to_string(suite.index); });

TEST(SortKey, LongTextsAndTextsWithLongKeys) {
    std::wstring accents;
    for (int i = 0; i < 40; ++i) accents += L"\ufdfa";  // one character that sorts as eighteen
    for (const std::wstring& text : {std::wstring(100000, L'x'), accents}) {
        std::vector<unsigned char> shorter, longer;
        ASSERT_GT(compare::AppendSortKey(text.c_str(), shorter), 0u);
        ASSERT_GT(compare::AppendSortKey((text + L"a").c_str(), longer), 0u);
        EXPECT_LT(shorter, longer);
    }
}

}  // namespace
