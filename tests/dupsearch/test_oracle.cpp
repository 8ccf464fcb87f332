// Random searches over a real mailbox against the search written out slowly: who has equals on arrival, the
// groups with their originals, and what every build changed.

#include <random>

#include "base/mapi_extra.h"
#include "dupsearch/CDuplicateSearch.h"
#include "tests/dupsearch/SlowSearch.h"
#include "tests/support/MailboxFixture.h"
#include "tests/support/definitions.h"

using dupsearch::CDuplicateSearch;
using dupsearch::TBuildChange;
using enum compare::EPropEx;

namespace {

using Random = std::mt19937;

int Below(Random& random, int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
}

/// The number as a text that differs in what does not count: letter case, and blanks at the ends where
/// allowed.
std::wstring TextOf(int value, Random& random, bool blanks) {
    std::wstring text = (random() % 2 ? L"Value " : L"vALUE ") + std::to_wstring(value);
    if (!blanks) return text;
    return (random() % 3 ? L"" : L" \t") + text + (random() % 3 ? L"" : L"\r\n");
}

std::wstring PhoneOf(int value, Random& random) {
    return (random() % 2 ? L"+49 (30) " : L"030/") + std::to_wstring(5550000 + value);
}

FILETIME TimeOf(long long seconds) {
    const FILETIME base = Utc(2024, 5, 1, 12);
    ULARGE_INTEGER time{{base.dwLowDateTime, base.dwHighDateTime}};
    time.QuadPart += static_cast<ULONGLONG>(seconds) * 10000000;
    return {time.LowPart, time.HighPart};
}

/// A compared property: how an item gets a cell, and how its values are equal.
struct Column {
    const char* name;
    TComparyProp definition;
    Equality equality;
    void (*write)(TestItem& item, const Cell& cell, Random& random);
};

constexpr LONG kStartId = 0x820D;
constexpr LONG kDurationId = 0x8213;
constexpr LONG kPlaceId = 0x8208;
constexpr LONG kNotesId = 0x8299;

const Column kColumns[] = {
    {"subject", Tagged(L"Key", PR_SUBJECT_A, cmExact), Equality::kSame,
     [](TestItem& item, const Cell& c, Random& r) {
         if (!c.empty())
             item.Subject(TextOf(c[0], r, true));
         else if (r() % 2)
             item.Subject(L" \r\n");
     }},
    {"named text", Named(L"Key", base::kSetAppointment, kPlaceId, PT_UNICODE, cmExact), Equality::kSame,
     [](TestItem& item, const Cell& c, Random& r) {
         if (!c.empty())
             item.Named(base::kSetAppointment, kPlaceId, TextOf(c[0], r, false));
         else if (r() % 2)
             item.Named(base::kSetAppointment, kPlaceId, L"");
     }},
    {"digits", Tagged(L"Key", PR_ACCOUNT_W, cmLast7Digits), Equality::kSame,
     [](TestItem& item, const Cell& c, Random& r) {
         if (!c.empty()) item.Text(PR_ACCOUNT_W, PhoneOf(c[0], r));
     }},
    {"number", Tagged(L"Key", PR_IMPORTANCE, cmExact), Equality::kSame,
     [](TestItem& item, const Cell& c, Random&) {
         if (!c.empty()) item.Long(PR_IMPORTANCE, static_cast<ULONG>(c[0]));
     }},
    {"time within ten minutes", Tagged(L"Key", PR_CLIENT_SUBMIT_TIME, cmTimeWithin10Min), Equality::kTolerant,
     [](TestItem& item, const Cell& c, Random&) {
         if (!c.empty()) item.Time(PR_CLIENT_SUBMIT_TIME, TimeOf(c[0] * 400));
     }},
    {"start within a day", Named(L"Key", base::kSetAppointment, kStartId, PT_SYSTIME, cmApntApproxStart),
     Equality::kNear,
     [](TestItem& item, const Cell& c, Random&) {
         if (!c.empty()) item.Named(base::kSetAppointment, kStartId, TimeOf(c[0] * 86400LL / kNearReach));
     }},
    {"any e-mail", Named(L"Key", base::kPrivateSet, propexAnyEmail, PT_MV_UNICODE, cmExact),
     Equality::kShared,
     [](TestItem& item, const Cell& c, Random& r) {
         for (size_t i = 0; i < c.size(); ++i) {
             item.Named(base::kSetAddress, std::array{0x8083, 0x8093, 0x80A3}[i], TextOf(c[i], r, false));
         }
     }},
    {"any phone", Named(L"Key", base::kPrivateSet, propexAnyPhone, PT_MV_UNICODE, cmLast7Digits),
     Equality::kShared,
     [](TestItem& item, const Cell& c, Random& r) {
         const ULONG tags[] = {PR_MOBILE_TELEPHONE_NUMBER_W, PR_BUSINESS_TELEPHONE_NUMBER_W,
                               PR_HOME_FAX_NUMBER_W};
         for (size_t i = 0; i < c.size(); ++i) item.Text(tags[i], PhoneOf(c[i], r));
     }},
    {"body", Tagged(L"Key", PR_BODY_W, cmExact, 1), Equality::kSame,
     [](TestItem& item, const Cell& c, Random& r) {
         // Long enough that some bodies differ behind their first chunk only.
         if (!c.empty())
             item.Body(std::wstring(c[0] % 2 ? 10 : 600, L'x') + TextOf(c[0], r, false));
         else if (r() % 2)
             item.Body(L" \r\n");
     }},
    {"named stream", Named(L"Key", base::kSetAppointment, kNotesId, PT_UNICODE, cmExact, 1), Equality::kSame,
     [](TestItem& item, const Cell& c, Random& r) {
         const std::wstring start(600, L'n');
         if (!c.empty()) item.Named(base::kSetAppointment, kNotesId, start + TextOf(c[0], r, false));
     }},
    {"recipients", Named(L"Key", base::kPrivateSet, propexRecipients, PT_BINARY, cmExact), Equality::kSame,
     [](TestItem& item, const Cell& c, Random& r) {
         if (c.empty()) return;
         const std::wstring first = L"r" + std::to_wstring(c[0]) + L"@example.org";
         if (r() % 2) item.To(L"Ann", L"ann@example.org");
         item.To(r() % 2 ? L"" : first, first);
         if (item.Record().data->recipients.size() == 1) item.To(L"'ann'", L"Ann@example.org");
     }},
};

/// What the rules of the random searches look at; part of every item, compared or not.
struct Facts {
    bool subject, first, last;
    int duration;  // 0: none
};

struct RandomItem {
    TestItem item;
    Facts facts;
};

bool ExemptBy(unsigned rule, const Facts& a, const Facts& b) {
    const auto company = [](const Facts& f) { return !f.first && !f.last; };
    switch (rule) {
        case cleApntSubject:
            return (!a.subject || !b.subject) && a.duration != b.duration;
        case cleContCompanyContact:
            return company(a) != company(b);
        case cleContFirstLastOnDiffSides:
            return (a.first && !a.last && !b.first && b.last) || (!a.first && a.last && b.first && !b.last);
        case cleMailSubjectEmptyOnOneSide:
            return a.subject != b.subject;
        default:
            return false;
    }
}

class Oracle : public MailboxTest {
  protected:
    /// One random search, built several times.
    void RunOne(unsigned seed) {
        Random random(seed);
        std::vector<const Column*> columns;
        for (const Column& column : kColumns) {
            if (random() % 3 == 0) columns.push_back(&column);
        }
        if (columns.empty()) columns.push_back(&kColumns[seed % std::size(kColumns)]);
        std::shuffle(columns.begin(), columns.end(), random);
        const bool identical = random() % 2, grouped = random() % 2;
        std::vector<unsigned> rules;
        if (random() % 3 == 0) rules = {cleApntSubject, cleContCompanyContact, 99};
        if (random() % 5 == 0) rules = {cleMailSubjectEmptyOnOneSide, cleContFirstLastOnDiffSides};
        const unsigned kinds[] = {okCallerOrder, okCallerOrder2, okMostFilled, okLargestValues};
        const unsigned kind = kinds[random() % (rules.empty() ? 4 : 2)];

        std::vector<TComparyProp> definitions;
        std::vector<SlowSearch::Property> properties;
        for (const Column* column : columns) {
            definitions.push_back(column->definition);
            definitions.back().nGroup = Below(random, 3) * 10 - 5;
            properties.push_back({column->equality, definitions.back().nGroup});
        }
        const TComparyProps list{static_cast<int>(definitions.size()), definitions.data()};
        const TOriginalDefinition original{kind, 0, 0, {}, nullptr};
        CDuplicateSearch search;
        search.Create(Session(), &list, &original, identical, grouped, rules.data(),
                      static_cast<unsigned>(rules.size()));

        std::vector<RandomItem> items;
        SlowSearch slow(properties, identical, grouped, kind, [&](int a, int b) {
            return std::any_of(rules.begin(), rules.end(), [&](unsigned rule) {
                return ExemptBy(rule, items[static_cast<size_t>(a)].facts,
                                items[static_cast<size_t>(b)].facts);
            });
        });
        const int n = 2 + Below(random, 16), values = 1 + Below(random, 5), emptyOneIn = 2 + Below(random, 4);
        std::string description, cells;
        for (const Column* column : columns) description += std::string(column->name) + ", ";
        SCOPED_TRACE(description + (identical ? "identical" : "similar") + (grouped ? ", grouped" : "") +
                     ", kind " + std::to_string(kind) + ", " + std::to_string(rules.size()) + " rules");
        for (int i = 0; i < n; ++i) {
            SlowItem slowItem;
            items.push_back(Make(columns, random, values, emptyOneIn, slowItem));
            slowItem.rank = random() % 4 ? 0 : Below(random, 3) - 1;
            unsigned found = 7;
            ASSERT_EQ(search.Add(items.back().item.Id().c_str(), Store().Id().c_str(), &found,
                                 static_cast<unsigned>(slowItem.rank)),
                      1);
            for (const Cell& cell : slowItem.cells) {
                cells += cell.empty() ? " -" : " ";
                for (const int value : cell) cells += std::to_string(value) + ".";
            }
            cells += "\n";
            ASSERT_EQ(found, slow.Add(slowItem) ? 1u : 0u) << "item " << i << " of " << n << "\n" << cells;
            if (random() % 5 == 0 || i == n - 1) Compare(search, slow);
            if (HasFatalFailure()) return;
        }
    }

