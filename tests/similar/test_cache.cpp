// Life of cached contacts: what is read, how often, and what becomes of the search-by contact.

#include <array>

#include "base/mapi_extra.h"
#include "similar/CSimilarSearch.h"
#include "store/named_properties.h"
#include "tests/similar/SimilarFixture.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;
using items::CItemReader;
using items::TPlainValues;
using store::ComPtr;

namespace {

using mailbox::calls::Count;
using mailbox::calls::Record;

const Contact kPeter = L"Full Name=Peter Smith;First Name=Peter;Last Name=Smith";
const Contact kPete = L"Full Name=Pete Smith;First Name=Pete;Last Name=Smith";
const Verdict kSamePerson = {2, L"Strict . // FirstName + LastName", L"First Name, Last Name"};

class SimilarCache : public SimilarTest {
  protected:
    ~SimilarCache() override { mailbox::calls::Reset(); }
    void Modify(TestItem& item, const std::wstring& field, const std::wstring& value) {
        SetField(item, field, value);
        item.Time(PR_LAST_MODIFICATION_TIME, Utc(2026, 1, 2));
    }
    LogLine Error(const char* method, const char* text) {
        return {sevError, std::string("CSimilarSearch.") + method, text};
    }
};

TEST_F(SimilarCache, ReadsEachVersionOfAContactOnce) {
    TestItem item = Add(kPeter);
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(Add(kPeter)).Get());

    Record();
    EXPECT_EQ(SimilarSearch_AddToCache(search, Open(item).Get()), 1u);
    EXPECT_EQ(Count("IMAPIProp::GetProps"), 3u) << "the store, the identity and the values";
    EXPECT_EQ(Count("IMAPIProp::OpenProperty"), 1u) << "the body";

    const ComPtr<IMessage> opened = Open(item);
    Record();
    EXPECT_EQ(search.Check(opened.Get()), kSamePerson);
    EXPECT_EQ(search.Check(opened.Get()), kSamePerson);
    EXPECT_EQ(Count(), 4u) << "store and identity for each check, and nothing else";

    Record();
    EXPECT_EQ(search.CheckFast(item.Id()), kSamePerson);
    EXPECT_EQ(Count(), 0u) << "no call for a cached contact";

    Modify(item, L"Last Name", L"Jones");
    EXPECT_EQ(search.CheckFast(item.Id()), kSamePerson) << "as it was read";
    const ComPtr<IMessage> modified = Open(item);
    Record();
    EXPECT_EQ(search.Check(modified.Get()), Verdict());
    EXPECT_EQ(Count("IMAPIProp::GetProps"), 3u) << "a newer version is read";
    EXPECT_EQ(search.CheckFast(item.Id()), Verdict());
}

/// Texts are prepared when a contact is read, and compared in another call.
TEST_F(SimilarCache, NamesAreTheSameInWhateverLocaleTheCallsAreMade) {
    const LCID before = GetThreadLocale();
    constexpr LCID kGerman = 0x0407, kSwedish = 0x041D;
    // The last name in two spellings that compare equal: a character, and the letter and mark that it is.
    const ComPtr<IMessage> one = Open(Add(L"First Name=\u00c4rla;Last Name=\ufb2a\u05dc"));
    const ComPtr<IMessage> other = Open(Add(L"First Name=\u00c4rla;Last Name=\u05e9\u05c1\u05dc"));
    SetThreadLocale(kGerman);
    Search search(Session(), Store().Id());
    search.SetSearchBy(one.Get());
    SetThreadLocale(kSwedish);
    EXPECT_EQ(search.Check(other.Get()), kSamePerson);
    EXPECT_EQ(GetThreadLocale(), kSwedish) << "not put back";
    SetThreadLocale(before);
}

TEST_F(SimilarCache, OpensStoresAndUncachedContactsOnce) {
    const TestItem one = Add(kPeter), two = Add(kPeter);
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(Add(kPeter)).Get());
    Record();
    for (const TestItem& item : {one, two, one, two}) EXPECT_EQ(search.CheckFast(item.Id()), kSamePerson);
    EXPECT_EQ(Count("IMAPISession::OpenMsgStore"), 1u);
    EXPECT_EQ(Count("IMsgStore::OpenEntry"), 2u);
}

