// The same items in one store and spread over several, each of which knows the names in an order of its own, and
// only some of them: what a search finds, and which copies it prefers, is the same.

#include <algorithm>
#include <random>

#include "tests/dupsearch/search_fixture.h"
#include "tests/support/store_names.h"

using dupsearch::CDuplicateSearch;
using enum compare::EPropEx;

namespace {

using Random = std::mt19937;
constexpr int kNone = -1;

int Below(Random& random, int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
}

constexpr LONG kStart = 0x820D, kDuration = 0x8213, kPlace = 0x8208, kAllDay = 0x8215, kRecurring = 0x8223;

/// What an item may have: one of a few values, under these names, if any.
struct TField {
    std::vector<TestName> names;
    void (*write)(TestItem& item, int value);
};

const TField kFields[] = {
    {{},
     [](TestItem& item, int value) {
         const wchar_t* const subjects[] = {L"Meeting", L"meeting ", L"Ann's Birthday", L"Birthday of Ann"};
         item.Subject(subjects[value]);
     }},
    {{{base::kSetAppointment, kStart}},
     [](TestItem& item, int value) {
         item.Named(base::kSetAppointment, kStart, Utc(2024 - value / 3, 7, 10, 9 + value % 2, 5 * value));
     }},
    {{{base::kSetAppointment, kDuration}},
     [](TestItem& item, int value) {
         item.Named(base::kSetAppointment, kDuration, static_cast<LONG>(value ? 1440 * (value / 2) : 30));
     }},
    {{{base::kSetAppointment, kPlace}},
     [](TestItem& item, int value) {
         item.Named(base::kSetAppointment, kPlace, L"Room " + std::to_wstring(value / 2));
     }},
    {{{base::kSetAppointment, kAllDay}},
     [](TestItem& item, int value) { item.Named(base::kSetAppointment, kAllDay, value % 2 != 0); }},
    {{{base::kSetAppointment, kRecurring}},
     [](TestItem& item, int value) { item.Named(base::kSetAppointment, kRecurring, value % 2 != 0); }},
    {{{base::kSetTask, 0x8104}},
     [](TestItem& item, int value) { item.Named(base::kSetTask, 0x8104, Utc(2024, 1, 1 + value)); }},
    {{{base::kSetTask, 0x8105}},
     [](TestItem& item, int value) { item.Named(base::kSetTask, 0x8105, Utc(2024, 2, 1 + value)); }},
    {{{base::kSetJournal, 0x8707}},
     [](TestItem& item, int value) { item.Named(base::kSetJournal, 0x8707, static_cast<LONG>(value)); }},
    {{{base::kSetPublicStrings, 0, L"Keywords"}},
     [](TestItem& item, int value) {
         item.NamedTexts(base::kSetPublicStrings, L"Keywords", {L"Work", L"Set " + std::to_wstring(value)});
     }},
    {{{base::kSetPublicStrings, 0, L"crmid"}},
     [](TestItem& item, int) {
         item.Text8(item.NamedTag(base::kSetPublicStrings, L"crmid", PT_STRING8), "7");
     }},
    {{{base::kSetAddress, 0x8083}},
     [](TestItem& item, int value) {
         item.Named(base::kSetAddress, 0x8083, L"a" + std::to_wstring(value) + L"@b.org");
     }},
    {{{base::kSetAddress, 0x8093}},
     [](TestItem& item, int value) {
         item.Named(base::kSetAddress, 0x8093, L"A" + std::to_wstring(value) + L"@b.org");
     }},
    {{{base::kSetAddress, 0x801B}},
     [](TestItem& item, int value) {
         item.Named(base::kSetAddress, 0x801B, L"Quay " + std::to_wstring(value));
     }},
    {{{base::kSetCommon, 0x8535}},
     [](TestItem& item, int value) {
         item.Named(base::kSetCommon, 0x8535, std::wstring(600, L'n') + std::to_wstring(value / 2));
     }},
    {{},
     [](TestItem& item, int value) {
         item.Text(PR_MOBILE_TELEPHONE_NUMBER_W, L"555-000" + std::to_wstring(value));
     }},
    {{}, [](TestItem& item, int value) { item.Text(PR_GIVEN_NAME_W, value % 2 ? L"Ann" : L"ANN"); }},
    {{}, [](TestItem& item, int value) { item.Text(PR_SURNAME_W, L"Lee" + std::to_wstring(value / 2)); }},
    {{}, [](TestItem& item, int) { item.Text(PR_COMPANY_NAME_W, L"Acme"); }},
    {{}, [](TestItem& item, int value) { item.Time(PR_BIRTHDAY, Utc(1990, 5, 1 + value)); }},
    {{},
     [](TestItem& item, int value) {
         item.Body(std::wstring(value % 2 ? 5 : 700, L'b') + std::to_wstring(value));
     }},
    {{}, [](TestItem& item, int value) { item.To(L"Ann", L"ann" + std::to_wstring(value) + L"@b.org"); }},
};
constexpr size_t kFieldCount = std::size(kFields);
using TCells = std::vector<int>;  // by field

TComparyProp Keywords() {
    TComparyProp definition = Named(L"Key", base::kSetPublicStrings, 0, PT_MV_UNICODE);
    definition.lpszID = L"Keywords";
    return definition;
}

const TComparyProp kDefinitions[] = {
    Tagged(L"Key", PR_SUBJECT_W),
    Tagged(L"Key", PR_SUBJECT_W, cmApntAlldaylikeSubject),
    Tagged(L"Key", PR_GIVEN_NAME_W),
    Tagged(L"Key", PR_SURNAME_W),
    Tagged(L"Key", PR_BIRTHDAY, cmDayAndMonth),
    Tagged(L"Key", PR_BODY_W, cmExact, 1),
    Tagged(L"Key", PR_MESSAGE_SIZE),
    Named(L"Key", base::kSetAppointment, kStart, PT_SYSTIME),
    Named(L"Key", base::kSetAppointment, kStart, PT_SYSTIME, cmTimeWithin10Min),
    Named(L"Key", base::kSetAppointment, kStart, PT_SYSTIME, cmApntAlldaylikeStart),
    Named(L"Key", base::kSetAppointment, kStart, PT_SYSTIME, cmApntApproxStart),
    Named(L"Key", base::kSetAppointment, kDuration, PT_LONG),
    Named(L"Key", base::kSetAppointment, kPlace, PT_UNICODE),
    Named(L"Key", base::kSetAppointment, kPlace, PT_STRING8, cmExact, 1),
    Named(L"Appointment.AllDayEvent", base::kSetAppointment, kAllDay, PT_BOOLEAN),
    Named(L"Appointment.AllDayEventLike", base::kSetAppointment, kAllDay, PT_BOOLEAN),
    Named(L"Key", base::kSetAppointment, kRecurring, PT_BOOLEAN),
    Named(L"Key", base::kSetTask, 0x8104, PT_SYSTIME),
    Named(L"Key", base::kSetTask, 0x8105, PT_SYSTIME, cmTimeWithinDay),
    Named(L"Key", base::kSetJournal, 0x8707, PT_LONG),
    Named(L"Key", base::kSetAddress, 0x8083, PT_UNICODE),
    Named(L"Key", base::kSetCommon, 0x8535, PT_UNICODE, cmExact, 1),
    Keywords(),
    Named(L"Key", base::kPrivateSet, propexAnyAddress, PT_MV_UNICODE),
    Named(L"Key", base::kPrivateSet, propexAnyEmail, PT_MV_UNICODE),
    Named(L"Key", base::kPrivateSet, propexAnyPhone, PT_MV_UNICODE, cmLast7Digits),
    Named(L"Key", base::kPrivateSet, propexCompanyContact, PT_BOOLEAN),
    Named(L"Key", base::kPrivateSet, propexRecipients, PT_BINARY),
};

struct TSearch {
    std::vector<TComparyProp> definitions;
    TOriginalDefinition original{};
    unsigned algorithm = saSimilar;
    bool grouped = false;
    std::vector<unsigned> rules;
};

class Spread : public MailboxTest {
  protected:
    using Items = std::vector<std::pair<TestItem, std::string>>;