  private:
    RandomItem Make(const std::vector<const Column*>& columns, Random& random, int values, int emptyOneIn,
                    SlowItem& slow) {
        TestItem item = Inbox().Item();
        for (const Column* column : columns) {
            Cell cell;
            const int wanted = column->equality == Equality::kShared ? 1 + Below(random, 3) : 1;
            if (Below(random, emptyOneIn) != 0) {
                for (int k = 0; k < wanted; ++k) cell.push_back(Below(random, values * (wanted > 1 ? 2 : 1)));
            }
            column->write(item, cell, random);
            slow.cells.push_back(cell);
        }
        const bool subjectCompared = std::count(columns.begin(), columns.end(), &kColumns[0]) != 0;
        Facts facts{random() % 3 != 0, random() % 2 == 0, random() % 2 == 0, Below(random, 3) * 17};
        if (subjectCompared) {
            facts.subject =
                !slow.cells[static_cast<size_t>(std::find(columns.begin(), columns.end(), &kColumns[0]) -
                                                columns.begin())]
                     .empty();
        } else if (facts.subject) {
            item.Subject(L"Subject");
        }
        if (facts.first) item.Text(PR_GIVEN_NAME_W, L"Ann");
        if (facts.last) item.Text(PR_SURNAME_W, L"Lee");
        item.Text(PR_COMPANY_NAME_W, L"Acme");
        if (facts.duration) item.Named(base::kSetAppointment, kDurationId, static_cast<LONG>(facts.duration));
        Measure(item, columns, slow);
        return {item, facts};
    }

