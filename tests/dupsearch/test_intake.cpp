// Creating and adding: what is refused and what is written about it, values as they are compared.

#include "tests/dupsearch/search_fixture.h"

using dupsearch::CDuplicateSearch;
using dupsearch::TPlan;
using enum compare::EPropEx;
using enum logging::ESeverity;

namespace {

class Intake : public SearchTest {};

// ---- Definitions
// ------------------------------------------------------------------------------------------------

TEST_F(Intake, CreateReportsWhatItCannotUse) {
    TComparyProp props[] = {Tagged(L"Skipped", PR_BODY_W, cmExact, 2), Tagged(L"Subject", PR_SUBJECT_A)};
    const TComparyProps list{2, props};
    struct Case {
        TOriginalDefinition original;
        const char* lines;
        unsigned kind;
    };
    const char skipped[] = "Ignoring prop with not supported interface(2)\n";
    const char badField[] = "FieldValue original definition:bad field, using MostFilled\n";
    const Case cases[] = {{{okHasCrmId, 0, 0, {}, nullptr}, "", okHasCrmId},
                          {{8, 0, 0, {}, nullptr}, "Invalid original definition(8), using MostFilled\n", 0},
                          {{okFieldValue, 1, PT_UNICODE, {}, L"Home"}, "", okFieldValue},
                          {{okFieldValue, 1, PT_STRING8, {}, "Home"}, "", okFieldValue},
                          {{okFieldValue, 0, PT_UNICODE, {}, L"Home"}, badField, 0},
                          {{okFieldValue, 2, PT_UNICODE, {}, L"Home"}, badField, 0},
                          {{okFieldValue, 1, PT_LONG, {}, L"Home"}, badField, 0},
                          {{okFieldValue, 1, PT_UNICODE, {}, nullptr}, badField, 0}};
    for (const Case& c : cases) {
        CapturedLog log;
        CDuplicateSearch search;
        search.Create(Session(), &list, &c.original, saIdentical, false, nullptr, 0);
        EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.Create")), std::string(skipped) + c.lines);
        EXPECT_EQ(search.OriginalKind(), c.kind);
    }
    CapturedLog log;
    CDuplicateSearch search;
    search.Create(nullptr, nullptr, nullptr, saIdentical, false, nullptr, 3);
    EXPECT_EQ(TextOf(log.Lines(sevError)), "cExceptions > 0 && lpExceptions == NULL\n");
    EXPECT_EQ(Add(search, Inbox().Item()), -1) << "no session, nothing to compare";
    EXPECT_EQ(search.Build(), 1);
    EXPECT_TRUE(search.Groups().empty());
}

TEST_F(Intake, TheFirstItemSettlesWhatIsCompared) {
    TComparyProp originalOnly = Tagged(L"Only", PR_BODY_W, cmExact, 1), unknownOriginal = originalOnly;
    originalOnly.bCompare = unknownOriginal.bCompare = 0;
    unknownOriginal.ulPropTag = 0;
    TComparyProp late = Tagged(L"Late", PR_IMPORTANCE), early = Tagged(L"Early", PR_SENSITIVITY);
    late.nGroup = 40;
    early.nGroup = -3;
    CapturedLog log(3);
    CDuplicateSearch search;
    Create(search,
           {late, early, originalOnly, unknownOriginal, Named(L"Unknown", base::kSetTask, 0x9999, PT_LONG),
            Derived(L"Seven", 7), Derived(L"People", 6)},
           okCallerOrder, {cleContCompanyContact, 77}, saIdentical, true);
    EXPECT_EQ(Add(search, Inbox().Item()), 0);
    EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.OnFirstAdd")),
              "remove noncmp prop(key=Only,name=Name) from original definition props\n"
              "remove cmp prop(key=Unknown,name=Name) from search\n"
              "remove cmp propEx(key=Seven,name=Name,id=7) from search\n"
              "Unknown exception (77)\n");
    EXPECT_EQ(TextOf(log.Lines(sevInfo, "CDuplicateSearch.OnFirstAdd")),
              "Use cmp prop  (group=40, key=\"Late\", name=\"Name\")\n"
              "Use cmp prop  (group=-3, key=\"Early\", name=\"Name\")\n"
              "Use cmp propex(group=0, key=\"People\", name=\"Name\")\n"
              "Use exception (cleContCompanyContact (CompanyContact_notequal_PersonalContact))\n");
    const TPlan& p = *search.Plan();
    ASSERT_EQ(p.compareData.size(), 3u);
    EXPECT_EQ(p.nGroups, 3);
    EXPECT_EQ(p.compareData[0]->Definition().nGroup, 2);
    EXPECT_EQ(p.compareData[1]->Definition().nGroup, 0);
    EXPECT_EQ(p.compareData[2]->Definition().nCompareMethod, unsigned{cmRecipients});
    EXPECT_EQ(p.derivedIds, (std::vector<unsigned>{propexRecipients, propexCompanyContact}));
}

