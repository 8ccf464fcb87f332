// Values found by their hashes against values sent through a tree one by one: the same nodes, and the same
// counters whenever somebody asks.

#include <algorithm>
#include <deque>
#include <functional>
#include <random>

#include "compare/string_compare.h"
#include "compare/value_operations.h"
#include "tests/dupsearch/SlowTree.h"
#include "tests/dupsearch/search_fixture.h"

using compare::CTextHash;
using dupsearch::CCmpData;
using dupsearch::CDuplicateSearch;
using dupsearch::CItems;
using dupsearch::TFiling;
using dupsearch::TItem;
using dupsearch::TTreeStatistics;
using enum compare::EPropEx;

namespace {

using Random = std::mt19937;

/// One of the given texts for each of up to `most` places.
std::wstring Pieces(Random& random, const std::vector<std::wstring>& pieces, unsigned most) {
    std::wstring text;
    for (unsigned i = 0; i <= random() % most; ++i) text += pieces[random() % pieces.size()];
    return text;
}

/// What the tree of one property holds and has counted against its slow twin.
void ExpectTwins(CCmpData& data, const SlowTree& slow) {
    const TTreeStatistics& s = data.Statistics();
    EXPECT_EQ(s.nNodes, slow.s.nNodes);
    EXPECT_EQ(s.nItems, slow.s.nItems);
    EXPECT_EQ(s.nComparesTotal, slow.s.nComparesTotal);
    EXPECT_EQ(s, slow.s) << "in one of the other counters";
}

// ---- Values
// ----------------------------------------------------------------------------------------------------

/// Keeps the texts and bytes that values point to.
struct Keeper {
    std::deque<std::wstring> texts;

