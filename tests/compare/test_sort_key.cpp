// Keys stand for their texts: in order, and equal where these are; hashes are equal where texts are.

#include "compare/sort_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "compare/string_compare.h"
#include "compare/text_hash.h"
#include "tests/compare/sample_values.h"

using compare::CTextHash;

namespace {

struct TKeyed {
    std::wstring text;
    std::vector<unsigned char> key;
};

void AddKeyed(std::vector<TKeyed>& all, std::wstring text) {
    TKeyed keyed{std::move(text), {1, 2, 3}};  // something is there already
    const size_t size = compare::AppendSortKey(keyed.text.c_str(), keyed.key);
    ASSERT_GT(size, 0u) << testing::PrintToString(keyed.text);
    ASSERT_EQ(keyed.key.size(), size + 3) << testing::PrintToString(keyed.text);
    all.push_back(std::move(keyed));
}

std::wstring TakenApart(const std::wstring& text, DWORD how) {
    wchar_t apart[64];
    return FoldStringW(how, text.c_str(), -1, apart, 64) > 0 ? apart : text;
}

/// Every character of the plane, whole and taken apart, alone, with a letter behind it and with one in front.
std::vector<TKeyed> AllCharacters() {
    std::vector<TKeyed> all;
    for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
        const std::wstring whole(1, static_cast<wchar_t>(unit));
        std::vector<std::wstring> forms{whole, TakenApart(whole, MAP_COMPOSITE),
                                        TakenApart(whole, MAP_FOLDCZONE | MAP_COMPOSITE)};
        forms.erase(std::unique(forms.begin(), forms.end()), forms.end());
        for (const std::wstring& form : forms) {
            AddKeyed(all, form);
            AddKeyed(all, form + L'l');
            if (forms.size() > 1) AddKeyed(all, L'l' + form);
        }
    }
    return all;
}

// In order of their keys all texts are in their own order: two neighbours tell as much as any two.
TEST(SortKeys, OfAllCharactersStandInTheOrderOfTheTexts) {
    std::vector<TKeyed> all = AllCharacters();
    std::sort(all.begin(), all.end(), [](const TKeyed& a, const TKeyed& b) { return a.key < b.key; });
    CTextHash hash;
    size_t equal = 0, hashes = 0;
    for (size_t i = 1; i < all.size(); ++i) {
        const TKeyed &a = all[i - 1], &b = all[i];
        const int order = compare::LPCWSTR_Compare(a.text.c_str(), b.text.c_str(), cmExact);
        const bool sameKey = a.key == b.key;
        const bool sameHash = hash.Hash(a.text.c_str(), cmExact) == hash.Hash(b.text.c_str(), cmExact);
        ASSERT_TRUE(sameKey ? order == 0 : order < 0)
            << testing::PrintToString(a.text) << " and " << testing::PrintToString(b.text) << " have "
            << (sameKey ? "one key" : "keys in this order") << " and compare as " << order;
        ASSERT_TRUE(order != 0 || sameHash)
            << testing::PrintToString(a.text) << " and " << testing::PrintToString(b.text);
        equal += sameKey;
        hashes += !sameHash;
    }
    EXPECT_GT(equal, 20000u);
    EXPECT_GT(hashes, 20000u) << "a hash that tells nothing apart";
}

TEST(TextHash, PlainTextsNeedNoKey) {
    CTextHash hash;
    EXPECT_TRUE(hash.HasWeights());
    EXPECT_EQ(hash.Hash(nullptr, cmExact), hash.Hash(L"", cmExact));
    EXPECT_NE(hash.Hash(L"ab", cmExact), hash.Hash(L"ba", cmExact));
    EXPECT_EQ(hash.Hash(L"+49 (30) 123-4567", cmLast7Digits), hash.Hash(L"1234567", cmLast7Digits));
}

TEST(TextHash, TextsChangedToEqualOnesKeepIt) {
    CTextHash hash;
    std::mt19937 random(5);
    RandomTexts texts(L"abzAZ019 @[`{~_.,-'\x01\x7f\u00e9", 60, 2);
    unsigned equal = 0, different = 0;
    for (int i = 0; i < 5000; ++i) {
        const std::wstring text = texts();
        std::wstring changed = text;
        for (wchar_t& c : changed) {
            if (random() % 2 == 0)
                c = c < 0x80 && iswlower(c) ? towupper(c) : c < 0x80 && iswupper(c) ? towlower(c) : c;
        }
        // A letter more makes another text.
        if (i % 4 == 0) changed.insert(random() % (changed.size() + 1), 1, L'b');
        const auto of = hash.Hash(text.c_str(), cmExact);
        ASSERT_TRUE(of);
        if (compare::LPCWSTR_Compare(text.c_str(), changed.c_str(), cmExact) == 0) {
            ++equal;
            ASSERT_EQ(hash.Hash(changed.c_str(), cmExact), of)
                << testing::PrintToString(text) << " and " << testing::PrintToString(changed);
        } else if (hash.Hash(changed.c_str(), cmExact) != of) {
            ++different;
        }
    }
    EXPECT_GT(equal, 3000u);
    EXPECT_GT(different, 1000u) << "a hash that tells too little apart";
}

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