    /// Filled properties and sizes, from the mailbox's own record of the item.
    void Measure(TestItem& item, const std::vector<const Column*>& columns, SlowItem& slow) {
        std::vector<int> streams;
        for (const Column* column : columns) {
            const TComparyProp& d = column->definition;
            if (d.lpszGuid && std::string(d.lpszGuid) == base::kPrivateSet) continue;
            const ULONG tag = d.ulPropTag ? d.ulPropTag : item.NamedTag(d.lpszGuid, d.nID, d.nType);
            const auto* slot = tag == 0 ? nullptr : item.Properties().Find(PROP_ID(tag));
            int size = slot ? 1 : 0;
            if (slot && PROP_TYPE(tag) != PT_LONG && PROP_TYPE(tag) != PT_SYSTIME)
                size = static_cast<int>(slot->size);
            if (d.nInterface == 1) {
                if (size == 3) size = 0;  // a blank line
                streams.push_back(2 * size);
            } else {
                slow.sizes.push_back(size);
            }
            slow.filled += size != 0;
        }
        slow.sizes.insert(slow.sizes.end(), streams.begin(), streams.end());
    }

    void Compare(CDuplicateSearch& search, SlowSearch& slow) {
        ASSERT_EQ(search.Build(), 1);
        slow.Build();
        std::vector<std::vector<int>> groups;
        for (const auto& group : search.Groups()) groups.emplace_back(group.begin(), group.end());
        ASSERT_EQ(groups, slow.Groups());
        std::vector<SlowChange> changes;
        for (const TBuildChange& c : search.Changes()) {
            changes.push_back(
                {c.kind, static_cast<int>(c.original), static_cast<int>(c.duplicate), c.position});
        }
        ASSERT_TRUE(changes == slow.Changes());
    }
};

TEST_F(Oracle, RandomSearchesAgree) {
    for (unsigned seed = 0; seed < 3000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RunOne(seed);
        if (HasFatalFailure()) return;
    }
}

}  // namespace