    SPropValue Text(std::wstring text) {
        SPropValue value{PR_SUBJECT_W, 0, {}};
        value.Value.lpszW = texts.emplace_back(std::move(text)).data();
        return value;
    }
    SPropValue Bytes(std::wstring text) {
        const auto size = static_cast<ULONG>(text.size() * sizeof(wchar_t));
        SPropValue value{PR_SEARCH_KEY, 0, {}};
        value.Value.bin = {size, reinterpret_cast<BYTE*>(texts.emplace_back(std::move(text)).data())};
        return value;
    }
};

SPropValue Number(LONG number) {
    SPropValue value{PR_IMPORTANCE, 0, {}};
    value.Value.l = number;
    return value;
}

SPropValue Time(ULONGLONG ticks) {
    SPropValue value{PR_CLIENT_SUBMIT_TIME, 0, {}};
    value.Value.ft = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    return value;
}

struct Kind {
    const char* name;
    unsigned method;
    std::function<SPropValue(Random& random, Keeper& keeper, int i)> make;
};

const std::vector<std::wstring> kPieces{L"a",      L"A", L"b",      L"-",      L"'",      L" ",      L"ss",
                                        L"\u00df", L"e", L"\u00e9", L"\u00c9", L"\u00ad", L"\u4e2d", L"1"};

const std::vector<Kind> kKinds{
    {"Texts", cmExact, [](Random& r, Keeper& k, int) { return k.Text(Pieces(r, kPieces, 4)); }},
    {"PlainTexts", cmExact,
     [](Random& r, Keeper& k, int) {
         return k.Text(Pieces(r, {L"a", L"A", L"b", L"."}, 4));
     }},
    {"Phones", cmLast7Digits,
     [](Random& r, Keeper& k, int) {
         return k.Text(Pieces(r, {L"1", L"2", L"-", L" ", L"+", L"x"}, 9));
     }},
    {"TimesInOrder", cmExact, [](Random& r, Keeper&, int i) { return Time(1000u + i - r() % 3); }},
    {"TimesWithinADay", cmTimeWithinDay,
     [](Random& r, Keeper&, int) { return Time(r() % 40 * 36'000'000'000ull * 5); }},
    {"Numbers", cmExact, [](Random& r, Keeper&, int) { return Number(static_cast<LONG>(r() % 200) - 100); }},
    {"NumbersThatWrap", cmExact, [](Random& r, Keeper&, int) { return Number(static_cast<LONG>(r())); }},
    {"NumbersThatWrapInTheEnd", cmExact,
     [](Random& r, Keeper&, int i) { return Number(static_cast<LONG>(r() % (i < 60 ? 50 : 0xFFFFFFFF))); }},
    {"Bytes", cmExact,
     [](Random& r, Keeper& k, int) {
         return k.Bytes(Pieces(r, {L"a", L"A"}, 6));
     }},
    {"TextsThenNumbers", cmExact,
     [](Random& r, Keeper& k, int i) {
         return i < 50 ? k.Text(Pieces(r, kPieces, 3)) : Number(static_cast<LONG>(r() % 9));
     }},
};

class FiledValues : public testing::TestWithParam<Kind> {};

TEST_P(FiledValues, AreWhereTheTreePutsThem) {
    const CapturedLog log;
    for (unsigned seed = 0; seed < 30; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        Keeper keeper;
        std::vector<SPropValue> values;
        TComparyProp definition{};
        definition.lpszKey = L"Key";
        definition.ulPropTag = PR_SUBJECT_W;
        definition.nCompareMethod = GetParam().method;
        CTextHash textHash;
        CCmpData data(definition, false, textHash);
        CItems items;
        SlowTree slow;
        const auto compare = [&](int a, int b, bool& error) {
            long order = 1;
            error =
                !compare::ComparePropValues(&values[static_cast<size_t>(a)], &values[static_cast<size_t>(b)],
                                            &order, static_cast<ECompareMethod>(definition.nCompareMethod));
            return static_cast<int>(order);
        };
        const int n = seed == 0 ? 800 : 150;
        for (int i = 0; i < n; ++i) {
            SPropValue value = GetParam().make(random, keeper, i);
            values.push_back(value);
            CItems::CNewItem record(items, "Item");
            TItem& item = *record;
            TFiling filing{.data = &data, .value = value, .hash = data.HashOf(value)};
            data.Find({definition, items, item, &value, nullptr}, filing);
            data.File(item.nIndex, filing);
            items.Take(record);
            slow.Insert(i, compare);
            if (seed % 3 == 0 && random() % 30 == 0) {
                // Within a tolerance a node stands for the value that made it, its slow twin for its first item's.
                const bool isAny = definition.nCompareMethod != cmTimeWithinDay;
                const unsigned gone = isAny ? random() % (item.nIndex + 1) : item.nIndex;
                data.Remove(gone);
                slow.Remove(static_cast<int>(gone));
            }
            if (random() % 40 == 0) ExpectTwins(data, slow);
        }
        ExpectTwins(data, slow);
        std::vector<std::vector<int>> groups;
        for (const uint32_t node : data.Tree().NodesInOrder()) {
            const auto equals = data.Tree().FindEquals(data.Tree().FirstOf(node));
            groups.emplace_back(equals.begin(), equals.end());
        }
        ASSERT_EQ(groups, slow.Groups());
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, FiledValues, testing::ValuesIn(kKinds),
                         [](const auto& tested) { return tested.param.name; });

// ---- Streams and elements
// ----------------------------------------------------------------------------------------------------

class Filing : public SearchTest {};

/// Hosts set the locale of their thread as they like, between additions too.
TEST_F(Filing, TextsAreWhereTheTreePutsThemUnderTheLocaleOfTheCreation) {
    const LCID before = GetThreadLocale();
    constexpr LCID kGerman = 0x0407, kSwedish = 0x041D;  // an a with dots is an a, and a letter behind z
    for (unsigned seed = 0; seed < 10; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        ASSERT_TRUE(SetThreadLocale(kGerman));
        CDuplicateSearch search;
        Create(search, {Tagged(L"Subject", PR_SUBJECT_W)});
        SlowTree slow;
        std::vector<std::wstring> texts;
        for (int i = 0; i < 60; ++i) {
            texts.push_back(Pieces(random, {L"a", L"\u00e4", L"\u00c4", L"y", L"\u00fc", L"\u4e2d"}, 2));
            slow.Insert(i, [&](int a, int b, bool&) {
                return lstrcmpiW(texts[static_cast<size_t>(a)].c_str(),
                                 texts[static_cast<size_t>(b)].c_str());
            });
            const LCID ofCaller = random() % 2 ? kGerman : kSwedish;
            ASSERT_TRUE(SetThreadLocale(ofCaller));
            Add(search, Inbox().Item().Subject(texts.back()));
            ASSERT_EQ(GetThreadLocale(), ofCaller) << "not put back";
            ASSERT_TRUE(SetThreadLocale(kGerman));
        }
        ExpectTwins(*search.Plan()->compareData[0], slow);
    }
    SetThreadLocale(before);
}

/// Streams chunk by chunk, as their comparison reads them.
int CompareChunks(const std::wstring& a, const std::wstring& b) {
    constexpr size_t kCharacters = 256;
    for (size_t at = 0;; at += kCharacters) {
        const auto chunk = [at](const std::wstring& text) {
            return at < text.size() ? text.substr(at, kCharacters) : std::wstring();
        };
        const int order = lstrcmpiW(chunk(a).c_str(), chunk(b).c_str());
        if (order != 0 || chunk(a).empty() || chunk(b).empty()) return order;
    }
}

TEST_F(Filing, StreamsAreWhereTheTreePutsThem) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        CDuplicateSearch search;
        Create(search, {Tagged(L"Body", PR_BODY_W, cmExact, 1)});
        SlowTree slow;
        std::vector<std::wstring> bodies;
        for (int i = 0; i < 120; ++i) {
            const wchar_t letter = L"aAbBc\u00e9"[random() % 6];
            // As long as a head, one character shorter, longer by this and that.
            const size_t length = std::vector<size_t>{3, 255, 256, 300, 512, 700}[random() % 6];
            std::wstring body(length, letter);
            if (random() % 3 == 0) body.back() = L"xXy"[random() % 3];
            // One character that takes more than the others, its low byte one of theirs, anywhere.
            if (random() % 3 == 0)
                body[random() % std::min<size_t>(length, 256)] = L"\u0161\u0080\uff41"[random() % 3];
            bodies.push_back(body);
            Add(search, Inbox().Item().Body(body));
            slow.Insert(i, [&](int a, int b, bool&) {
                return CompareChunks(bodies[static_cast<size_t>(a)], bodies[static_cast<size_t>(b)]);
            });
            if (random() % 25 == 0) ExpectTwins(*search.Plan()->compareData[0], slow);
        }
        ExpectTwins(*search.Plan()->compareData[0], slow);
    }
}

TEST_F(Filing, ElementsAreWhereTheTreePutsThem) {
    constexpr ULONG kPhones[] = {PR_HOME_TELEPHONE_NUMBER_W, PR_MOBILE_TELEPHONE_NUMBER_W,
                                 PR_BUSINESS_TELEPHONE_NUMBER_W};
    for (unsigned seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        CDuplicateSearch search;
        Create(search, {Derived(L"Phone", propexAnyPhone, cmLast7Digits)}, okCallerOrder, {}, saSimilar);
        SlowTree slow;
        std::vector<std::wstring> filed;
        for (int i = 0; i < 80; ++i) {
            TestItem contact = Inbox().Item();
            for (const ULONG tag : kPhones) {
                if (random() % 2 == 0) continue;
                const std::wstring phone = Pieces(random, {L"1", L"2", L"-"}, 5);
                contact.Text(tag, phone);
                filed.push_back(phone);
                slow.Insert(static_cast<int>(filed.size()) - 1, [&](int a, int b, bool&) {
                    return compare::LPCWSTR_Compare(filed[static_cast<size_t>(a)].c_str(),
                                                    filed[static_cast<size_t>(b)].c_str(), cmLast7Digits);
                });
            }
            Add(search, contact);
            if (random() % 25 == 0) ExpectTwins(*search.Plan()->compareData[0], slow);
        }
        ExpectTwins(*search.Plan()->compareData[0], slow);
    }
}

}  // namespace