TEST_F(Intake, RulesReadWhatTheyNeed) {
    TestItem item = Inbox().Item();
    CapturedLog log(3);
    CDuplicateSearch search;
    TComparyProp subject = Tagged(L"S", PR_SUBJECT_W);
    subject.bCompare = 0;
    Create(search, {subject, Tagged(L"I", PR_IMPORTANCE)}, okCallerOrder, {1, 4, 6, 9});
    ASSERT_EQ(Add(search, item), 0);
    const TPlan& p = *search.Plan();
    EXPECT_EQ(std::vector<ULONG>(p.plainTags.begin(), p.plainTags.end()),
              (std::vector<ULONG>{PR_IMPORTANCE, PR_SUBJECT_W, PR_GIVEN_NAME_W, PR_SURNAME_W, PR_BIRTHDAY}));
    EXPECT_EQ(p.originalPlainTags.Count(), 0u) << "what a rule reads is not read twice";
    EXPECT_EQ(p.derivedIds, (std::vector<unsigned>{4, 2, 1, 3}));
    EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.OnFirstAdd")),
              "tagApntDuration\n"
              "FirstName & LastName & AnyEmail & AnyPhone must be in compare properties for cleContFirstLast "
              "exception\n"
              "tagTaskStartDate or tagTaskDueDate failed\n"
              "tagJrnlDuration\n");
}

// ---- Additions
// --------------------------------------------------------------------------------------------------

TEST_F(Intake, RefusedItemsLeaveOneReasonEach) {
    CDuplicateSearch search;
    Create(search, {Tagged(L"Subject", PR_SUBJECT_W), Tagged(L"Number", PR_IMPORTANCE)});
    ASSERT_EQ(Add(search, Inbox().Item().Subject(L"a")), 0);
    const std::string before = Describe(search);
    TestItem broken = Inbox().Item().Subject(L"a").Error(PR_IMPORTANCE, MAPI_E_NO_ACCESS);
    CapturedLog log(3);
    EXPECT_EQ(Add(search, broken), -1);
    EXPECT_EQ(
        log.Count(sevError, "Quorvel_IsEmptyValue", "Type=PT_ERROR, Value(0x80070005)!=MAPI_E_NOT_FOUND\n"),
        1u);
    EXPECT_EQ(TextOf(log.Lines(sevInfo, "CDuplicateSearch.Add")),
              "Item(" + Store().Id() + ") removing from duplicate search\n");
    for (const char* id : {"", "00", "not hexadecimal", static_cast<const char*>(nullptr)}) {
        log.Clear();
        EXPECT_EQ(search.Add(id, Store().Id().c_str(), nullptr, 0), 0);
        EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.Add")),
                  "cant open message, see prev errors in log\n");
        EXPECT_EQ(search.Add(broken.Id().c_str(), id, nullptr, 0), 0);
    }
    EXPECT_EQ(Describe(search), before);

    CDuplicateSearch nothing;
    Create(nothing, {Named(L"Unknown", base::kSetTask, 0x9999, PT_LONG)});
    for (int i = 0; i < 2; ++i) {
        log.Clear();
        EXPECT_EQ(Add(nothing, broken), -1);
        EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.Add")), "Number of props to compare = 0\n");
    }
}

TEST_F(Intake, AStoreIsOpenedOnceAndAnItemTwiceIsTwoItems) {
    CDuplicateSearch search;
    Create(search, {Tagged(L"Subject", PR_SUBJECT_W)});
    TestItem item = Inbox().Item().Subject(L"a");
    Session();
    mailbox::calls::Record();
    EXPECT_EQ(Add(search, item), 0);
    EXPECT_EQ(Add(search, item), 1);
    EXPECT_EQ(mailbox::calls::Count("IMAPISession::OpenMsgStore"), 1u);
    EXPECT_EQ(mailbox::calls::Count("IMAPIProp::GetProps"), 2u) << "an item is read once";
    EXPECT_EQ(Groups(search), (std::vector<std::vector<uint32_t>>{{0, 1}}));
}

