// Scanning texts by blocks against the system's functions, wherever a text lies, the end of all memory included.

#include "store/text_scan.h"

#include <cstring>
#include <memory>

#include "compare/string_compare.h"
#include "compare/text_hash.h"
#include "tests/compare/sample_values.h"

namespace {

/// Texts that end where memory ends: what lies behind cannot be read.
class CLastPage {
  public:
    CLastPage()
        : m_pages(static_cast<BYTE*>(
              VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))) {
        DWORD before;
        if (!m_pages || !VirtualProtect(m_pages.get() + kPage, kPage, PAGE_NOACCESS, &before)) std::abort();
    }
    /// The text, so many bytes before the end.
    template <typename Char>
    const Char* Put(const std::basic_string<Char>& text, size_t before = 0) {
        const size_t size = (text.size() + 1) * sizeof(Char);
        return static_cast<const Char*>(
            std::memcpy(m_pages.get() + kPage - size - before, text.c_str(), size));
    }

  private:
    struct Freed {
        void operator()(BYTE* pages) const { VirtualFree(pages, 0, MEM_RELEASE); }
    };
    static constexpr size_t kPage = 4096;
    std::unique_ptr<BYTE, Freed> m_pages;
};

TEST(TextScan, LengthsWhereverATextLies) {
    CLastPage page;
    for (size_t length = 0; length < 50; ++length) {
        const std::wstring wide(length, L'w');
        const std::string narrow(length, 'n');
        for (size_t before = 0; before < 40; ++before) {
            ASSERT_EQ(scan::Length(page.Put(wide, before / 2 * 2)), length) << before;
            ASSERT_EQ(scan::Length(page.Put(narrow, before)), length) << before;
        }
    }
}

TEST(TextScan, TextsAreIdenticalLetterForLetter) {
    CLastPage ofA, ofB;
    RandomTexts random(L"ab", 40);
    for (int i = 0; i < 4000; ++i) {
        const std::wstring a = random();
        std::wstring b = i % 3 == 0 ? random() : a;
        if (i % 3 == 1 && !b.empty()) b[static_cast<size_t>(i) % b.size()] = i % 2 ? L'\x161' : L'c';
        const wchar_t* const textA = ofA.Put(a, static_cast<size_t>(i) % 35 * 2);
        const wchar_t* const textB = ofB.Put(b, static_cast<size_t>(i) % 23 * 2);
        ASSERT_EQ(scan::AreIdentical(textA, textB), a == b)
            << testing::PrintToString(a) << " and " << testing::PrintToString(b);
    }
}

TEST(TextScan, TextsChangedToEqualOnesKeepTheirHash) {
    CTextHash hash;
    CLastPage page;
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
        ASSERT_EQ(hash.Hash(page.Put(text, random() % 20 * 2), cmExact), of)
            << "the hash depends on where a text is";
        if (LPCWSTR_Compare(text.c_str(), changed.c_str(), cmExact) == 0) {
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

}  // namespace
