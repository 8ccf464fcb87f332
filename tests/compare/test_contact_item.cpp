// A contact's CRM identifier and the SMTP form of its e-mails.

#include "compare/contact_item.h"

#include "base/mapi_extra.h"
#include "store/named_properties.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

using enum logging::ESeverity;
using store::ComPtr;
using store::MapiBuffer;

namespace {

class ContactItem : public MailboxTest {
  protected:
    void SetCrmId(TestItem& item, std::string_view id) {
        item.Text8(item.NamedTag(base::kSetPublicStrings, L"crmid", PT_STRING8), id);
    }
    ComPtr<IAddrBook> AddressBook() {
        ComPtr<IAddrBook> book;
        EXPECT_EQ(Session()->OpenAddressBook(0, nullptr, AB_NO_DIALOG, book.GetAddressOf()), S_OK);
        return book;
    }
};

TEST_F(ContactItem, HasACrmIdWhenTheTextIsNotEmpty) {
    const ComPtr<IMessage> unknown = Open(Inbox().Item());
    TestItem with = Inbox().Item(), empty = Inbox().Item(), denied = Inbox().Item(), without = Inbox().Item();
    SetCrmId(with, "4711");
    SetCrmId(empty, "");
    denied.Error(denied.NamedTag(base::kSetPublicStrings, L"crmid", PT_STRING8), MAPI_E_NO_ACCESS);
    const struct {
        const char* what;
        ComPtr<IMessage> item;
        HRESULT result;
        int has;
    } rows[] = {
        {"the store never held the name", unknown, S_OK, 0},
        {"with", Open(with), S_OK, 1},
        {"empty", Open(empty), S_OK, 0},
        {"without", Open(without), S_OK, 0},
        {"denied", Open(denied), MAPI_E_NO_ACCESS, 0},
    };
    CapturedLog log;
    for (const auto& row : rows) {
        int has = 99;
        EXPECT_EQ(compare::ContactItem_HasCrmId(row.item.Get(), &has), row.result) << row.what;
        EXPECT_EQ(has, row.has) << row.what;
    }
    EXPECT_EQ(log.Lines(),
              (LogLines{{sevError, "ContactItem_HasCrmId", "lpValue->Value.err = 0x80070005\n"}}));

    const ComPtr<IMessage> item = Open(with);
    const std::pair<const char*, const char*> calls[] = {
        {"IMAPIProp::GetIDsFromNames", "GetIDsFromNames return 0x80004005\n"},
        {"IMAPIProp::GetProps", "GetPropValue return 0x80004005\n"}};
    for (const auto& [method, text] : calls) {
        log.Clear();
        mailbox::calls::FailNth(method, 1);
        int has = 99;
        EXPECT_EQ(compare::ContactItem_HasCrmId(item.Get(), &has), E_FAIL);
        EXPECT_EQ(has, 0);
        EXPECT_EQ(log.Lines(), (LogLines{{sevError, "ContactItem_HasCrmId", text}}));
    }
}

TEST_F(ContactItem, SmtpEmailIsThatOfTheEntryBehindIt) {
    mailbox::CProperties entry;
    const std::string bare = AddAddress(entry.Text(PR_DISPLAY_NAME_W, L"Bare"));
    const std::string known = AddAddress(entry.Text(PR_SMTP_ADDRESS_W, L"ann@x.org"));
    const std::string denied = AddAddress(entry.Error(PR_SMTP_ADDRESS_W, MAPI_E_NO_ACCESS));
    TestItem contact = Inbox().Item(L"IPM.Contact");
    contact.NamedBinary(base::kSetAddress, 0x8085, known).NamedBinary(base::kSetAddress, 0x80A5, bare);
    TestItem lost = Inbox().Item(L"IPM.Contact");
    lost.NamedBinary(base::kSetAddress, 0x8085, "\x01\xAB")
        .Error(lost.NamedTag(base::kSetAddress, 0x8095, PT_BINARY), MAPI_E_NO_ACCESS);
    const ComPtr<IMessage> item = Open(contact), lostItem = Open(lost);
    const ComPtr<IAddrBook> book = AddressBook();
    const char* tag = "QuorvelProps.ContactItem_SmtpEmail";

    CapturedLog log;
    MapiBuffer<SPropValue> value;
    EXPECT_EQ(compare::ContactItem_SmtpEmail(book.Get(), item.Get(), 1, true, store::Out(value)), S_OK);
    ASSERT_EQ(PROP_TYPE(value->ulPropTag), ULONG{PT_UNICODE});
    EXPECT_STREQ(value->Value.lpszW, L"ann@x.org");
    EXPECT_EQ(compare::ContactItem_SmtpEmail(book.Get(), item.Get(), 1, false, store::Out(value)), S_OK);
    ASSERT_EQ(PROP_TYPE(value->ulPropTag), ULONG{PT_STRING8});
    EXPECT_STREQ(value->Value.lpszA, "ann@x.org");
    EXPECT_EQ(compare::ContactItem_SmtpEmail(book.Get(), item.Get(), 3, true, store::Out(value)), S_OK);
    EXPECT_STREQ(value->Value.lpszW, L"") << "an entry without address";
    EXPECT_EQ(compare::ContactItem_SmtpEmail(book.Get(), item.Get(), 2, true, store::Out(value)), -1)
        << "no entry behind it";
    EXPECT_EQ(value, nullptr);
    contact.NamedBinary(base::kSetAddress, 0x8095, "");
    EXPECT_EQ(compare::ContactItem_SmtpEmail(book.Get(), Open(contact).Get(), 2, true, store::Out(value)), -1)
        << "an empty identifier is not the root's";
    EXPECT_EQ(value, nullptr);
    contact.NamedBinary(base::kSetAddress, 0x8095, denied);
    EXPECT_EQ(compare::ContactItem_SmtpEmail(book.Get(), Open(contact).Get(), 2, true, store::Out(value)),
              MAPI_E_NO_ACCESS)
        << "an address that cannot be read is not an empty one";
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(log.Lines(), LogLines{});

    for (const int index : {0, 4, -1}) {
        EXPECT_EQ(compare::ContactItem_SmtpEmail(book.Get(), item.Get(), index, true, store::Out(value)), -1);
        EXPECT_EQ(log.Lines(), (LogLines{{sevError, tag, "assert failed in line 1180\n"}}));
        log.Clear();
    }
    EXPECT_EQ(compare::ContactItem_SmtpEmail(book.Get(), lostItem.Get(), 2, true, store::Out(value)), -1);
    EXPECT_EQ(log.Lines(), (LogLines{{sevError, tag, "PropValue(EmailEntryID)->Value.err = 0x80070005\n"}}));
    log.Clear();
    EXPECT_NE(compare::ContactItem_SmtpEmail(book.Get(), lostItem.Get(), 1, true, store::Out(value)), S_OK);
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_TRUE(log.Lines()[0].text.starts_with("lpADRBook->OpenEntry return 0x8")) << log.Lines()[0];
    EXPECT_TRUE(log.Lines()[0].text.ends_with(", EntryID=\"01AB\"\n")) << log.Lines()[0];
}

}  // namespace