TEST_F(Intake, ItemsAreOpenedAgainOnlyForWhatWasNotReadAsItIs) {
    struct Case {
        const wchar_t* first;
        const wchar_t* second;
        unsigned opened;
    };
    // Of a trimmed subject the item's own length is asked for.
    for (const Case& c :
         {Case{L"a", L"a", 1}, Case{L"a ", L"a ", 2}, Case{L"a ", L"a", 2}, Case{L"a", L"a ", 1}}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(c.first) + L"|" + c.second));
        CDuplicateSearch search;
        Create(search, {Tagged(L"Subject", PR_SUBJECT_W)}, okMostFilled);
        TestItem first = Inbox().Item().Subject(c.first), second = Inbox().Item().Subject(c.second);
        ASSERT_EQ(Add(search, first), 0);
        mailbox::calls::Record();
        EXPECT_EQ(Add(search, second), 1);
        EXPECT_EQ(mailbox::calls::Count("IMsgStore::OpenEntry"), c.opened);
        EXPECT_EQ(search.Item(0).nFilledProps, 1);
        EXPECT_EQ(search.Item(1).nFilledProps, 1);
    }
    CDuplicateSearch search;
    Create(search, {Tagged(L"Subject", PR_SUBJECT_W)}, okMostFilled);
    TestItem first = Inbox().Item().Subject(L"a ");
    ASSERT_EQ(Add(search, first), 0);
    mailbox::calls::Fail(
        {.method = "IMsgStore::OpenEntry", .result = MAPI_E_NO_ACCESS, .entryId = first.IdBytes()});
    for (const int filled : {-1, 1}) {
        EXPECT_EQ(Add(search, Inbox().Item().Subject(L"a ")), 1);
        EXPECT_EQ(search.Item(0).nFilledProps, filled) << "one that was out of reach is tried again";
    }
}

// A rule reads a property of its own; an item that cannot give it has a line where facts are counted.
TEST_F(Intake, AnItemHasALineForWhatCannotBeCountedOnceItHasEquals) {
    CDuplicateSearch search;
    Create(search, {Tagged(L"Subject", PR_SUBJECT_W)}, okMostFilled, {cleContFirstLast});
    CapturedLog log;
    const auto lines = [&] { return log.Count(sevError, "Quorvel_CountProps2", "PropError(-2147024891)\n"); };
    const size_t expected[] = {0, 2, 3};
    for (int i = 0; i < 3; ++i) {
        TestItem item = Inbox().Item().Subject(L"s").Text(PR_GIVEN_NAME_W, L"g").Text(PR_SURNAME_W, L"n");
        item.Error(PR_BIRTHDAY, MAPI_E_NO_ACCESS);
        EXPECT_EQ(Add(search, item), i > 0 ? 1 : 0);
        EXPECT_EQ(lines(), expected[i]) << "after item " << i;
    }
}

TEST_F(Intake, ASearchThatIsCreatedAgainKeepsNothing) {
    std::vector<TestItem> items;
    for (const wchar_t* subject : {L"a", L"b ", L"a", L"B", L"a"})
        items.push_back(Inbox().Item().Subject(subject));
    const auto run = [&](CDuplicateSearch& search) {
        Create(search, {Tagged(L"Subject", PR_SUBJECT_W)}, okMostFilled);
        for (const TestItem& item : items) Add(search, item);
        Groups(search);
        return Describe(search);
    };
    CDuplicateSearch fresh, used;
    Create(used, {Tagged(L"Importance", PR_IMPORTANCE), Tagged(L"Subject", PR_SUBJECT_W)}, okLargestValues,
           {cleMailSubjectEmptyOnOneSide}, saSimilar);
    for (const TestItem& item : items) Add(used, item);
    Groups(used);
    EXPECT_EQ(run(used), run(fresh));
}