TEST_F(SimilarCache, SearchByContactFollowsItsNewVersion) {
    TestItem item = Add(kPeter);
    const TestItem other = Add(L"First Name=Peter;Last Name=Jones");
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(item).Get());
    EXPECT_EQ(search.CheckFast(other.Id()), Verdict());
    Modify(item, L"Last Name", L"Jones");
    EXPECT_EQ(search.Check(Open(item).Get()), kSamePerson) << "with itself, in its new version";
    EXPECT_EQ(search.CheckFast(other.Id()), kSamePerson);

    // A version that cannot be read leaves no search-by contact.
    Modify(item, L"Last Name", L"Brown");
    item.Time(PR_LAST_MODIFICATION_TIME, Utc(2026, 1, 3));
    const ComPtr<IMessage> opened = Open(item);
    unsigned verdict, filled;
    mailbox::calls::FailNth("IMAPIProp::GetProps", 3, MAPI_E_NO_ACCESS);
    EXPECT_EQ(SimilarSearch_CheckItem(search, opened.Get(), &verdict, &filled, nullptr, nullptr), 0u);
    CapturedLog log;
    EXPECT_EQ(SimilarSearch_CheckItem(search, opened.Get(), &verdict, &filled, nullptr, nullptr), 0u);
    EXPECT_EQ(log.Lines(), LogLines({Error("CheckItem", "m_pSearchByProps == NULL\n")}));
}

TEST_F(SimilarCache, RemovalSparesTheSearchByContactUnlessForced) {
    const TestItem item = Add(kPeter), other = Add(kPeter);
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(item).Get());
    EXPECT_EQ(search.CheckFast(other.Id()), kSamePerson);

    CapturedLog log;
    EXPECT_EQ(SimilarSearch_RemoveFromCache(search, "AB12", 0), 1u) << "a contact that was never there";
    EXPECT_EQ(SimilarSearch_RemoveFromCache(search, nullptr, 0), 1u);
    EXPECT_EQ(SimilarSearch_RemoveFromCache(search, item.Id().c_str(), 0), 0u);
    EXPECT_EQ(log.Lines(), LogLines({Error("RemoveFromCache", "Cant remove SearchByItem\n")}));
    EXPECT_EQ(search.CheckFast(other.Id()), kSamePerson) << "it is still there";

    EXPECT_EQ(SimilarSearch_RemoveFromCache(search, other.Id().c_str(), 0), 1u);
    Record();
    EXPECT_EQ(search.CheckFast(other.Id()), kSamePerson);
    EXPECT_EQ(Count("IMsgStore::OpenEntry"), 1u) << "a removed contact is read again";

    log.Clear();
    EXPECT_EQ(SimilarSearch_RemoveFromCache(search, item.Id().c_str(), 1), 1u);
    unsigned verdict = 9, filled = 9;
    const char *text = nullptr, *fields = nullptr;
    EXPECT_EQ(SimilarSearch_CheckItemFast(search, other.Id().c_str(), &verdict, &filled, &text, &fields), 0u);
    EXPECT_EQ(log.Lines(), LogLines({Error("CheckItemFast", "m_pSearchByProps == NULL\n")}));
    EXPECT_EQ(verdict, 0u);
    EXPECT_EQ(filled, 0u);
    EXPECT_STREQ(text, "");
    EXPECT_STREQ(fields, "");
}

