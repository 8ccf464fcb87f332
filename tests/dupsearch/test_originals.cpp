// Choosing originals: the comparator by each kind, wanted values, recurrence, and whole groups.

#include "dupsearch/COriginals.h"
#include "dupsearch/recurrence.h"
#include "log/local_time.h"
#include "tests/dupsearch/search_fixture.h"

using dupsearch::CDuplicateSearch;
using dupsearch::TItem;
using dupsearch::TWantedValue;
using enum logging::ESeverity;
using items::CStoreNames;
using store::ComPtr;

namespace {

class Originals : public SearchTest {};

/// Facts of an item; what a case does not name is the same on both sides.
struct Facts {
    int rank = 0;
    int filled = 3;
    int size = 10;
    int field = 0;
    short recurrence = 0;
    short year = 0;
    short crm = 0;
    std::vector<ULONG> sizes = {1, 1, 1};
};

TItem ItemOf(const Facts& f, uint32_t index) {
    TItem item;
    item.nIndex = index;
    item.nCallerRank = static_cast<unsigned>(f.rank);
    item.nFilledProps = f.filled;
    item.nMessageSize = f.size;
    item.nHasFieldValue = f.field;
    item.nODApntRecurIndex = f.recurrence;
    item.nODApntAnnvrsryYear = f.year;
    item.nHasCRMID = f.crm;
    if (!f.sizes.empty()) {
        item.ValuesSizes = std::make_unique<ULONG[]>(f.sizes.size());
        std::copy(f.sizes.begin(), f.sizes.end(), item.ValuesSizes.get());
    }
    return item;
}

TEST_F(Originals, ComparatorByKind) {
    struct Case {
        const char* what;
        unsigned kind;
        Facts a, b;
        int order;  // a is added first
        const char* line;
    };
    const Case cases[] = {
        {"a tie: the earlier", okMostFilled, {}, {}, 1, ""},
        {"more filled", okMostFilled, {.filled = 2}, {.filled = 5}, -1, ""},
        {"unknown counts", okMostFilled, {.filled = -1}, {.filled = 5}, 1, "nFilledProps not initialized\n"},
        {"a lower rank before any fact", okMostFilled, {.rank = 2}, {.rank = -1, .filled = 0}, -1, ""},
        {"order of addition alone", okCallerOrder, {.filled = 0}, {}, 1, ""},
        {"order of addition alone", okCallerOrder2, {.filled = 0}, {}, 1, ""},
        {"two larger values against one",
         okLargestValues,
         {.sizes = {9, 0, 0}},
         {.sizes = {1, 1, 1}},
         -1,
         ""},
        {"as many larger as smaller", okLargestValues, {.filled = 1, .sizes = {9, 0, 1}}, {}, -1, ""},
        {"unknown sizes",
         okLargestValues,
         {.filled = 1, .sizes = {}},
         {},
         -1,
         "ValuesSizes not initialized\n"},
        {"larger item", okLargestItem, {.size = 9}, {}, -1, ""},
        {"unknown size", okLargestItem, {.size = -1}, {.filled = 9}, -1, "nMessageSize not initialized\n"},
        {"the wanted value", okFieldValue, {}, {.field = 1}, -1, ""},
        {"both have it", okFieldValue, {.filled = 1, .field = 1}, {.field = 1}, -1, ""},
        {"unknown", okFieldValue, {.field = -1}, {.field = 1}, 1, "nHasFieldValue not initialized\n"},
        {"recurring before filled", okApntRecurrence, {.filled = 9}, {.recurrence = 1}, -1, ""},
        {"a known year", okApntRecurrence, {.recurrence = 5}, {.recurrence = 1, .year = 1999}, -1, ""},
        {"the earlier year",
         okApntRecurrence,
         {.recurrence = 5, .year = 2020},
         {.recurrence = 5, .year = 1975},
         -1,
         ""},
        {"recurring before the year", okApntRecurrence, {.year = 1900}, {.recurrence = 2}, -1, ""},
        {"higher recurrence", okApntRecurrence, {.recurrence = 2}, {.recurrence = 4}, -1, ""},
        {"an unknown year",
         okApntRecurrence,
         {.recurrence = 2, .year = -1},
         {.recurrence = 4, .year = 1999},
         -1,
         "nODApntAnnvrsryYear not initialized\n"},
        {"unknown recurrence",
         okApntRecurrence,
         {.recurrence = -1},
         {.filled = 9},
         -1,
         "nODApntRecurIndex not initialized\n"},
        {"a CRM identifier", okHasCrmId, {.filled = 9}, {.crm = 1}, -1, ""},
        {"unknown", okHasCrmId, {.crm = -1}, {.crm = 1}, 1, "nHasCRMID not initialized\n"},
    };
    for (const Case& c : cases) {
        const TItem a = ItemOf(c.a, 0), b = ItemOf(c.b, 1);
        CapturedLog log;
        EXPECT_EQ(dupsearch::fnCompareOriginal(a, b, c.kind, 3), c.order) << c.what << ", kind " << c.kind;
        EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.fnCompareOriginal")), c.line) << c.what;
        EXPECT_EQ(dupsearch::fnCompareOriginal(b, a, c.kind, 3), -c.order) << c.what << ", swapped";
    }
    CapturedLog log;
    EXPECT_EQ(dupsearch::fnCompareOriginal(ItemOf({}, 0), ItemOf({}, 1), 8, 3), -1);
    EXPECT_EQ(TextOf(log.Lines(sevError)), "Invalid OriginalDefinition\n");
}

TEST_F(Originals, WantedValues) {
    wchar_t homeOffice[] = L"Home OFFICE", work[] = L"work", noon[] = L"";
    char home8[] = "at home";
    wchar_t* texts[] = {noon, work, homeOffice};
    char* texts8[] = {home8};
    const auto value = [](ULONG type, auto set) {
        SPropValue v{};
        v.ulPropTag = PROP_TAG(type, 0x6800);
        set(v.Value);
        return v;
    };
    const SPropValue text = value(PT_UNICODE, [&](auto& v) { v.lpszW = homeOffice; });
    const SPropValue text8 = value(PT_STRING8, [&](auto& v) { v.lpszA = home8; });
    const SPropValue list = value(PT_MV_UNICODE, [&](auto& v) { v.MVszW = {3, texts}; });
    const SPropValue list8 = value(PT_MV_STRING8, [&](auto& v) { v.MVszA = {1, texts8}; });
    const SPropValue number = value(PT_LONG, [](auto& v) { v.l = 7; });
    const SPropValue small = value(PT_I2, [](auto& v) { v.i = 7; });
    const SPropValue real = value(PT_DOUBLE, [](auto& v) { v.dbl = 0.5; });
    const SPropValue nan =
        value(PT_DOUBLE, [](auto& v) { v.dbl = std::numeric_limits<double>::quiet_NaN(); });
    const SPropValue flag = value(PT_BOOLEAN, [](auto& v) { v.b = 2; });
    const SPropValue time = value(PT_SYSTIME, [](auto& v) { v.ft = Utc(2024, 2, 29, 8, 30); });
    const SPropValue guid = value(PT_CLSID, [](auto&) {});
    SYSTEMTIME day{};
    day.wYear = 2024, day.wMonth = 2, day.wDay = 29, day.wHour = 8, day.wMinute = 30;
    SYSTEMTIME nearby = day;
    nearby.wMinute = 35;
    struct Case {
        const char* what;
        TWantedValue wanted;
        const SPropValue& value;
        ECompareMethod method;
        bool match;
        const char* line;
    };
    const Case cases[] = {
        {"part of a text", {.type = PT_UNICODE, .text = L"e off"}, text, cmExact, true, ""},
        {"no part of it", {.type = PT_UNICODE, .text = L"garden"}, text, cmExact, false, ""},
        {"part of an element", {.type = PT_UNICODE, .text = L"home"}, list, cmExact, true, ""},
        {"the second line", {.type = PT_UNICODE, .text = L"garden\r\n\r\nwor"}, list, cmExact, true, ""},
        {"empty lines alone", {.type = PT_UNICODE, .text = L"\r\n"}, list, cmExact, false, ""},
        {"8-bit, letter case counts", {.type = PT_STRING8, .text8 = "Home"}, text8, cmExact, false, ""},
        {"8-bit", {.type = PT_STRING8, .text8 = "home"}, text8, cmExact, true, ""},
        {"8-bit list", {.type = PT_STRING8, .text8 = "x\r\nhome"}, list8, cmExact, true, ""},
        {"a number", {.type = PT_LONG, .number = 7}, number, cmExact, true, ""},
        {"another number", {.type = PT_LONG, .number = 8}, number, cmExact, false, ""},
        {"a small number", {.type = PT_I2, .number = 7}, small, cmExact, true, ""},
        {"a real number", {.type = PT_DOUBLE, .real = 0.5}, real, cmExact, true, ""},
        {"no number", {.type = PT_DOUBLE, .real = nan.Value.dbl}, nan, cmExact, false, ""},
        {"both true", {.type = PT_BOOLEAN, .flag = true}, flag, cmExact, true, ""},
        {"true and false", {.type = PT_BOOLEAN}, flag, cmExact, false, ""},
        {"the same time", {.type = PT_SYSTIME, .time = day}, time, cmExact, true, ""},
        {"five minutes later", {.type = PT_SYSTIME, .time = nearby}, time, cmExact, false, ""},
        {"the same within ten minutes",
         {.type = PT_SYSTIME, .time = nearby},
         time,
         cmTimeWithin10Min,
         true,
         ""},
        {"a text for a number",
         {.type = PT_UNICODE, .text = L"7"},
         number,
         cmExact,
         false,
         "TypeOfValue(0x1f) != TypeOfProperty(0x3)\n"},
        {"a wide text for 8-bit ones",
         {.type = PT_UNICODE, .text = L"home"},
         list8,
         cmExact,
         false,
         "TypeOfValue(0x1f) != TypeOfProperty(0x101e)\n"},
        {"a type without matching", {.type = PT_CLSID}, guid, cmExact, false, "Invalid fieldtype=72\n"},
    };
    for (const Case& c : cases) {
        CapturedLog log;
        EXPECT_EQ(dupsearch::MatchesWantedValue(c.wanted, c.value, c.method), c.match) << c.what;
        EXPECT_EQ(TextOf(log.Lines(sevError, "CDuplicateSearch.CalcODProps(FieldValue)")), c.line) << c.what;
    }
}

TEST_F(Originals, RecurrenceOfAppointments) {
    struct Case {
        const char* subject;
        int recurring;  // -1: not said
        LONG minutes;
        int hour;  // local; -1: no start
        short index;
    };
    for (const Case& c : {Case{"x", -1, 1440, 0, 0}, Case{"x", 0, 1440, 0, 0}, Case{"x", 1, 30, 9, 1},
                          Case{"x", 1, 1440, 9, 2}, Case{"x", 1, 1440, 0, 3}, Case{"x", 1, 1440, -1, 2},
                          Case{"Ann's birthday", 1, 1440, 9, 4}, Case{"Ann's birthday", 1, 1440, 0, 5},
                          Case{"Ann's birthday", 1, 30, 0, 1}}) {
        TestItem item =
            Inbox().Item().Text8(PR_SUBJECT_A, c.subject).Named(base::kSetAppointment, 0x8213, c.minutes);
        if (c.recurring >= 0) item.Named(base::kSetAppointment, 0x8223, c.recurring != 0);
        if (c.hour >= 0) {
            const FILETIME local = Utc(2024, 1, 10, c.hour);
            FILETIME start;
            ASSERT_TRUE(logging::LocalFileTimeToFileTimeFIX(&local, &start));
            item.Named(base::kSetAppointment, 0x820D, start);
        }
        const ComPtr<IMessage> message = Open(item);
        CStoreNames names;
        EXPECT_EQ(dupsearch::CalcRecurIndex(message.Get(), names), c.index)
            << c.subject << ", recurring " << c.recurring << ", " << c.minutes << " minutes, at " << c.hour;
    }
}

/// Every kind over real items: the second of two equal items is the better one.
TEST_F(Originals, GroupsAreHeadedByTheBetterItem) {
    using Write = std::function<void(TestItem&)>;
    TComparyProp home = Tagged(L"Place", PR_LOCALITY_W);
    home.bCompare = 0;
    TComparyProp body = Tagged(L"Body", PR_BODY_W, cmExact, 1);
    body.bCompare = 0;
    struct Case {
        unsigned kind;
        Write better;
    };
    const Case cases[] = {
        {okMostFilled, [](TestItem& item) { item.Body(L"text"); }},
        {okLargestValues, [](TestItem& item) { item.Subject(L"  a  "); }},
        {okLargestItem, [](TestItem& item) { item.Attach(L"a", "data"); }},
        {okFieldValue, [](TestItem& item) { item.Text(PR_LOCALITY_W, L"my HOME town"); }},
        {okApntRecurrence, [](TestItem& item) { item.Named(base::kSetAppointment, 0x8223, true); }},
        {okHasCrmId, [](TestItem& item) {
             item.Text8(item.NamedTag(base::kSetPublicStrings, L"crmid", PT_STRING8), "x");
         }}};
    for (const Case& c : cases) {
        for (const bool interfaceOne : {false, true}) {
            TComparyProp definitions[] = {Tagged(L"Subject", PR_SUBJECT_W), home, body};
            definitions[1].nInterface = interfaceOne;
            const TComparyProps props{3, definitions};
            const TOriginalDefinition original{c.kind, 1, PT_STRING8, {}, "Home"};
            CDuplicateSearch search;
            search.Create(Session(), &props, &original, saIdentical, false, nullptr, 0);
            TestItem plain = Inbox().Item().Subject(L"a"), better = Inbox().Item().Subject(L"a");
            c.better(better);
            EXPECT_EQ(Add(search, plain), 0);
            EXPECT_EQ(Add(search, better), 1);
            EXPECT_EQ(Add(search, plain), 1);
            EXPECT_EQ(Groups(search), (std::vector<std::vector<uint32_t>>{{1, 0, 2}})) << "kind " << c.kind;
        }
    }
}

TEST_F(Originals, AStreamEndsWithItsLastWholeCharacter) {
    TComparyProp definitions[] = {Tagged(L"Subject", PR_SUBJECT_W),
                                  Tagged(L"Place", PR_LOCALITY_W, cmExact, 1)};
    definitions[1].bCompare = 0;
    const TComparyProps props{2, definitions};
    const std::string storeId = Store().Id(),
                      plain = Inbox().Item().Subject(L"a").Text(PR_LOCALITY_W, L"Bonn").Id(),
                      placed = Inbox().Item().Subject(L"a").Text(PR_LOCALITY_W, L"Homes").Id();
    // The first item stays unless the other has the text.
    for (const auto& [wanted, original] : {std::pair{L"home", placed}, std::pair{L"homes", plain}}) {
        const TOriginalDefinition definition{okFieldValue, 1, PT_UNICODE, {}, wanted};
        HSearch const search = Search_Create2(Session(), &props, &definition, saIdentical, 0, nullptr, 0);
        mailbox::calls::Fail(
            {.method = "IStream::Read", .result = S_FALSE, .times = 99, .perform = true, .limit = 9});
        for (const std::string& id : {plain, placed})
            EXPECT_EQ(Search_Add(search, id.c_str(), storeId.c_str(), nullptr, 0), 1);
        mailbox::calls::Reset();
        EXPECT_EQ(Search_Build(search), 1);
        char id[512] = "";
        unsigned size = sizeof id;
        Search_GetOriginal(search, 0, id, &size, nullptr, nullptr);
        EXPECT_EQ(id, original);
        Search_Delete(search);
    }
}

TEST_F(Originals, AFieldThatCannotBeReadFallsBack) {
    TComparyProp definitions[] = {Tagged(L"Subject", PR_SUBJECT_W),
                                  Named(L"Unknown", base::kSetTask, 0x9999, PT_UNICODE)};
    const TComparyProps props{2, definitions};
    const TOriginalDefinition original{okFieldValue, 1, PT_UNICODE, {}, L"x"};
    CDuplicateSearch search;
    search.Create(Session(), &props, &original, saIdentical, false, nullptr, 0);
    TestItem item = Inbox().Item().Subject(L"a");
    CapturedLog log;
    Add(search, item);
    Add(search, item);
    EXPECT_EQ(
        log.Count(sevError, "CDuplicateSearch.CalcODProps",
                  "Cant use FieldValue original definition for Prop.Key=Unknown, reset to MostFilled\n"),
        1u);
    EXPECT_EQ(search.OriginalKind(), unsigned{okMostFilled});
}

// ---- Exports
// ----------------------------------------------------------------------------------------------------

TEST_F(Originals, ExportsHandOutTheGroups) {
    CapturedLog log(3);
    const TComparyProp definition = Tagged(L"Subject", PR_SUBJECT_W);
    TComparyProp copy = definition;
    const TComparyProps props{1, &copy};
    HSearch search = Search_Create2(Session(), &props, nullptr, saIdentical, 0, nullptr, 0);
    copy.ulPropTag = 0;
    EXPECT_EQ(log.Lines(sevInfo, "Search_Create2"), (LogLines{{sevInfo, "Search_Create2", "->\n"}}))
        << "level 2 is written at level 3";
    TestItem a = Inbox().Item().Subject(L"a"), b = Inbox().Item().Subject(L"A"),
             c = Inbox().Item().Subject(L"a");
    for (const TestItem& item : {a, b}) {
        EXPECT_EQ(Search_Add(search, item.Id().c_str(), Store().Id().c_str(), nullptr, 0), 1);
    }
    EXPECT_EQ(Search_GetOriginalCount(search), 0) << "nothing is built yet";
    unsigned kind;
    const char *id, *store, *duplicate, *duplicateStore;
    int position;
    const auto change = [&](int index) {
        return Search_GetBuildChange(search, index, &kind, &id, &store, &duplicate, &duplicateStore,
                                     &position);
    };
    EXPECT_EQ(Search_Build(search), 1);
    ASSERT_EQ(change(0), 1);
    EXPECT_EQ(kind, unsigned{scNewGroup});
    EXPECT_EQ(id, a.Id());
    EXPECT_EQ(store, Store().Id());
    EXPECT_EQ(duplicate, nullptr);
    EXPECT_EQ(position, -1);
    ASSERT_EQ(change(1), 1);
    EXPECT_EQ(kind, unsigned{scJoined});
    EXPECT_EQ(duplicate, b.Id());
    EXPECT_EQ(duplicateStore, Store().Id());
    EXPECT_EQ(position, 0);
    for (const int index : {-1, 2}) EXPECT_EQ(change(index), 0);
    EXPECT_EQ(log.Count(sevError, "Search_GetBuildChange", "index is out of bounds\n"), 2u);

    EXPECT_EQ(Search_GetOriginalCount(search), 1);
    EXPECT_EQ(Search_GetDuplicateCount(search, 0), 1);
    EXPECT_EQ(Search_GetDuplicateCount(search, 1), 0);
    std::string buffer(b.Id().size() + 1, '?'), untouched(5, '?');
    unsigned size = static_cast<unsigned>(buffer.size()), storeSize = 5;
    Search_GetDuplicate(search, 0, 0, buffer.data(), &size, untouched.data(), &storeSize);
    EXPECT_EQ(buffer.c_str(), b.Id());
    EXPECT_EQ(untouched, "?????") << "too small for the store's text";
    EXPECT_EQ(storeSize, Store().Id().size() + 1);
    size = 0;
    Search_GetOriginal(search, 0, nullptr, &size, nullptr, nullptr);
    EXPECT_EQ(size, a.Id().size() + 1);

    Search_Add(search, c.Id().c_str(), Store().Id().c_str(), nullptr, static_cast<unsigned>(-1));
    EXPECT_EQ(Search_Build(search), 1);
    EXPECT_EQ(Search_GetDuplicateCount(search, 0), 2);
    EXPECT_EQ(change(0), 1);
    EXPECT_EQ(id, c.Id()) << "a lower rank heads the group now";
    EXPECT_EQ(change(3), 1);
    EXPECT_EQ(kind, unsigned{scGoneGroup});
    log.Clear();
    Search_Delete(search);
    Search_Delete(nullptr);
    const LogLines lines{{sevInfo, "Search_Delete", "->\n"},
                         {sevInfo, "Search_Delete", "Search Deleted\n"},
                         {sevInfo, "Search_Delete", "->\n"}};
    EXPECT_EQ(log.Lines(sevInfo, "Search_Delete"), lines);
}

}  // namespace