TEST_F(Intake, NamesAreLookedUpUntilTheStoreHoldsThem) {
    CDuplicateSearch search;
    Create(search, {Derived(L"Email", propexAnyEmail)}, okCallerOrder, {}, saSimilar);
    const auto look = [&](const TestItem& contact, int found) {
        mailbox::calls::Record();
        EXPECT_EQ(Add(search, contact), found);
        return mailbox::calls::Count("IMAPIProp::GetIDsFromNames");
    };
    EXPECT_EQ(look(Inbox().Item(), 0), 3u) << "the store holds none of the three";
    EXPECT_EQ(look(Inbox().Item().Named(base::kSetAddress, 0x8083, L"a@example.org"), 0), 3u);
    EXPECT_EQ(look(Inbox().Item().Named(base::kSetAddress, 0x8083, L"a@example.org"), 1), 2u);
    EXPECT_EQ(look(Inbox().Item().Named(base::kSetAddress, 0x8093, L"A@example.org"), 1), 2u);
    EXPECT_EQ(look(Inbox().Item().Named(base::kSetAddress, 0x8093, L"b@example.org"), 0), 1u);
}

TEST_F(Intake, DumpsWhatItReadsAndFinds) {
    CDuplicateSearch search;
    CapturedLog log(0, true);
    Create(search, {Tagged(L"Subject", PR_SUBJECT_W), Derived(L"Mail", propexAnyEmail)}, okCallerOrder,
           {cleMailSubjectEmptyOnOneSide});
    const std::string rule(99, '-');
    EXPECT_EQ(TextOf(log.Lines(sevRaw)), rule + "\nNew Search\n" + rule + "\n");
    for (int i = 0; i < 3; ++i) {
        TestItem item = Inbox().Item().Subject(L" Plan\r\n").Named(base::kSetAddress, 0x8083, L"a@b.c");
        log.Clear();
        Add(search, item);
        const std::string n = std::to_string(i);
        std::string expected = "Add Item[" + n + "]:\n\tProps:\n\t\t[EntryID]:\t" + item.Id() +
                               "\n\t\t[Subject]:\t\" Plan\n"
                               "\"\n\t\t[Subject]->\t\"Plan\"\n"
                               "\t\t[Contact.AnyEmail]:\t(count=1){\"a@b.c\"}\n";
        if (i > 0) {
            const std::string equals = i == 1 ? " Item[0]" : " Item[0],Item[1]";
            expected += "\tFound equals:\n\t\titem[" + n + "] =" + equals + "\n";
            for (int other = 0; other < i; ++other) {
                expected += "\t\tCheckException( Item[" + n + "], Item[" + std::to_string(other) +
                            "], cleMailSubjectEmptyOnOneSide ):\n\t\t\tRESULT: SKIP\n";
            }
            expected += "\tFinal equals:\n\t\titem[" + n + "] =" + equals + "\n";
        }
        std::string dump = TextOf(log.Lines(sevRaw));
        std::erase(dump, '\r');
        EXPECT_EQ(dump, expected);
    }
}

TEST_F(Intake, UnknownAlgorithmFindsNothing) {
    CDuplicateSearch search;
    Create(search, {Tagged(L"Subject", PR_SUBJECT_W)}, okCallerOrder, {}, 2);
    CapturedLog log;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Add(search, Inbox().Item().Subject(L"a")), 0);
    }
    EXPECT_EQ(log.Count(sevError, "CDuplicateSearch.FindDuplicates", "Invalid CompareAlgorithm(2)"), 2u);
    EXPECT_TRUE(Groups(search).empty());
}

// ---- Values
// -----------------------------------------------------------------------------------------------------