TEST_F(SimilarCache, SearchByContactMayBeSetAgain) {
    Search search(Session(), Store().Id());
    const TestItem jones = Add(L"First Name=Peter;Last Name=Jones"), peter = Add(kPeter);
    search.SetSearchBy(Open(peter).Get());
    EXPECT_EQ(search.CheckFast(jones.Id()), Verdict());
    search.SetSearchBy(Open(jones).Get());
    EXPECT_EQ(search.CheckFast(jones.Id()), kSamePerson);
    EXPECT_EQ(search.CheckFast(peter.Id()), Verdict());
    // Setting fails: there is none.
    TestItem bad = Add(kPeter).Error(PR_ENTRYID, MAPI_E_NO_ACCESS);
    unsigned filled = 9;
    EXPECT_EQ(SimilarSearch_SetSearchByItem(search, Open(bad).Get(), &filled), 0u);
    EXPECT_EQ(filled, 0u);
    EXPECT_EQ(SimilarSearch_CheckItemFast(search, jones.Id().c_str(), &filled, &filled, nullptr, nullptr),
              0u);
}

TEST_F(SimilarCache, EntryIdentifierInOtherCaseIsReadAgainAndAsserted) {
    const TestItem item = Add(kPeter);
    std::string lower = item.Id();
    for (char& digit : lower) digit = static_cast<char>(tolower(digit));
    ASSERT_NE(lower, item.Id());
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(item).Get());
    CapturedLog log;
    EXPECT_EQ(search.CheckFast(lower), kSamePerson);
    const LogLines lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].severity, sevError);
    EXPECT_EQ(lines[0].tag, "CSimilarSearch.CheckItemFast");
    EXPECT_TRUE(lines[0].text.starts_with("assert failed in line ")) << lines[0].text;
}

TEST_F(SimilarCache, TextsComeInBothWidths) {
    const TestItem one = Add(kPeter), other = Add(kPete);
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(one).Get());
    unsigned verdict = 9;
    const char *text = nullptr, *fields = nullptr;
    ASSERT_EQ(SimilarSearch_CheckItem(search, Open(other).Get(), &verdict, nullptr, &text, &fields), 1u);
    EXPECT_EQ(verdict, 2u);
    EXPECT_STREQ(text, "Strict . // FirstName(StartWith) + LastName");
    EXPECT_STREQ(fields, "First Name, Last Name");
    ASSERT_EQ(SimilarSearch_CheckItemFast(search, one.Id().c_str(), &verdict, nullptr, &text, &fields), 1u);
    EXPECT_STREQ(text, "Strict . // FirstName + LastName");
    EXPECT_EQ(SimilarSearch_CheckItemFastW(search, one.Id().c_str(), nullptr, nullptr, nullptr, nullptr), 1u);
}

TEST_F(SimilarCache, CountsFilledFieldsAsTheModeSays) {
    // Three compared fields, of which one that no rule takes; three others; and a text.
    const Contact kRich =
        L"First Name=Peter;Last Name=Smith;Hobbies=Rowing;File As=Smith, Peter;"
        L"Notes=Met in Oslo.";
    const auto add = [&](const Contact& contact) {
        return Add(contact).Text(PR_HOME_ADDRESS_CITY_W, L"Oslo").Text(PR_COMPUTER_NETWORK_NAME_W, L"net");
    };
    const TestItem searchBy = add(kRich), strict = add(kRich);
    Contact walter = kRich;
    walter[0].second = L"Walter";
    const TestItem similar = add(walter);
    walter[1].second = L"Jones";
    const TestItem none = add(walter);

    constexpr unsigned kCompared = 3, kAll = 3 + 3 + 1;
    // PR_HASATTACH is a filled field of every contact.
    constexpr unsigned kAllAndFlag = kAll + 1;
    const struct {
        unsigned mode, searchBy, strict, similar, none;
    } kModes[] = {
        {0, kCompared, kCompared, kCompared, kCompared},
        {1, kAllAndFlag, kAllAndFlag, kAllAndFlag, kCompared},
        {2, kAllAndFlag, kAllAndFlag, kCompared, kCompared},
        {3, kCompared, kCompared, kCompared, kCompared},
    };
    for (const auto& mode : kModes) {
        SCOPED_TRACE("count mode " + std::to_string(mode.mode));
        Search search(Session(), Store().Id(), mode.mode);
        EXPECT_EQ(search.SetSearchBy(Open(searchBy).Get()), mode.searchBy);
        const std::array<std::pair<const TestItem*, unsigned>, 3> kContacts = {
            {{&strict, mode.strict}, {&similar, mode.similar}, {&none, mode.none}}};
        for (const auto& [item, expected] : kContacts) {
            unsigned filled = 0;
            search.Check(Open(*item).Get(), &filled);
            EXPECT_EQ(filled, expected);
            Record();
            search.CheckFast(item->Id(), &filled);
            EXPECT_EQ(filled, expected);
            EXPECT_EQ(Count(), 0u) << "counted once";
        }
    }
}