    /// Who has equals on arrival, and the groups after every third item.
    std::string Run(const TSearch& wanted, const Items& items) {
        std::vector<TComparyProp> definitions = wanted.definitions;
        const TComparyProps list{static_cast<int>(definitions.size()), definitions.data()};
        CDuplicateSearch search;
        search.Create(Session(), &list, &wanted.original, wanted.algorithm, wanted.grouped,
                      wanted.rules.data(), static_cast<unsigned>(wanted.rules.size()));
        std::ostringstream text;
        for (size_t i = 0; i < items.size(); ++i) {
            unsigned found = 7;
            text << search.Add(items[i].first.Id().c_str(), items[i].second.c_str(), &found, 0) << found
                 << " ";
            if (i % 3 != 2 && i + 1 != items.size()) continue;
            search.Build();
            for (const auto& group : search.Groups()) {
                for (const uint32_t item : group) text << item << ",";
                text << "; ";
            }
        }
        return text.str();
    }

    TSearch MakeSearch(Random& random) {
        TSearch search;
        // Something that every store knows.
        search.definitions.push_back(kDefinitions[random() % 7]);
        for (const TComparyProp& definition : kDefinitions) {
            if (random() % 4 == 0) search.definitions.push_back(definition);
        }
        for (TComparyProp& definition : search.definitions) {
            definition.nGroup = Below(random, 3) * 7;
            if (&definition != &search.definitions[0] && definition.lpszGuid != base::kPrivateSet &&
                random() % 6 == 0)
                definition.bCompare = 0;
        }
        const bool byField = random() % 3 == 0;
        if (byField) {
            search.definitions.push_back(
                random() % 2 ? Keywords() : Named(L"Key", base::kSetAppointment, kPlace, PT_UNICODE));
            search.definitions.back().bCompare = random() % 2;
            std::swap(search.definitions.front(), search.definitions.back());
        }
        std::shuffle(search.definitions.begin() + byField, search.definitions.end(), random);
        const unsigned field = byField ? 0 : random() % static_cast<unsigned>(search.definitions.size());
        search.original = {
            byField ? unsigned{okFieldValue} : random() % (okHasCrmId + 1), field, PT_UNICODE, {}, L"1"};
        search.algorithm = random() % 2;
        search.grouped = random() % 2 != 0;
        for (unsigned rule = cleApntSubject; rule <= cleJrnlSubjectEmptyOnBothSides; ++rule) {
            if (random() % 5 == 0) search.rules.push_back(rule);
        }
        return search;
    }

