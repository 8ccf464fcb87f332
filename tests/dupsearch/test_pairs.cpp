// Pairs that must not be called duplicates: what an exception rule exempts, and what two definitions of one
// property tell apart.

#include <functional>

#include "tests/dupsearch/search_fixture.h"

using dupsearch::CDuplicateSearch;
using enum compare::EPropEx;

namespace {

using Write = std::function<void(TestItem&)>;

class Pairs : public SearchTest {
  protected:
    /// Whether the search takes the second item for a duplicate of the first.
    bool AreEqual(const std::vector<TComparyProp>& definitions, unsigned algorithm,
                  const std::vector<unsigned>& rules, const Write& a, const Write& b) {
        CDuplicateSearch search, others;
        Create(search, definitions, okCallerOrder, rules, algorithm);
        Create(others, definitions, okCallerOrder, rules, algorithm);
        const auto add = [&](CDuplicateSearch& to, const Write& write) {
            TestItem item = Inbox().Item();
            write(item);
            const int found = Add(to, item);
            EXPECT_NE(found, -1);
            return found > 0;
        };
        add(search, a);
        const bool found = add(search, b);
        add(others, b);
        const bool own = add(others, b);
        EXPECT_EQ(add(search, b), found || own) << "whoever else came before";
        return found;
    }
};

Write Subject(const wchar_t* subject, LONG apntDuration = -1, LONG jrnlDuration = -1) {
    return [=](TestItem& item) {
        if (subject) item.Subject(subject);
        if (apntDuration >= 0) item.Named(base::kSetAppointment, 0x8213, apntDuration);
        if (jrnlDuration >= 0) item.Named(base::kSetJournal, 0x8707, jrnlDuration);
    };
}

Write Dates(bool start, bool due) {
    return [=](TestItem& item) {
        if (start) item.Named(base::kSetTask, 0x8104, Utc(2024, 1, 1));
        if (due) item.Named(base::kSetTask, 0x8105, Utc(2024, 1, 2));
    };
}

struct Person {
    const wchar_t* first = nullptr;
    const wchar_t* last = nullptr;
    const wchar_t* company = nullptr;
    const wchar_t* email = nullptr;
    const wchar_t* address = nullptr;
    const wchar_t* homePhone = nullptr;
    const wchar_t* workPhone = nullptr;
    int birthday = 0;  // day of May 1980
    void operator()(TestItem& item) const {
        const auto text = [&](ULONG tag, const wchar_t* value) {
            if (value) item.Text(tag, value);
        };
        text(PR_GIVEN_NAME_W, first);
        text(PR_SURNAME_W, last);
        text(PR_COMPANY_NAME_W, company);
        text(PR_HOME_TELEPHONE_NUMBER_W, homePhone);
        text(PR_BUSINESS_TELEPHONE_NUMBER_W, workPhone);
        if (email) item.Named(base::kSetAddress, 0x8083, email);
        if (address) item.Named(base::kSetAddress, 0x801A, address);
        if (birthday) item.Time(PR_BIRTHDAY, Utc(1980, 5, birthday));
    }
};

TEST_F(Pairs, RulesExempt) {
    struct Case {
        const char* what;
        unsigned rule;
        Write a, b;
        bool exempt;
    };
    const Case cases[] = {
        {"an empty subject, other durations", 1, Subject(L"", 30), Subject(L"x", 60), true},
        {"an empty subject, one duration", 1, Subject(L"", 30), Subject(L"x"), true},
        {"a blank subject, equal durations", 1, Subject(L" \r\n", 30), Subject(L"x", 30), false},
        {"no durations", 1, Subject(nullptr), Subject(L"x"), false},
        {"two subjects, other durations", 1, Subject(L"y", 30), Subject(L"x", 60), false},
        {"company and person", 2, Person{.company = L"Acme"}, Person{.first = L"Ann", .company = L"Acme"},
         true},
        {"two companies", 2, Person{.company = L"Acme"}, Person{.company = L"Acme"}, false},
        {"company and nobody", 2, Person{.company = L"Acme"}, Person{}, false},
        {"first and last", 3, Person{.first = L"Ann"}, Person{.last = L"Ann"}, true},
        {"first and both", 3, Person{.first = L"Ann"}, Person{.first = L"Ann", .last = L"Lee"}, false},
        {"a subject on one side, task", 5, Subject(L"x"), Subject(L" "), true},
        {"a subject on one side, mail", 7, Subject(nullptr), Subject(L"x"), true},
        {"a subject on one side, journal", 8, Subject(L"x"), Subject(nullptr), true},
        {"no subjects", 7, Subject(L""), Subject(nullptr), false},
        {"start and due", 6, Dates(true, false), Dates(false, true), true},
        {"due and start", 6, Dates(false, true), Dates(true, false), true},
        {"both dates and due", 6, Dates(true, true), Dates(false, true), false},
        {"no subjects, other durations", 9, Subject(L"", -1, 5), Subject(nullptr, -1, 6), true},
        {"no subjects, equal durations", 9, Subject(L"", -1, 5), Subject(nullptr, -1, 5), false},
        {"a subject, other durations", 9, Subject(L"x", -1, 5), Subject(nullptr, -1, 6), false},
    };
    // Names that the first item's store has to know.
    TestItem names = Inbox().Item();
    names.NamedTag(base::kSetAppointment, 0x8213, PT_LONG);
    names.NamedTag(base::kSetJournal, 0x8707, PT_LONG);
    for (const LONG id : {0x8104, 0x8105}) names.NamedTag(base::kSetTask, id, PT_SYSTIME);
    for (const Case& c : cases) {
        for (const bool swapped : {false, true}) {
            EXPECT_EQ(AreEqual({Tagged(L"Key", PR_MESSAGE_CLASS_W)}, saIdentical, {99, c.rule},
                               swapped ? c.b : c.a, swapped ? c.a : c.b),
                      !c.exempt)
                << "rule " << c.rule << ": " << c.what;
            EXPECT_TRUE(AreEqual({Tagged(L"Key", PR_MESSAGE_CLASS_W)}, saIdentical, {}, c.a, c.b)) << c.what;
        }
    }
}

// People who agree in part of a name, or in nothing but what is empty.
TEST_F(Pairs, HalfANameIsNotEnough) {
    struct Case {
        const char* what;
        Person a, b;
        bool exempt;
    };
    const wchar_t *const ann = L"Ann", *const lee = L"Lee";
    const Case cases[] = {
        {"first name alone", {.first = ann}, {.first = ann, .last = lee}, true},
        {"last name alone", {.last = lee}, {.last = lee}, true},
        {"both names", {.first = ann, .last = lee}, {.first = L"ANN", .last = lee}, false},
        {"first name and e-mail",
         {.first = ann, .email = L"a@b.c"},
         {.first = ann, .email = L"A@b.c"},
         false},
        {"first name and address",
         {.first = ann, .address = L"Mill Rd"},
         {.first = ann, .address = L"mill rd"},
         false},
        {"first name and home phone",
         {.first = ann, .homePhone = L"555-1234"},
         {.first = ann, .homePhone = L"5551234"},
         false},
        {"home phone at work",
         {.first = ann, .homePhone = L"5551234"},
         {.first = ann, .workPhone = L"5551234"},
         true},
        {"first name and birthday", {.first = ann, .birthday = 4}, {.first = ann, .birthday = 4}, false},
        {"first name, other birthdays", {.first = ann, .birthday = 4}, {.first = ann, .birthday = 5}, true},
        {"a nameless person", {}, {.first = ann, .last = lee}, true},
        {"a nameless person's e-mail",
         {.email = L"a@b.c"},
         {.first = ann, .last = lee, .email = L"a@b.c"},
         false},
        {"a company", {.company = L"Acme"}, {.company = L"Acme"}, false},
    };
    const std::vector<TComparyProp> definitions{
        Tagged(L"Key", PR_MESSAGE_CLASS_W), Tagged(L"Key", PR_GIVEN_NAME_W), Tagged(L"Key", PR_SURNAME_W),
        Derived(L"Key", propexAnyEmail), Derived(L"", propexAnyPhone, cmLast7Digits)};
    std::vector<TComparyProp> withAddress = definitions;
    withAddress.push_back(Derived(L"Key", propexAnyAddress));
    for (const Case& c : cases) {
        for (const auto& compared : {definitions, withAddress}) {
            EXPECT_EQ(AreEqual(compared, saSimilar, {cleContFirstLast}, c.a, c.b), !c.exempt) << c.what;
            EXPECT_EQ(AreEqual(compared, saSimilar, {cleContFirstLast}, c.b, c.a), !c.exempt)
                << c.what << ", swapped";
        }
    }
}

// Of the telephones only those of the person tell who it is.
TEST_F(Pairs, SomePhonesAreNobodysOwn) {
    const ULONG shared[] = {PR_BUSINESS_TELEPHONE_NUMBER_W,
                            PR_BUSINESS2_TELEPHONE_NUMBER_W,
                            PR_BUSINESS_FAX_NUMBER_W,
                            PR_COMPANY_MAIN_PHONE_NUMBER_W,
                            PR_TELEX_NUMBER_W,
                            PR_ASSISTANT_TELEPHONE_NUMBER_W};
    for (const ULONG tag : base::kPhoneTags) {
        const Write write = [tag](TestItem& item) {
            item.Text(PR_MESSAGE_CLASS_W, L"IPM.Contact").Text(PR_GIVEN_NAME_W, L"Ann").Text(tag, L"5551234");
        };
        EXPECT_EQ(AreEqual({Tagged(L"Key", PR_MESSAGE_CLASS_W), Tagged(L"Key", PR_GIVEN_NAME_W),
                            Tagged(L"Key", PR_SURNAME_W), Derived(L"Key", propexAnyEmail),
                            Derived(L"", propexAnyPhone, cmLast7Digits)},
                           saSimilar, {cleContFirstLast}, write, write),
                  std::ranges::count(shared, tag) == 0)
            << std::hex << tag;
    }
}

// A property compared twice, once as it is and once as something else: each definition has its own value.
TEST_F(Pairs, DefinitionsOfOnePropertyCompareEachItsOwn) {
    const TComparyProp flag = Named(L"Appointment.AllDayEvent", base::kSetAppointment, 0x8215, PT_BOOLEAN);
    const TComparyProp like =
        Named(L"Appointment.AllDayEventLike", base::kSetAppointment, 0x8215, PT_BOOLEAN);
    const TComparyProp plain = Tagged(L"Key", PR_SUBJECT_W),
                       yearly = Tagged(L"Key", PR_SUBJECT_W, cmApntAlldaylikeSubject);
    const TComparyProp start = Named(L"Key", base::kSetAppointment, 0x820D, PT_SYSTIME);
    const TComparyProp canonical =
        Named(L"", base::kSetAppointment, 0x820D, PT_SYSTIME, cmApntAlldaylikeStart);
    const auto birthday = [](const wchar_t* subject, int year, bool allDay) -> Write {
        return [=](TestItem& item) {
            item.Subject(subject)
                .Named(base::kSetAppointment, 0x8213, LONG{1440})
                .Named(base::kSetAppointment, 0x8215, allDay);
            item.Named(base::kSetAppointment, 0x820D, Utc(year, 3, 4, 23));
        };
    };
    struct Case {
        const char* what;
        TComparyProp asItIs, replaced;
        Write a, b;
    };
    const Case cases[] = {
        {"the flag", flag, like, birthday(L"x", 2000, true), birthday(L"x", 2000, false)},
        {"the subject", plain, yearly, birthday(L"Smith Ann's birthday", 2000, true),
         birthday(L"Ann Smith's birthday", 2000, true)},
        {"the start", start, canonical, birthday(L"Ann's birthday", 2000, true),
         birthday(L"Ann's birthday", 2010, true)},
    };
    Inbox().Item().NamedTag(base::kSetAppointment, 0x8215, PT_BOOLEAN);
    Inbox().Item().NamedTag(base::kSetAppointment, 0x820D, PT_SYSTIME);
    for (const Case& c : cases) {
        EXPECT_TRUE(AreEqual({c.replaced}, saIdentical, {}, c.a, c.b)) << c.what;
        for (const bool swapped : {false, true}) {
            const Write &a = swapped ? c.b : c.a, &b = swapped ? c.a : c.b;
            EXPECT_FALSE(AreEqual({c.asItIs, c.replaced}, saIdentical, {}, a, b)) << c.what;
            EXPECT_FALSE(AreEqual({c.replaced, c.asItIs}, saIdentical, {}, a, b))
                << c.what << ", the other way round";
        }
    }
}

}  // namespace