TEST_F(SimilarCache, CountsOtherFieldsOfCachedContactsByOpeningThem) {
    const TestItem item = Add(kPeter).Text(PR_HOME_ADDRESS_CITY_W, L"Oslo");
    Search search(Session(), Store().Id(), 1);
    SimilarSearch_AddToCache(search, Open(item).Get());
    search.SetSearchBy(Open(Add(kPeter)).Get());
    unsigned filled = 0;
    Record();
    EXPECT_EQ(search.CheckFast(item.Id(), &filled), kSamePerson);
    EXPECT_EQ(Count("IMsgStore::OpenEntry"), 1u);
    EXPECT_EQ(filled, 4u) << "two names, the city, the attachment flag";
}

TEST_F(SimilarCache, OtherFieldsAreThoseThatAreNotCompared) {
    const TestItem item = Add(kPeter);
    Search search(Session(), Store().Id(), 1);
    // All are asked for in one call, which a fault on one of them strikes.
    for (ULONG tag : {PR_HASATTACH, PR_COMPUTER_NETWORK_NAME_W, PR_HOME_ADDRESS_CITY_W, PR_POSTAL_ADDRESS_W,
                      PR_OTHER_ADDRESS_STATE_OR_PROVINCE_W}) {
        mailbox::calls::Fail({.method = "IMAPIProp::GetProps", .tag = tag});
        CapturedLog log;
        unsigned filled = 0;
        EXPECT_EQ(SimilarSearch_SetSearchByItem(search, Open(item).Get(), &filled), 1u);
        EXPECT_EQ(log.Count(sevError, "CSimilarSearch.CountFilledOtherPropsIf", "CountProps failed\n"), 1u);
        EXPECT_EQ(mailbox::calls::Struck(), 1u) << "tag " << tag;
        EXPECT_EQ(filled, 2u);
        mailbox::calls::Reset();
    }
}

// A store that knows but the one name that contacts need says which others were asked for.
TEST_F(SimilarCache, NamedFieldsAreAskedForInTheirOrder) {
    TestStore empty = AddStore(L"New");
    TestItem item = empty.Root().Folder(L"Contacts").Item(L"IPM.Contact");
    item.NamedTag(base::kSetAddress, 0x8005, PT_UNICODE);
    Search search(Session(), empty.Id(), 1);
    CapturedLog log;
    search.SetSearchBy(Open(item).Get());
    std::vector<std::string> keys;
    for (const LogLine& line : log.Lines(sevError, "Quorvel_ResolveTags")) {
        const size_t begin = line.text.find("Key=\"") + 5;
        keys.push_back(line.text.substr(begin, line.text.find('"', begin) - begin));
    }
    EXPECT_EQ(keys, (std::vector<std::string>{
                        "Business Address Street", "E-mail", "E-mail 2", "E-mail 3", "Billing Information",
                        "Categories", "IM Address", "Internet Free/Busy Address", "Mileage", "User Field 1",
                        "User Field 2", "User Field 3", "User Field 4", "Web Page",
                        // the other ones; the file-as name is among them and known
                        "BusinessAddress", "BusinessAddressCity", "BusinessAddressCountry",
                        "BusinessAddressPostalCode", "BusinessAddressPostOfficeBox", "BusinessAddressState",
                        "HomeAddress", "Links", "OtherAddress"}));
}