TEST_F(Intake, ValuesThatCountAsEqual) {
    using Write = std::function<void(TestItem&)>;
    struct Case {
        const char* what;
        TComparyProp definition;
        Write a, b;
        bool equal;
    };
    const auto apnt = [](LONG id, auto value) {
        return [=](TestItem& item) { item.Named(base::kSetAppointment, id, value); };
    };
    const auto birthday = [](const wchar_t* subject, int year, bool allDay = true) {
        return [=](TestItem& item) {
            item.Subject(subject)
                .Named(base::kSetAppointment, 0x8213, LONG{1440})
                .Named(base::kSetAppointment, 0x8215, allDay);
            item.Named(base::kSetAppointment, 0x820D, Utc(year, 3, 4, 23));
        };
    };
    const auto flags = [](ULONG value) {
        return [=](TestItem& item) { item.Long(PR_MESSAGE_FLAGS, value); };
    };
    const auto sized = [](const wchar_t* subject, const wchar_t* body) {
        return [=](TestItem& item) { item.Subject(subject).Body(body); };
    };
    const TComparyProp start = Named(L"Start", base::kSetAppointment, 0x820D, PT_SYSTIME);
    TComparyProp canonical = start, approx = start, subject = Tagged(L"Subject", PR_SUBJECT_W);
    canonical.nCompareMethod = cmApntAlldaylikeStart;
    approx.nCompareMethod = cmApntApproxStart;
    TComparyProp yearlySubject = subject;
    yearlySubject.nCompareMethod = cmApntAlldaylikeSubject;
    const Case cases[] = {
        {"recurrence missing and false", Named(L"R", base::kSetAppointment, 0x8223, PT_BOOLEAN),
         [](TestItem&) {}, apnt(0x8223, false), true},
        {"recurrence missing and true", Named(L"R", base::kSetAppointment, 0x8223, PT_BOOLEAN),
         [](TestItem&) {}, apnt(0x8223, true), false},
        {"all-day-like by duration and by flag",
         Named(L"Appointment.AllDayEventLike", base::kSetAppointment, 0x8215, PT_BOOLEAN),
         apnt(0x8213, LONG{2880}), apnt(0x8215, true), true},
        {"the flag itself", Named(L"Appointment.AllDayEvent", base::kSetAppointment, 0x8215, PT_BOOLEAN),
         birthday(L"x", 2000, false), apnt(0x8215, true), false},
        {"birthday subjects in any order", yearlySubject, birthday(L"Smith  Ann's birthday", 2000),
         birthday(L"ann smith's Birthday", 2000), true},
        {"the same as plain subjects", subject, birthday(L"Smith Ann's birthday", 2000),
         birthday(L"ann smith's Birthday", 2000), false},
        {"birthdays of different years, canonical", canonical, birthday(L"Ann's birthday", 1999),
         birthday(L"Ann's birthday", 2015), true},
        {"other all-day events of different years", canonical, birthday(L"Ann", 1999), birthday(L"Ann", 2015),
         false},
        {"birthdays of different years, about", approx, birthday(L"Ann's birthday", 1999),
         birthday(L"Ann's birthday", 2015), true},
        {"unread by flags alone", Tagged(L"U", PR_CONTENT_UNREAD), flags(MSGFLAG_READ),
         flags(MSGFLAG_READ | 8), true},
        {"read and unread by flags alone", Tagged(L"U", PR_CONTENT_UNREAD), flags(MSGFLAG_READ), flags(0),
         false},
        {"sizes by content", Tagged(L"Z", PR_MESSAGE_SIZE), sized(L"abc", L"body"), sized(L"xyz", L"text"),
         true},
        {"sizes that differ", Tagged(L"Z", PR_MESSAGE_SIZE), sized(L"abc", L"body"), sized(L"xy", L"text"),
         false}};
    Inbox().Item().NamedTag(base::kSetAppointment, 0x8223, PT_BOOLEAN);
    for (const LONG id : {0x8223, 0x8215, 0x820D})
        Inbox().Item().NamedTag(base::kSetAppointment, id, PT_BOOLEAN);
    for (const Case& c : cases) {
        CDuplicateSearch search;
        Create(search, {c.definition});
        TestItem a = Inbox().Item(), b = Inbox().Item();
        c.a(a);
        c.b(b);
        EXPECT_EQ(Add(search, a), 0) << c.what;
        EXPECT_EQ(Add(search, b), c.equal) << c.what;
    }
    EXPECT_EQ(cases[0].equal, true);
}

TEST_F(Intake, TheYearOfAYearlyStartIsKept) {
    CDuplicateSearch search;
    TComparyProp start = Named(L"Start", base::kSetAppointment, 0x820D, PT_SYSTIME);
    start.nCompareMethod = cmApntAlldaylikeStart;
    TestItem item =
        Inbox().Item().Subject(L"Ann's birthday").Named(base::kSetAppointment, 0x8213, LONG{1440});
    item.Named(base::kSetAppointment, 0x820D, Utc(1975, 6, 10, 10));
    Create(search, {start});
    ASSERT_EQ(Add(search, item), 0);
    EXPECT_EQ(search.Item(0).nODApntAnnvrsryYear, 1975);
}

