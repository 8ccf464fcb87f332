// Recipient lists: normalising, comparing, their text form.

#include "compare/recipients.h"

#include <algorithm>

#include "compare/propex.h"
#include "compare/propex_text.h"
#include "compare/string_compare.h"
#include "compare/value_compare.h"
#include "tests/compare/sample_values.h"
#include "tests/support/CapturedLog.h"

using compare::TMessageRecipient;
using compare::TRecipientList;
using enum compare::EPropEx;
using enum logging::ESeverity;

namespace {

struct Person {
    std::wstring name, email;
    ULONG type = MAPI_TO;
    bool operator==(const Person&) const = default;
};

/// A list as the builder makes it, over texts of its own.
class List {
  public:
    explicit List(const std::vector<Person>& people) : m_people(people), m_records(people.size()) {
        for (size_t i = 0; i < m_people.size(); ++i) {
            m_records[i] = {m_people[i].name.data(), m_people[i].email.data(), m_people[i].type};
        }
        m_list = {static_cast<ULONG>(m_records.size()), m_records.data(), 0};
    }
    List(const List&) = delete;
    TRecipientList* Get() { return &m_list; }
    _PV Value() { return Arena::Of(SBinary{sizeof(m_list), reinterpret_cast<BYTE*>(&m_list)}); }
    std::vector<Person> People() const {
        std::vector<Person> people;
        for (const auto& r : m_records) people.push_back({r.name, r.email, r.type});
        return people;
    }
    std::wstring Text(size_t capacity = 512) {
        std::wstring buffer(capacity + 1, L'!');
        EXPECT_EQ(compare::RecipientsToText(&m_list, buffer.data(), capacity, false), buffer.data());
        EXPECT_EQ(buffer[capacity], L'!') << "written behind the buffer";
        return buffer.c_str();
    }

  private:
    std::vector<Person> m_people;
    std::vector<TMessageRecipient> m_records;
    TRecipientList m_list;
};

TEST(Recipients, NormalisesANameAndItsEmail) {
    const struct {
        std::wstring name, email, expectedName, expectedEmail;
    } rows[] = {
        {L"Ann", L"ann@x.org", L"Ann", L"ann@x.org"},
        {L"  Ann ", L" ann@x.org  ", L"Ann", L"ann@x.org"},
        {L"\tAnn", L"", L"\tAnn", L""},  // only blanks are trimmed
        {L"   ", L" ", L"", L""},
        {L"'Ann Lee'", L"ann@x.org", L"Ann Lee", L"ann@x.org"},
        {L"' Ann '", L"ann@x.org", L"Ann", L"ann@x.org"},
        {L"''", L"ann@x.org", L"", L"ann@x.org"},
        {L"'", L"ann@x.org", L"'", L"ann@x.org"},
        {L"'Ann", L"ann@x.org", L"'Ann", L"ann@x.org"},
        {L"''Ann''", L"ann@x.org", L"'Ann'", L"ann@x.org"},  // one pair
        {L"ANN@x.ORG", L"ann@x.org", L"", L"ann@x.org"},
        {L"'ann@x.org'", L"ann@x.org", L"", L"ann@x.org"},
        {L"bob@x.org", L"ann@x.org", L"bob@x.org", L"ann@x.org"},
        {L"Ann (Ann@X.org)", L"ann@x.org", L"Ann", L"ann@x.org"},
        {L"Ann  ( ann@x.org  )", L"ann@x.org", L"Ann", L"ann@x.org"},
        {L"'Ann (ann@x.org)'", L"ann@x.org", L"Ann", L"ann@x.org"},
        {L"(ann@x.org)", L"ann@x.org", L"", L"ann@x.org"},
        {L"Ann (ann@x.org) Lee", L"ann@x.org", L"Ann (ann@x.org) Lee", L"ann@x.org"},
        {L"Ann [ann@x.org]", L"ann@x.org", L"Ann [ann@x.org]", L"ann@x.org"},
        {L"Ann (ann@x.org", L"ann@x.org", L"Ann (ann@x.org", L"ann@x.org"},
        {L"ann@x.org)", L"ann@x.org", L"ann@x.org)", L"ann@x.org"},
        {L"ann@x.org (ann@x.org)", L"ann@x.org", L"ann@x.org (ann@x.org)",
         L"ann@x.org"},  // the first place counts
        {L"Ann (x)", L"", L"Ann (x)", L""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.name));
        List list({{row.name, row.email}});
        const bool changes = row.name != row.expectedName || row.email != row.expectedEmail;
        EXPECT_EQ(compare::NormalizeRecipients(list.Get()), changes);
        EXPECT_EQ(list.People(), (std::vector<Person>{{row.expectedName, row.expectedEmail}}));
    }
}

// Equal recipients are told apart by their case: they end where a selection sort puts them.
TEST(Recipients, ManySortAsASelectionSortDoes) {
    std::mt19937 random(11);
    for (int round = 0; round < 300; ++round) {
        const ULONG types[] = {MAPI_TO, MAPI_CC, 0xFFFFFFFF, round % 3 == 0 ? 0x7FFFFFFFu : ULONG{MAPI_BCC}};
        std::vector<Person> people(1 + random() % 60);
        for (Person& p : people) {
            p = {std::wstring(1, L"aAbBcC"[random() % 6]), std::wstring(1, L"xXy"[random() % 3]),
                 types[random() % 4]};
        }
        List list(people);
        const auto compare = [](Person& a, Person& b) {
            return compare::CompareRecipients({a.name.data(), a.email.data(), a.type},
                                              {b.name.data(), b.email.data(), b.type});
        };
        const std::vector<Person> before = people;
        for (size_t at = 0; at < people.size(); ++at) {
            size_t smallest = at;
            for (size_t i = at + 1; i < people.size(); ++i) {
                if (compare(people[i], people[smallest]) < 0) smallest = i;
            }
            std::swap(people[at], people[smallest]);
        }
        ASSERT_EQ(compare::NormalizeRecipients(list.Get()), people != before) << "round " << round;
        ASSERT_EQ(list.People(), people) << "round " << round;
    }
}