class SimilarEmails : public SimilarCache {
  protected:
    /// A contact whose e-mails are address-book forms, each with an entry behind it.
    TestItem AddBookContact(const std::vector<std::string>& smtp) {
        const LONG kAddress[] = {0x8083, 0x8093, 0x80A3}, kOriginal[] = {0x8085, 0x8095, 0x80A5};
        TestItem item = Add({});
        for (size_t i = 0; i < smtp.size(); ++i) {
            mailbox::CProperties entry;
            const std::wstring wide(smtp[i].begin(), smtp[i].end());
            if (!smtp[i].empty()) entry.Text(PR_SMTP_ADDRESS_W, wide);
            item.Named(base::kSetAddress, kAddress[i], L"/o=org/cn=" + std::to_wstring(i));
            item.NamedBinary(base::kSetAddress, kOriginal[i], AddAddress(entry));
        }
        return item;
    }
};

TEST_F(SimilarEmails, AreComparedInTheirSmtpForm) {
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(Add(L"E-mail=two@example.org;E-mail 2=three@example.org")).Get());
    const TestItem book = AddBookContact({"one@example.org", "two@example.org", "three@example.org"});
    Record();
    EXPECT_EQ(
        search.Check(Open(book).Get()),
        (Verdict{2, L"Strict . // E-mail(item2.E-mail2) + E-mail2(item2.E-mail3)", L"E-mail, E-mail 2"}));
    EXPECT_EQ(Count("IMAPISession::OpenAddressBook"), 1u);
    // Addresses with an at sign are taken as they are, whatever the address book holds.
    TestItem plain = AddBookContact({"one@example.org"});
    plain.Named(base::kSetAddress, 0x8083, std::wstring_view(L"two@example.org"));
    EXPECT_EQ(search.Check(Open(plain).Get()).text, L"Similar. // E-mail // LastNameOK");
    EXPECT_EQ(Count("IMAPISession::OpenAddressBook"), 1u) << "it is opened once";
}

TEST_F(SimilarEmails, StayAsTheyAreWithoutAnAddressBook) {
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(Add(L"E-mail=/o=org/cn=0")).Get());
    const TestItem one = AddBookContact({"one@example.org"}), other = AddBookContact({"other@example.org"});
    Search fresh(Session(), Store().Id());
    CapturedLog log;
    mailbox::calls::FailNth("IMAPISession::OpenAddressBook", 1, MAPI_E_FAILONEPROVIDER);
    Record();
    fresh.SetSearchBy(Open(one).Get());
    EXPECT_EQ(fresh.Check(Open(other).Get()).text, L"Similar. // E-mail // LastNameOK")
        << "by the address-book form";
    EXPECT_EQ(Count("IMAPISession::OpenAddressBook"), 1u) << "a failure is not repeated";
    EXPECT_EQ(log.Lines(), LogLines({Error("CacheItem", "OpenAddressBook failed, error = 0x8004011d\n")}));
}

// A provider that did not load leaves an address book that works.
TEST_F(SimilarEmails, AnAddressBookThatOpensWithAWarningIsUsed) {
    mailbox::TFault fault{
        .method = "IMAPISession::OpenAddressBook", .result = MAPI_W_ERRORS_RETURNED, .perform = true};
    Search search(Session(), Store().Id());
    search.SetSearchBy(Open(Add(L"E-mail=one@example.org")).Get());
    mailbox::calls::Fail(fault);
    CapturedLog log;
    EXPECT_EQ(search.Check(Open(AddBookContact({"one@example.org"})).Get()).text,
              L"Similar. // E-mail // LastNameOK");
    EXPECT_EQ(log.Lines(), LogLines());
    EXPECT_EQ(mailbox::calls::Struck(), 1u);
}