TEST_F(Intake, WrongMethodsAreAsserted) {
    CDuplicateSearch search;
    Create(search, {Tagged(L"A", PR_ACCOUNT_W, cmApntAlldaylikeSubject),
                    Tagged(L"B", PR_IMPORTANCE, cmApntAlldaylikeStart),
                    Tagged(L"C", PR_SENSITIVITY, cmApntApproxStart),
                    Named(L"Other", base::kSetAppointment, 0x8215, PT_BOOLEAN)});
    CapturedLog log;
    TestItem item = Inbox().Item().Text(PR_ACCOUNT_W, L"a").Long(PR_SENSITIVITY, 1);
    item.Named(base::kSetAppointment, 0x8215, true);
    Add(search, item);
    const std::string lines = TextOf(log.Lines(sevError, "CDuplicateSearch.Add_OverrideValue"));
    for (const char* text : {"\"cmApntAlldaylikeSubject: pProp->nTag == PR_SUBJECT\" is false\n",
                             "\"cmApntAlldaylikeStart: PROP_TYPE( pProp->nTag ) == PT_SYSTIME\" is false\n",
                             "\"cmApntApproxStart: PROP_TYPE( pProp->nTag ) == PT_SYSTIME\" is false\n",
                             "Unknown key for AllDayEvent*\n"}) {
        EXPECT_NE(lines.find(text), std::string::npos) << text;
    }
    log.Clear();
    Add(search, item);
    EXPECT_EQ(log.Count(sevError, "CCmpData.FindEqualsInRange", "Was errors\n"), 1u)
        << "a range of what is no time";
}

// ---- Streams
// ----------------------------------------------------------------------------------------------------

TEST_F(Intake, StreamsAreReopenedOnlyBehindTheirFirstChunk) {
    // Of what the letters of a text weigh, hyphens and apostrophes have nothing.
    for (const wchar_t character : {L'x', L'-', L'\''}) {
        SCOPED_TRACE(static_cast<char>(character));
        const std::wstring head(600, character);
        CDuplicateSearch search;
        Create(search, {Tagged(L"Body", PR_BODY_W, cmExact, 1)});
        ASSERT_EQ(Add(search, Inbox().Item().Body(head + L"1")), 0);
        struct Case {
            std::wstring body;
            unsigned opened;
            int found;
        };
        for (const Case& c :
             {Case{L"short", 1, 0}, Case{L"SHORT", 1, 1}, Case{head + L"2", 2, 0}, Case{head + L"1", 2, 1},
              Case{head + L"3", 1, 0}, Case{head + L"4", 1, 0}, Case{head + L"3", 2, 1}}) {
            TestItem item = Inbox().Item().Body(c.body);
            mailbox::calls::Record();
            EXPECT_EQ(Add(search, item), c.found);
            EXPECT_EQ(mailbox::calls::Count("IMsgStore::OpenEntry"), c.opened)
                << "of a body that ends in " << static_cast<char>(c.body.back());
        }
    }
}

TEST_F(Intake, AnUncomparedStreamLeavesTheItemUnfiled) {
    CDuplicateSearch search, similar;
    Create(search, {Tagged(L"Body", PR_BODY_W, cmExact, 1)});
    const std::wstring text(400, L'x');
    TestItem first = Inbox().Item().Body(text), second = Inbox().Item().Body(text), third = second;
    ASSERT_EQ(Add(search, first), 0);
    CapturedLog log;
    mailbox::TFault vanished{
        .method = "IMsgStore::OpenEntry", .result = MAPI_E_NOT_FOUND, .entryId = first.IdBytes()};
    mailbox::calls::Fail(vanished);
    EXPECT_EQ(Add(search, third), 1) << "opened again, it is there";
    EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.fnCompare")), "");
    EXPECT_EQ(search.Plan()->compareData[0]->Statistics().nComparesLast, 1);
    vanished.times = 2;
    mailbox::calls::Fail(vanished);
    EXPECT_EQ(Add(search, second), 0);
    EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.fnCompare")),
              "cant open message, see prev errors in log\n");
    EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.FindDuplicates_Identical_")),
              "IsPropEmpty == IsPropNotEmpty, for pItem(" + second.Id() + "), Prop(Body)\n");
    EXPECT_EQ(Add(search, second), 1) << "the next one finds the first again";
    // Where another property decides, what could not be placed says nothing for or against.
    Create(similar, {Tagged(L"Body", PR_BODY_W, cmExact, 1), Tagged(L"Class", PR_MESSAGE_CLASS_W)},
           okCallerOrder, {}, saSimilar);
    ASSERT_EQ(Add(similar, first), 0);
    log.Clear();
    mailbox::calls::Fail(vanished);
    EXPECT_EQ(Add(similar, second), 1);
    EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.FindDuplicates_Similar_")),
              "IsPropEmpty == IsPropNotEmpty, for pItem(" + second.Id() + "), Prop(Body)\n");
}

}  // namespace