    void RunOne(unsigned seed) {
        Random random(seed);
        TSearch search = MakeSearch(random);
        const bool firstKnowsMadeUp = random() % 3 != 0;
        if (!firstKnowsMadeUp) {
            // A definition that is out of the compared ones must not be what alone holds items together or apart.
            search.algorithm = saIdentical;
            search.grouped = false;
            search.definitions.push_back(Tagged(L"Key", PR_SUBJECT_W));
            search.definitions.push_back(Named(L"Key", base::kSetAppointment, kDuration, PT_LONG));
        }
        const size_t storeCount = 1 + random() % 4;
        const TestStore one = AddStore(L"One");
        std::vector<TestStore> stores;
        std::vector<std::vector<bool>> has;  // by store and field
        for (size_t s = 0; s < storeCount; ++s) {
            stores.push_back(AddStore(L"Store"));
            std::vector<TestName> known;
            has.emplace_back(kFieldCount);
            for (size_t f = 0; f < kFieldCount; ++f) {
                const bool isMadeUp = f == 4 || f == 5;
                has[s][f] =
                    s == 0 && isMadeUp ? firstKnowsMadeUp : kFields[f].names.empty() || random() % 4 != 0;
                if (has[s][f]) known.insert(known.end(), kFields[f].names.begin(), kFields[f].names.end());
                if (s == 0) TeachNames(one, kFields[f].names);
            }
            std::shuffle(known.begin(), known.end(), random);
            TeachNames(stores.back(), known);
        }
        Items together, apart;
        const int n = 2 + Below(random, 12), values = 1 + Below(random, 4), emptyOneIn = 2 + Below(random, 4);
        TCells cells(kFieldCount);
        for (int i = 0; i < n; ++i) {
            const size_t s = i == 0 ? 0 : random() % storeCount;
            // Most items are like another one but for a few of its fields.
            for (size_t f = 0; f < kFieldCount; ++f) {
                if (i == 0 || random() % 12 == 0)
                    cells[f] = Below(random, emptyOneIn) ? Below(random, values) : kNone;
            }
            if (!firstKnowsMadeUp) cells[0] = std::max(cells[0], 0);
            for (const bool spread : {false, true}) {
                TestFolder folder = spread ? stores[s].Root() : one.Root();
                TestItem item = folder.Item();
                for (size_t f = 0; f < kFieldCount; ++f) {
                    if (cells[f] != kNone && has[s][f]) kFields[f].write(item, cells[f]);
                }
                (spread ? apart : together).push_back({item, folder.StoreId()});
            }
        }
        std::string about = std::to_string(storeCount) + " stores, algorithm " +
                            std::to_string(search.algorithm) + (search.grouped ? ", grouped" : "") +
                            ", original kind " + std::to_string(search.original.nKind) + " of " +
                            std::to_string(search.original.nField) + ", " +
                            std::to_string(search.rules.size()) + " rules, definitions";
        for (const TComparyProp& definition : search.definitions) {
            char text[40];
            snprintf(text, sizeof text, " %x/%x/%u/%u%s", definition.ulPropTag,
                     static_cast<unsigned>(definition.nID), definition.nCompareMethod, definition.nInterface,
                     definition.bCompare ? "" : "-");
            about += text;
        }
        EXPECT_EQ(Run(search, apart), Run(search, together)) << "seed " << seed << ": " << about;
    }
};

/// Some seeds with a mailbox of their own.
class SpreadSeeds : public Spread, public testing::WithParamInterface<unsigned> {};

TEST_P(SpreadSeeds, ItemsOfSeveralStoresGiveTheGroupsOfOne) {
    for (unsigned seed = 50 * GetParam(); seed < 50 * (GetParam() + 1) && !HasFailure(); ++seed) RunOne(seed);
}
INSTANTIATE_TEST_SUITE_P(Seeds, SpreadSeeds, testing::Range(0u, 8u));

}  // namespace
