// The index of candidates against no index: a fast check, which asks the index, and a check of the contact itself,
// which does not, say the same of every ordered pair of random address books. QUORVEL_BOOKS=FIRST:END has others of
// them in every count mode.

#include <cstdlib>
#include <random>

#include "similar/CSimilarSearch.h"
#include "tests/similar/SimilarFixture.h"
#include "tests/support/CapturedLog.h"

namespace {

using similar::CSimilarSearch;
using similar::TCheckResult;

constexpr int kContacts = 60;
constexpr LCID kLocales[] = {
    0x0409, 0x0407, 0x041F /* its own capital of i */, 0x0405, 0x0406,
    0x040E, 0x0411,  // ch, aa, dzs as letters
};

const wchar_t* const kFirstNames[] = {L"Jon",    L"John",     L"Anna", L"Smith",
                                      L"Jordan", L"Zo\u00eb", L"J.",   L"\u0130da"};
const wchar_t* const kLastNames[] = {L"Smith", L"Smyth", L"Jordan", L"John", L"M\u00fcller", L"Strau\u00df",
                                     L"S", L"O'Ma", L"Machova", L"Aagaard",
                                     L"\u041f\u0435\u0442\u0440\u043e\u0432",
                                     // A sign that repeats the letter in front of it
                                     L"O\u30fcMa\u30fc", L"OOMaa"};
const wchar_t* const kCompanies[] = {L"Acme", L"Acme Ltd.", L"Nordwerft AG", L"\u682a\u5f0f\u4f1a\u793e"};
const wchar_t* const kPhones[] = {L"n/a",
                                  L"n/a1",
                                  L"555",
                                  L"0000",
                                  L"1",
                                  L"12",
                                  L"12 a",
                                  L"+1 (555) 010-2030",
                                  L"555010-2031",
                                  L"555 0203",
                                  L"\uff15\uff15\uff15"};
const wchar_t* const kEmails[] = {L"jon@example.org", L"john@example.org", L"michal@example.org",
                                  L"info@acme.com"};
const wchar_t* const kUrls[] = {L"http://www.acme.com/", L"acme.com", L"HTTP://acme.com\\",
                                L"https://acme.com", L"www."};
const wchar_t* const kWords[] = {L"Sales", L"sales", L"Head of Sales", L"Main St. 1", L"skype:jon"};
// What weighs nothing, several letters, what depends on its neighbours, and what is no character.
const wchar_t* const kOddities[] = {
    L"\u00ad", L"-",      L"'",      L"\u0301", L"\u00df",       L"\u00c6", L"\ufdfa",
    L"\ufb2a", L"\u30fc", L"\u0e40", L"\xd83d", L"\xd83d\xde00", L"\x01",   L"\u1100\u1161",
    L"\u337f", L"I",      L"\u0131", L"ch",     L"aa",           L"dzs",    L" "};

class CBook {
  public:
    explicit CBook(unsigned seed) : m_random(seed) {}

    size_t Below(size_t count) { return m_random() % count; }
    bool OneIn(size_t count) { return Below(count) == 0; }
    template <size_t N>
    std::wstring Of(const wchar_t* const (&texts)[N]) {
        return texts[Below(N)];
    }
    /// A text as somebody else writes it.
    std::wstring Written(std::wstring text) {
        if (OneIn(12)) {
            // Around the length from which on only the ends of a text are filed.
            const size_t length = OneIn(99) ? 12'000 : 54 + Below(7);
            text.clear();
            while (text.size() < length) text += static_cast<wchar_t>(L'a' + text.size() * 7 % 26);
        }
        for (size_t edits = Below(4) / 2; edits > 0 && !text.empty(); --edits) {
            const size_t at = Below(text.size());
            switch (Below(6)) {
                case 0:
                    text.erase(at, 1);
                    break;
                case 1:
                    text[at] = static_cast<wchar_t>(L'a' + Below(26));
                    break;
                case 2:
                    text.insert(at, 1, text[at]);
                    break;
                case 3:
                    text.insert(at, Of(kOddities));
                    break;
                case 4:
                    text.resize(at + 1);
                    break;
                default:
                    CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
            }
        }
        return text;
    }
    FILETIME Date() {
        switch (Below(8)) {
            case 0:
                return Utc(4501, 1, 1);
            case 1:
                return Utc(1899, 12, 28 + static_cast<int>(Below(4)), static_cast<int>(Below(24)));
            case 2:
                return {~0u, OneIn(2) ? ~0u : 0x7FFFFFFFu};
            default:
                return Utc(1980, 3, 1 + static_cast<int>(Below(3)), static_cast<int>(Below(24)));
        }
    }