TEST(Recipients, ListsCompareAsListsOfPeople) {
    const struct {
        const char* what;
        std::vector<Person> first, second;
        int expected;
    } rows[] = {
        {"same people in another order",
         {{L"Bob", L"bob@x.org"}, {L"'Ann'", L"ann@x.org"}},
         {{L"ann (ANN@x.org)", L"ann@x.org"}, {L"BOB", L"bob@x.org"}},
         0},
        {"to is not cc", {{L"Ann", L"a@x", MAPI_TO}}, {{L"Ann", L"a@x", MAPI_CC}}, -1},
        {"a missing type sorts first", {{L"Ann", L"a@x", 0xFFFFFFFF}}, {{L"Ann", L"a@x", MAPI_TO}}, -1},
        {"the count decides first", {{L"z", L""}}, {{L"a", L""}, {L"b", L""}}, -1},
        {"empty lists", {}, {}, 0},
        {"the name decides before it", {{L"ann", L"b@x"}}, {{L"Bob", L"a@x"}}, -1},
        {"the e-mail decides last", {{L"Ann", L"b@x"}}, {{L"Ann", L"a@x"}}, 1},
    };
    for (const auto& row : rows) {
        List first(row.first), second(row.second);
        EXPECT_EQ(SignOf(compare::PV_Compare(first.Value(), second.Value(), PT_BINARY, cmRecipients)),
                  row.expected)
            << row.what;
        EXPECT_EQ(SignOf(compare::PV_Compare(second.Value(), first.Value(), PT_BINARY, cmRecipients)),
                  -row.expected)
            << row.what;
        const bool compared = row.first.size() == row.second.size() && !row.first.empty();
        EXPECT_EQ(first.Get()->normalised, compared ? 1u : 0u) << row.what;
        EXPECT_EQ(second.Get()->normalised, compared ? 1u : 0u) << row.what;
    }
}

TEST(Recipients, AreNormalisedOnceAndLoggedWhenThatChangedThem) {
    using People = std::vector<Person>;
    List changed(People{{L"'Ann'", L"a@x"}}), settled(People{{L"Ann", L"a@x"}});
    CapturedLog log(1, true);
    EXPECT_EQ(compare::CompareRecipientLists(changed.Get(), settled.Get()), 0);
    EXPECT_EQ(compare::CompareRecipientLists(changed.Get(), settled.Get()), 0);
    EXPECT_EQ(log.Lines(), (LogLines{{sevRaw, "", "Normalize recipients:\n"},
                                     {sevRaw, "", "\t  (count=1) { {\"'Ann'\",\"a@x\",1} }\n"},
                                     {sevRaw, "", "\t->(count=1) { {\"Ann\",\"a@x\",1} }\n"}}));
}

TEST(Recipients, ABinaryTooShortForAListIsNotRead) {
    List list(std::vector<Person>{{L"Ann", L"a@x"}});
    const _PV whole = list.Value(), cut = Arena::Of(SBinary{sizeof(TRecipientList) - 1, nullptr});
    CapturedLog log;
    EXPECT_GT(compare::PV_Compare(whole, cut, PT_BINARY, cmRecipients), 0);
    EXPECT_LT(compare::PV_Compare(cut, whole, PT_BINARY, cmRecipients), 0);
    EXPECT_NE(compare::PV_Compare(cut, cut, PT_BINARY, cmRecipients), 0);
    EXPECT_EQ(log.Count(sevError, "_PV_Compare", "assert failed in line 427\n"), 3u);
}

TEST(Recipients, TextFormTakesWholeRecipientsOnly) {
    List list({{L"Ann", L"a@x", MAPI_TO}, {L"Bob", L"b@x", 0xFFFFFFFF}});
    list.Get()->recipients[1].name = nullptr;
    const std::wstring whole = L"(count=2) { {\"Ann\",\"a@x\",1}, {NULL,\"b@x\",-1} }";
    const size_t first = whole.find(L"{NULL"), head = whole.find(L"{\"Ann");
    for (size_t capacity = 1; capacity <= whole.size() + 2; ++capacity) {
        const size_t expected = capacity > whole.size() ? whole.size()
                                : capacity > first      ? first
                                : capacity > head       ? head
                                                        : 0;
        ASSERT_EQ(list.Text(capacity), whole.substr(0, expected)) << "capacity " << capacity;
    }
    wchar_t buffer[64];
    EXPECT_STREQ(compare::RecipientsToText(nullptr, buffer, 64, true), L"NULL");
    EXPECT_STREQ(compare::RecipientsToText(List(std::vector<Person>{}).Get(), buffer, 64, true),
                 L"(TMessageRecipient, count=0)");
    const SPropValue value{PROP_TAG(PT_BINARY, 0x0E12), 0, list.Value()};
    EXPECT_EQ(compare::PropValueToText(&value, buffer, 64, propexRecipients, false), whole.substr(0, 63));
    EXPECT_STREQ(compare::PropValueToText(&value, buffer, 64, 0, false), L"(cb=24)");
}

}  // namespace