TEST_F(SimilarEmails, SayWhyTheyHaveNoSmtpForm) {
    Search search(Session(), Store().Id());
    CapturedLog log;
    EXPECT_EQ(SimilarSearch_AddToCache(search, Open(AddBookContact({""})).Get()), 1u);
    EXPECT_EQ(log.Count(sevWarning, "CSimilarSearch.CacheItem", "smtp email is empty\n"), 1u);
    log.Clear();
    TestItem unknown = Add(L"E-mail=/o=org/cn=unknown");
    unknown.NamedBinary(base::kSetAddress, 0x8085, "no such entry");
    EXPECT_EQ(SimilarSearch_AddToCache(search, Open(unknown).Get()), 1u);
    EXPECT_EQ(log.Count(sevWarning, "CSimilarSearch.CacheItem", "Cant read email in smtp format\n"), 1u);
}

// What the cache keeps of bodies, and how values of a wrong type are reported.
using similar::TItemInfo;
using similar::TItemProps;

TEST(CachedBody, KeepsItsStartItsLengthAndItsHash) {
    const struct {
        std::wstring text;
        int length;
        size_t kept;
    } kCases[] = {
        {L"", 0, 0},
        {L" \t\r\n", 0, 0},
        {L" \tA note\r\n", 6, 6},
        {std::wstring(511, L'x'), 511, 511},
        {std::wstring(512, L'x') + L"\r\n", 512, 511},
        {L"\n" + std::wstring(600, L'x'), 600, 511},
    };
    for (const auto& c : kCases) {
        CItemReader::TStore store;
        TItemProps props(TItemInfo(store, std::pmr::get_default_resource()), TPlainValues());
        std::wstring text = c.text;
        props.TakeBody(text.data(), text.size());
        EXPECT_EQ(props.bodyLength, c.length);
        EXPECT_EQ(props.body.size(), c.kept);
        EXPECT_EQ(props.bodyHash != 0, c.length != 0);
        EXPECT_EQ(props.HasSameBody(props), c.length != 0) << "empty bodies are not the same";
    }
}

TEST_F(SimilarCache, ValuesOfAWrongTypeAreEmptyAndSaySo) {
    Session();
    wchar_t text[] = L"Ann";
    SPropValue values[3] = {{PROP_TAG(PT_LONG, 0x3A06), 0, {}},
                            {PROP_TAG(PT_ERROR, 0x3A06), 0, {}},
                            {PROP_TAG(PT_UNICODE, 0x3A06), 0, {}}};
    values[2].Value.lpszW = text;
    TPlainValues plain;
    plain.values = values;
    plain.cValues = 3;
    CItemReader::TStore store;
    const TItemProps props(TItemInfo(store, std::pmr::get_default_resource()), std::move(plain));

    CapturedLog log;
    EXPECT_EQ(props.szw(0), nullptr);
    EXPECT_EQ(props.ft(2), nullptr);
    EXPECT_EQ(log.Lines(), LogLines({{sevError, "CSimilarSearch.TItemProps.szw", "invalid type = 3"},
                                     {sevError, "CSimilarSearch.TItemProps.ft", "invalid type = 31"}}));
    log.Clear();
    EXPECT_STREQ(props.szw(1), L"");
    EXPECT_EQ(props.ft(1), nullptr);
    EXPECT_STREQ(props.szw(2), L"Ann");
    EXPECT_EQ(log.Lines(), LogLines()) << "a missing value is no fault";
    EXPECT_TRUE(props.IsEmpty(1));
    EXPECT_FALSE(props.IsEmpty(2));
}

TEST(SimilarPropIndexes, NamePhonesByNumber) {
    EXPECT_EQ(similar::TSimilarPropIndexes().Phone(1), -1) << "unset";
    const similar::TContactFields fields = similar::BuildFields();
    const similar::TSimilarPropIndexes& indexes = fields.indexes;
    ASSERT_EQ(fields.Count(), 64);
    EXPECT_STREQ(fields.Name(indexes.Phone(1)), L"Assistant's Phone");
    EXPECT_STREQ(fields.Name(indexes.Phone(19)), L"TTY/TDD Phone");
    CapturedLog log;
    EXPECT_EQ(indexes.Phone(0), -1);
    EXPECT_EQ(indexes.Phone(20), -1);
    EXPECT_EQ(log.Lines(sevError, "CSimilarSearchTSimilarPropIndexes::Phone").size(), 2u);
}

}  // namespace