  private:
    std::mt19937 m_random;
};

class Candidates : public SimilarTest {
  protected:
    TestItem AddRandom(CBook& book) {
        TestItem item = Inbox().Item(L"IPM.Contact").Time(PR_LAST_MODIFICATION_TIME, Utc(2026, 1, 1));
        const auto fill = [&](const wchar_t* field, const auto& texts, size_t oneIn) {
            if (book.OneIn(oneIn)) SetField(item, field, book.Written(book.Of(texts)));
        };
        const bool isNameless = book.OneIn(4);
        if (!isNameless) SetField(item, L"Full Name", book.Of(kLastNames));
        if (!isNameless || book.OneIn(3)) fill(L"First Name", kFirstNames, 1 + book.Below(3));
        if (!isNameless) fill(L"Last Name", kLastNames, 1 + book.Below(3));
        fill(L"Company", kCompanies, 5);
        for (const wchar_t* field : {L"Business Phone", L"Business Phone 2", L"Home Phone", L"Mobile Phone",
                                     L"Pager", L"Telex", L"Home Phone 2"})
            fill(field, kPhones, 6);
        for (const wchar_t* field : {L"E-mail", L"E-mail 2", L"E-mail 3"}) fill(field, kEmails, 6);
        for (const wchar_t* field : {L"Personal Home Page", L"Web Page"}) fill(field, kUrls, 5);
        for (const wchar_t* field : {L"Home Address Street", L"Other Address Street", L"IM Address",
                                     L"Department", L"Job Title", L"Nickname", L"Title", L"Notes", L"Spouse"})
            fill(field, kWords, 6);
        if (book.OneIn(3)) item.Time(PR_BIRTHDAY, book.Date());
        if (book.OneIn(9)) SetField(item, L"Categories", L"VIP|Friends");
        if (book.OneIn(60)) item.Long(PR_SURNAME_W, 7);
        if (book.OneIn(60)) item.Text(PR_BIRTHDAY, L"today");
        return item;
    }

    /// Every contact searched by, and all contacts checked.
    void ExpectTheSameOfAllPairs(CSimilarSearch& search, const std::vector<TestItem>& items,
                                 CapturedLog& log) {
        for (size_t searchBy = 0; searchBy < items.size(); ++searchBy) {
            SCOPED_TRACE("searched by contact " + std::to_string(searchBy));
            unsigned filled = 0;
            ASSERT_TRUE(search.SetSearchByItem(Open(items[searchBy]).Get(), &filled));
            std::vector<std::string> said[2];
            LogLines lines[2];
            for (const bool fast : {true, false}) {
                log.Clear();
                for (const TestItem& item : items) {
                    TCheckResult result;
                    EXPECT_TRUE(fast ? search.CheckItemFast(item.Id().c_str(), &result)
                                     : search.CheckItem(Open(item).Get(), &result));
                    said[fast].push_back(std::to_string(result.verdict) + " of " +
                                         std::to_string(result.filledCount) + " by " + search.VerdictTextA() +
                                         " (" + search.MatchedFieldsA() + ")");
                }
                lines[fast] = log.Lines();
            }
            EXPECT_EQ(said[true], said[false]);
            EXPECT_EQ(lines[true], lines[false]);
            if (HasFailure()) return;
        }
    }
};

TEST_F(Candidates, AreAllThatHaveAVerdictOrLeaveALine) {
    const char* const set = getenv("QUORVEL_BOOKS");
    unsigned first = 0, end = 28;
    ASSERT_TRUE(!set || sscanf(set, "%u:%u", &first, &end) == 2) << "QUORVEL_BOOKS=FIRST:END";
    const LCID before = GetThreadLocale();
    for (unsigned n = first; n < end && !HasFailure(); ++n) {
        SCOPED_TRACE("book " + std::to_string(n));
        SetThreadLocale(kLocales[n % std::size(kLocales)]);
        CBook book(n);
        std::vector<TestItem> items;
        for (int i = 0; i < kContacts; ++i) items.push_back(AddRandom(book));
        for (const unsigned countMode : {0u, 1u, 2u}) {
            if (!set && countMode != n % 3) continue;
            CSimilarSearch search(Session(), Store().Id().c_str(), countMode);
            CapturedLog log(3);
            for (const TestItem& item : items) search.AddToCache(Open(item).Get());
            ExpectTheSameOfAllPairs(search, items, log);
        }
    }
    SetThreadLocale(before);
}

// The search-by contact itself is changed, contacts leave and come, until the index has been renewed twice.
TEST_F(Candidates, StayRightWhileContactsComeAndGo) {
    CBook book(1);
    std::vector<TestItem> items;
    for (int i = 0; i < 20; ++i) items.push_back(AddRandom(book));
    CSimilarSearch search(Session(), Store().Id().c_str(), 0);
    CapturedLog log(3);
    unsigned filled = 0;
    ASSERT_TRUE(search.SetSearchByItem(Open(items[0]).Get(), &filled));
    for (int day = 1; day <= 2100; ++day) {
        TestItem& item = items[book.Below(items.size())];
        item.Time(PR_LAST_MODIFICATION_TIME, Utc(2026, 1, 1, day / 60 / 60 % 24, day / 60 % 60, day % 60));
        item.Text(PR_SURNAME_W, book.Written(L"Smith")).Text(PR_COMPANY_NAME_W, book.Written(L"Acme"));
        if (book.OneIn(3)) search.RemoveFromCache(item.Id().c_str(), false);
        search.AddToCache(Open(item).Get());
        TCheckResult fast, slow;
        const TestItem& checked = items[book.Below(items.size())];
        search.CheckItemFast(checked.Id().c_str(), &fast);
        search.CheckItem(Open(checked).Get(), &slow);
        ASSERT_EQ(fast.verdict, slow.verdict) << "on day " << day;
        if (day % 300 == 0) ExpectTheSameOfAllPairs(search, items, log);
    }
}

}  // namespace
