// Derived contact and mail values, built from items of a mailbox.

#include <functional>

#include "base/mapi_extra.h"
#include "compare/company_contact.h"
#include "compare/contact_item.h"
#include "compare/propex.h"
#include "compare/propex_text.h"
#include "compare/recipient_builder.h"
#include "compare/recipients.h"
#include "quorvel.h"
#include "store/checked_calls.h"
#include "store/named_properties.h"
#include "tests/compare/faults.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

using compare::TRecipientList;
using enum compare::EPropEx;
using enum logging::ESeverity;
using store::ComPtr;
using store::MapiBuffer;

namespace {

using Value = MapiBuffer<SPropValue>;
using Builder = std::function<HRESULT(IMessage*, SPropValue**)>;

const struct Derived {
    const char* what;
    unsigned propex;
    Builder build;
} kDerived[] = {
    {"addresses", propexAnyAddress,
     [](IMessage* i, SPropValue** v) { return compare::ContactItem_Addresses(i, true, v); }},
    {"e-mails", propexAnyEmail,
     [](IMessage* i, SPropValue** v) { return compare::ContactItem_Emails(i, true, v); }},
    {"phones", propexAnyPhone,
     [](IMessage* i, SPropValue** v) { return compare::ContactItem_Phones(i, true, v); }},
    {"company contact", propexCompanyContact, compare::ContactItem_CompanyContact},
    {"senders", propexSenders,
     [](IMessage* i, SPropValue** v) { return compare::MailItem_Senders(i, true, v); }},
    {"recipients", propexRecipients, compare::MailItem_Recipients},
};

std::wstring TextOf(const SPropValue* value, unsigned propex) {
    wchar_t buffer[1000];
    return compare::PropValueToText(value, buffer, std::size(buffer), propex, true);
}

bool IsNotFound(const SPropValue* value) {
    return value && PROP_TYPE(value->ulPropTag) == PT_ERROR && value->Value.err == MAPI_E_NOT_FOUND;
}

class DerivedValues : public MailboxTest {
  protected:
    static TestItem Fill(TestItem item, const wchar_t* person) {
        item.Named(base::kSetAddress, 0x801B, L"1 Work Street")
            .Named(base::kSetAddress, 0x801C, L"2 Other Road");
        item.Named(base::kSetAddress, 0x8083, L"ann@x.org").Named(base::kSetAddress, 0x80A3, L"lee@x.org");
        item.Text(PR_HOME_TELEPHONE_NUMBER_W, L"123").Text(PR_TTYTDD_PHONE_NUMBER_W, L"456");
        item.Text(PR_MOBILE_TELEPHONE_NUMBER_W, L"");
        item.Text(PR_GIVEN_NAME_W, person).Text(PR_SURNAME_W, person).Text(PR_SENDER_NAME_W, person);
        item.Text(PR_SENDER_EMAIL_ADDRESS_W, L"ann@x.org");
        item.To(L"Bob", L"bob@x.org").Cc(L"", L"cc@x.org").Bcc(L"Eve", L"");
        return item;
    }
    Value Build(const Builder& build, IMessage* item) {
        Value value;
        EXPECT_TRUE(store::IsReadSuccess(build(item, store::Out(value))));
        return value;
    }
};

TEST_F(DerivedValues, GatherWhatIsThereInTheOrderOfTheKinds) {
    const TestItem item = Fill(Inbox().Item(L"IPM.Contact"), L"Lee");
    const ComPtr<IMessage> message = Open(item);
    const std::wstring expected[] = {
        L"(PT_MV_UNICODE, count=2){\"1 Work Street\",\"2 Other Road\"}",
        L"(PT_MV_UNICODE, count=2){\"ann@x.org\",\"lee@x.org\"}",
        L"(PT_MV_UNICODE, count=2){\"123\",\"456\"}",
        L"(PT_BOOLEAN)false",
        L"(PT_MV_UNICODE, count=2){\"Lee\",\"ann@x.org\"}",
        L"(TMessageRecipient, count=3) { {\"Bob\",\"bob@x.org\",1}, {\"\",\"cc@x.org\",2}, {\"Eve\",\"\",3} "
        L"}",
    };
    for (size_t i = 0; i < std::size(kDerived); ++i) {
        const Value value = Build(kDerived[i].build, message.Get());
        EXPECT_EQ(TextOf(value.get(), kDerived[i].propex), expected[i]) << kDerived[i].what;
    }

    ULONG kinds[compare::kPhoneKinds];
    Value value;
    compare::ContactItem_Addresses(message.Get(), true, store::Out(value), kinds);
    EXPECT_EQ(std::vector<ULONG>(kinds, kinds + 2), (std::vector<ULONG>{1, 2}));
    compare::ContactItem_Emails(message.Get(), true, store::Out(value), kinds);
    EXPECT_EQ(std::vector<ULONG>(kinds, kinds + 2), (std::vector<ULONG>{0, 2}));
    compare::ContactItem_Phones(message.Get(), false, store::Out(value), kinds);
    EXPECT_EQ(std::vector<ULONG>(kinds, kinds + 2), (std::vector<ULONG>{1, 18}));
    EXPECT_EQ(PROP_TYPE(value->ulPropTag), ULONG{PT_MV_STRING8});
    EXPECT_STREQ(value->Value.MVszA.lppszA[1], "456");
}

// Stores number named properties each in their own way; the comparators ask for equal property ids.
TEST_F(DerivedValues, OfDifferentStoresCompareEqual) {
    TestItem first = Fill(Inbox().Item(), L"Lee");
    TestFolder elsewhere = AddStore(L"Second").Root().Folder(L"Contacts");
    elsewhere.Item().Named(base::kSetTask, 0x8104, L"takes an identifier");
    TestItem second = Fill(elsewhere.Item(), L"LEE");
    ASSERT_NE(first.NamedTag(base::kSetAddress, 0x801B, PT_UNICODE),
              second.NamedTag(base::kSetAddress, 0x801B, PT_UNICODE));
    const ComPtr<IMessage> message1 = Open(first), message2 = Open(second);
    for (const auto& derived : kDerived) {
        const Value a = Build(derived.build, message1.Get()), b = Build(derived.build, message2.Get());
        long result = 99;
        EXPECT_TRUE(Quorvel_ComparePropValues(a.get(), b.get(), &result,
                                              derived.propex == propexRecipients ? cmRecipients : cmExact));
        EXPECT_EQ(result, 0) << derived.what;
    }
}

TEST_F(DerivedValues, OfAnItemWithoutAnythingAreNotFound) {
    const ComPtr<IMessage> message = Open(Inbox().Item());
    CapturedLog log;
    for (const auto& derived : kDerived) {
        EXPECT_TRUE(IsNotFound(Build(derived.build, message.Get()).get())) << derived.what;
    }
    EXPECT_EQ(log.Lines(), LogLines{}) << "a store that never held the names is no failure";
    // The store knows one of the names now, from another item.
    Inbox().Item().Named(base::kSetAddress, 0x8093, L"x");
    EXPECT_TRUE(IsNotFound(Build(kDerived[1].build, message.Get()).get()));
}

// Each property that a derived value gathers, by its number, in the order of the kinds that the log names.
TEST_F(DerivedValues, EveryKindHasItsPropertyAndItsName) {
    const struct {
        unsigned propex;
        Builder build;
        bool named;
        std::vector<std::pair<LONG, std::wstring>> kinds;
    } rows[] = {
        {propexAnyAddress,
         kDerived[0].build,
         true,
         {{0x801A, L"HomeAddress    "}, {0x801B, L"BusinessAddress"}, {0x801C, L"OtherAddress   "}}},
        {propexAnyEmail,
         kDerived[1].build,
         true,
         {{0x8083, L"Email1Address"}, {0x8093, L"Email2Address"}, {0x80A3, L"Email3Address"}}},
        {propexAnyPhone,
         kDerived[2].build,
         false,
         {{0x3A1E, L"Car        "},
          {0x3A09, L"Home       "},
          {0x3A2F, L"Home2      "},
          {0x3A25, L"HomeFax    "},
          {0x3A1C, L"Mobile     "},
          {0x3A21, L"Pager      "},
          {0x3A1D, L"Radio      "},
          {0x3A08, L"Business   "},
          {0x3A1B, L"Business2  "},
          {0x3A24, L"BusinessFax"},
          {0x3A57, L"Company    "},
          {0x3A2C, L"Telex      "},
          {0x3A2E, L"Assistant  "},
          {0x3A02, L"Callback   "},
          {0x3A2D, L"ISDN       "},
          {0x3A1A, L"Primary    "},
          {0x3A1F, L"Other      "},
          {0x3A23, L"OtherFax   "},
          {0x3A4B, L"TTYTDD     "}}},
        {propexSenders,
         kDerived[4].build,
         false,
         {{0x0042, L"0"}, {0x0065, L"1"}, {0x0C1A, L"2"}, {0x0C1F, L"3"}}},
    };
    for (const auto& row : rows) {
        TestItem item = Inbox().Item();
        // Last kind first: the order is not that of filling.
        for (size_t i = row.kinds.size(); i-- > 0;) {
            const LONG id = row.kinds[i].first;
            if (row.named) {
                item.Named(base::kSetAddress, id, row.kinds[i].second);
            } else {
                item.Text(PROP_TAG(PT_UNICODE, static_cast<ULONG>(id)), row.kinds[i].second);
            }
        }
        const Value value = Build(row.build, Open(item).Get());
        ASSERT_EQ(PROP_TYPE(value->ulPropTag), ULONG{PT_MV_UNICODE});
        ASSERT_EQ(value->Value.MVszW.cValues, row.kinds.size()) << row.propex;
        for (ULONG i = 0; i < value->Value.MVszW.cValues; ++i) {
            wchar_t name[32];
            EXPECT_EQ(value->Value.MVszW.lppszW[i], row.kinds[i].second);
            EXPECT_EQ(compare::PropExKindText(row.propex, static_cast<int>(i), name, 32),
                      row.kinds[i].second);
        }
    }
}

TEST_F(DerivedValues, CompanyContactByItsNames) {
    const struct {
        const wchar_t *given, *surname, *company;
        const wchar_t* expected;
        unsigned reads;
    } rows[] = {
        {L"Ann", nullptr, L"Acme", L"false", 1},
        {nullptr, L"Lee", L"Acme", L"false", 2},
        {L"", L"", L"Acme", L"true", 3},
        {nullptr, nullptr, L"Acme", L"true", 3},
        {nullptr, nullptr, nullptr, L"MAPI_E_NOT_FOUND", 3},
    };
    for (const auto& row : rows) {
        TestItem item = Inbox().Item(L"IPM.Contact");
        if (row.given) item.Text(PR_GIVEN_NAME_W, row.given);
        if (row.surname) item.Text(PR_SURNAME_W, row.surname);
        if (row.company) item.Text(PR_COMPANY_NAME_W, row.company);
        const ComPtr<IMessage> message = Open(item);
        mailbox::calls::Record();
        Value value;
        EXPECT_EQ(compare::ContactItem_CompanyContact(message.Get(), store::Out(value)), S_OK);
        EXPECT_EQ(mailbox::calls::Count("IMAPIProp::GetProps"), row.reads)
            << "nothing is read that cannot matter";
        mailbox::calls::Reset();
        wchar_t text[64];
        EXPECT_STREQ(compare::PropValueToText(value.get(), text, 64, propexCompanyContact, false),
                     row.expected);
        EXPECT_EQ(PROP_ID(value->ulPropTag), PROP_ID(PR_COMPANY_NAME));
    }
}

TEST_F(DerivedValues, CompanyContactWhenNamesCannotBeRead) {
    const char* tag = "QuorvelProps.ContactItem_CompanyContact";
    const LogLine unread{sevError, tag, "GetPropValue failed, error = 0x80004005\n"};
    const LogLine unjudged{sevError, tag, "Quorvel_IsEmptyValue failed"};
    enum Name { filled, empty, failing, denied };
    const struct {
        const char* what;
        Name given, surname, company;
        HRESULT result;
        const wchar_t* expected;
    } rows[] = {
        {"a surname decides after a failed given name", failing, filled, filled, S_OK, L"false"},
        {"a company too", failing, empty, filled, S_OK, L"true"},
        {"and nothing at all", denied, empty, empty, S_OK, L"MAPI_E_NOT_FOUND"},
        {"a failed surname after an empty given name", empty, failing, filled, S_OK, L"true"},
        {"both failed", failing, failing, filled, E_FAIL, nullptr},
        {"both denied", denied, denied, filled, -1, nullptr},
        {"the first cannot be read, the second not judged", failing, denied, filled, -1, nullptr},
        {"a failed company", empty, empty, failing, E_FAIL, nullptr},
        {"a denied company", empty, empty, denied, -1, nullptr},
        {"a denied company after a failed given name", failing, empty, denied, E_FAIL, nullptr},
        {"a denied company after a failed surname", empty, failing, denied, E_FAIL, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        TestItem item = Inbox().Item(L"IPM.Contact");
        const std::pair<ULONG, Name> names[] = {
            {PR_GIVEN_NAME_W, row.given}, {PR_SURNAME_W, row.surname}, {PR_COMPANY_NAME_W, row.company}};
        for (const auto& [property, name] : names) {
            if (name == filled) item.Text(property, L"x");
            if (name == denied) item.Error(property, MAPI_E_NO_ACCESS);
            if (name == failing) FailRead(property);
        }
        const ComPtr<IMessage> message = Open(item);
        CapturedLog log;
        Value value;
        EXPECT_EQ(compare::ContactItem_CompanyContact(message.Get(), store::Out(value)), row.result);
        EXPECT_EQ(value != nullptr, row.result == S_OK);
        wchar_t text[64];
        if (value) {
            EXPECT_STREQ(compare::PropValueToText(value.get(), text, 64, propexCompanyContact, false),
                         row.expected);
        }
        for (const auto& line : log.Lines(sevError, tag))
            EXPECT_TRUE(line == unread || line == unjudged) << line;
        EXPECT_NE(log.Lines(sevError, tag), LogLines{});
        mailbox::calls::Reset();
    }
}

TEST_F(DerivedValues, RecipientsAreOneBlock) {
    TestItem item = Inbox().Item();
    item.To(L"Ann", L"ann@x.org").To(L"", L"").Cc(L"B", L"");
    mailbox::CProperties untyped;
    untyped.Text(PR_DISPLAY_NAME_W, L"No type");
    item.Recipient(untyped);
    const ComPtr<IMessage> message = Open(item);
    CapturedLog log;
    const Value value = Build(compare::MailItem_Recipients, message.Get());
    ASSERT_EQ(value->ulPropTag, PROP_TAG(PT_BINARY, PROP_ID(PR_MESSAGE_RECIPIENTS)));
    const auto* list = reinterpret_cast<const TRecipientList*>(value.get() + 1);
    EXPECT_EQ(reinterpret_cast<const BYTE*>(list), value->Value.bin.lpb);
    ASSERT_EQ(list->count, 3u);
    EXPECT_EQ(list->normalised, 0u);
    ASSERT_EQ(reinterpret_cast<const BYTE*>(list->recipients), reinterpret_cast<const BYTE*>(list + 1));
    EXPECT_EQ(list->recipients[2].type == 0xFFFFFFFF || list->recipients[2].type == ULONG{MAPI_TO}, true);
    const auto* text = reinterpret_cast<const wchar_t*>(list->recipients + 3);
    for (ULONG i = 0; i < 3; ++i) {
        EXPECT_EQ(list->recipients[i].name, text);
        text += std::wcslen(text) + 1;
        EXPECT_EQ(list->recipients[i].email, text);
        text += std::wcslen(text) + 1;
    }
    EXPECT_EQ(reinterpret_cast<const BYTE*>(text), value->Value.bin.lpb + value->Value.bin.cb)
        << "nothing behind";
    EXPECT_EQ(log.Lines(),
              (LogLines{{sevError, "MailItem_Recipients", "Skiping empty recipient( name & email )\n"}}));
}

TEST_F(DerivedValues, RecipientColumnsThatCannotBeReadCountAsMissing) {
    TestItem item = Inbox().Item();
    mailbox::CProperties row;
    item.To(L"first", L"");
    row.Error(PR_DISPLAY_NAME_W, MAPI_E_NO_ACCESS)
        .Text(PR_EMAIL_ADDRESS_W, L"x@y")
        .Error(PR_RECIPIENT_TYPE, E_FAIL);
    item.Recipient(row);
    row.Error(PR_EMAIL_ADDRESS_W, E_FAIL);
    item.Recipient(row);
    const ComPtr<IMessage> message = Open(item);
    CapturedLog log;
    const Value value = Build(compare::MailItem_Recipients, message.Get());
    EXPECT_EQ(TextOf(value.get(), propexRecipients),
              L"(TMessageRecipient, count=2) { {\"first\",\"\",1}, {\"\",\"x@y\",-1} }");
    const char* tag = "MailItem_Recipients";
    EXPECT_EQ(
        log.Lines(),
        (LogLines{
            {sevError, tag, "Recipient[1].DisplayName failed, error=0x80070005, assuming its empty\n"},
            {sevError, tag, "Recipient[1].RecipientType failed, error=0x80004005, assuming its empty\n"},
            {sevError, tag, "Recipient[2].DisplayName failed, error=0x80070005, assuming its empty\n"},
            {sevError, tag, "Recipient[2].EmailAddress failed, error=0x80004005, assuming its empty\n"},
            {sevError, tag, "Recipient[2].RecipientType failed, error=0x80004005, assuming its empty\n"},
            {sevError, tag, "Skiping empty recipient( name & email )\n"},
        }));
}

// A list without some of its recipients would equal others.
TEST_F(DerivedValues, RecipientsComeAllOrNone) {
    TestItem item = Inbox().Item();
    for (const wchar_t* name : {L"Ann", L"Bob", L"Cy"}) item.To(name, L"");
    const ComPtr<IMessage> message = Open(item);
    const struct {
        ULONG rowsAtATime;
        HRESULT result;
        const char* line;
    } rows[] = {{2, S_OK, ""}, {0, MAPI_E_CALL_FAILED, "lpTable->QueryRows return 0x80004005\n"}};
    for (const auto& row : rows) {
        mailbox::calls::Fail({.method = "IMAPITable::QueryRows",
                              .result = S_OK,
                              .times = 9,
                              .perform = true,
                              .limit = row.rowsAtATime});
        CapturedLog log;
        Value value;
        EXPECT_EQ(compare::MailItem_Recipients(message.Get(), store::Out(value)), row.result);
        mailbox::calls::Reset();
        EXPECT_EQ(log.Lines(),
                  *row.line ? LogLines({{sevError, "MailItem_Recipients", row.line}}) : LogLines());
        const auto* list = value ? reinterpret_cast<TRecipientList*>(value->Value.bin.lpb) : nullptr;
        EXPECT_EQ(list ? list->count : 0, row.result == S_OK ? 3u : 0u);
    }
}

TEST(DerivedNames, AreFixed) {
    const wchar_t* names[] = {L"Contact.AnyAddress",     L"Contact.AnyEmail", L"Contact.AnyPhone",
                              L"Contact.CompanyContact", L"Mail.Senders",     L"Mail.Recipients"};
    CapturedLog log;
    for (unsigned id = 1; id <= 6; ++id) EXPECT_STREQ(compare::QuorvelPropEx_ToStringW(id), names[id - 1]);
    EXPECT_STREQ(compare::QuorvelPropEx_ToStringW(7), L"unknown");
    EXPECT_STREQ(compare::QuorvelPropEx_ToStringW(0), L"unknown");
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, "QuorvelPropEx_ToStringW", "Unknown propex(7)\n"},
                                     {sevError, "QuorvelPropEx_ToStringW", "Unknown propex(0)\n"}}));
    const struct {
        unsigned propex;
        int index;
        const wchar_t* text;
    } kinds[] = {
        {1, 3, L"Unknown(3)     "},
        {2, -1, L"Unknown(-1)    "},
        {3, 19, L"Unknown(19)"},
        {4, 2, L"2"},
        {9, -7, L"-7"},
    };
    for (const auto& kind : kinds) {
        wchar_t buffer[32];
        EXPECT_STREQ(compare::PropExKindText(kind.propex, kind.index, buffer, 32), kind.text);
    }
}

}  // namespace
