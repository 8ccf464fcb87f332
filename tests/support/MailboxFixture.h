#pragma once
// A small mailbox for a test: built fluently, logged on to through the library's own platform functions.
//
//     class Reading : public MailboxTest {};
//     TEST_F(Reading, GivesWideSubject) {
//         TestItem item = Inbox().Item().Text(PR_SUBJECT_W, L"x").Named(base::kSetAppointment, 0x8215, true);
//         item.To(L"Ann", L"ann@example.org").Attach(L"a.txt", "data");
//         ComPtr<IMessage> message = Open(item);
//         ...
//     }
//
// Items may be built before and after Logon; what is open keeps the state that it was opened with. A
// listener, in every program that uses the fixture, fails a test at whose end a platform object or buffer is
// alive or a fault is armed still.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mailbox/CDatabase.h"
#include "mailbox/platform.h"
#include "mailbox/text.h"
#include "store/resources.h"

/// Entry identifier as upper-case hexadecimal text.
inline std::string HexText(std::string_view bytes) {
    return mailbox::ToHex(bytes);
}

/// Builds one item, embedded messages included. Cheap to copy; all copies are the same item.
class TestItem {
  public:
    TestItem(mailbox::TStore* store, mailbox::TItem* item) : m_store(store), m_item(item) {}

    // Properties by tag; the type of the tag is replaced by that of the function.
    TestItem& Text(ULONG tag, std::wstring_view value) { return Changed().Text(tag, value), *this; }
    TestItem& Text8(ULONG tag, std::string_view value) { return Changed().Text8(tag, value), *this; }
    TestItem& Long(ULONG tag, ULONG value) { return Changed().Long(tag, value), *this; }
    TestItem& Bool(ULONG tag, bool value) { return Changed().Bool(tag, value), *this; }
    TestItem& Time(ULONG tag, FILETIME value) { return Changed().Time(tag, value), *this; }
    TestItem& Binary(ULONG tag, std::string_view value) { return Changed().Binary(tag, value), *this; }
    TestItem& Texts(ULONG tag, const std::vector<std::wstring>& all) {
        return Changed().Texts(tag, all), *this;
    }
    /// Reading the property gives this error; MAPI_E_NOT_FOUND hides a computed property.
    TestItem& Error(ULONG tag, HRESULT error) { return Changed().Error(tag, error), *this; }
    TestItem& Remove(ULONG tag) { return Changed().Remove(PROP_ID(tag)), *this; }
    TestItem& Subject(std::wstring_view value) { return Text(PR_SUBJECT_W, value); }
    /// PR_BODY, wide.
    TestItem& Body(std::wstring_view value) { return Text(PR_BODY_W, value); }

    /// The tag of a named property of the given type, made when the store does not know the name.
    ULONG NamedTag(const char* set, LONG number, ULONG type);
    ULONG NamedTag(const char* set, const wchar_t* name, ULONG type);
    TestItem& Named(const char* set, LONG id, std::wstring_view value) {
        return Text(NamedTag(set, id, PT_UNICODE), value);
    }
    TestItem& Named(const char* set, LONG id, const wchar_t* value) {
        return Text(NamedTag(set, id, PT_UNICODE), value);
    }
    TestItem& Named(const char* set, LONG id, bool value) {
        return Bool(NamedTag(set, id, PT_BOOLEAN), value);
    }
    TestItem& Named(const char* set, LONG id, LONG value) {
        return Long(NamedTag(set, id, PT_LONG), static_cast<ULONG>(value));
    }
    TestItem& Named(const char* set, LONG id, FILETIME value) {
        return Time(NamedTag(set, id, PT_SYSTIME), value);
    }
    TestItem& NamedBinary(const char* set, LONG id, std::string_view bytes) {
        return Binary(NamedTag(set, id, PT_BINARY), bytes);
    }
    TestItem& NamedTexts(const char* set, const wchar_t* name, const std::vector<std::wstring>& values) {
        return Texts(NamedTag(set, name, PT_MV_UNICODE), values);
    }

    TestItem& To(std::wstring_view name, std::wstring_view email) { return Recipient(MAPI_TO, name, email); }
    TestItem& Cc(std::wstring_view name, std::wstring_view email) { return Recipient(MAPI_CC, name, email); }
    TestItem& Bcc(std::wstring_view name, std::wstring_view email) {
        return Recipient(MAPI_BCC, name, email);
    }
    TestItem& Recipient(ULONG type, std::wstring_view name, std::wstring_view email);
    TestItem& Recipient(const mailbox::CProperties& row) { return Edit().recipients.push_back(row), *this; }

    /// An attachment by value.
    TestItem& Attach(std::wstring_view name, std::string_view data);
    /// Any attachment; ATTACH_EMBEDDED_MSG takes its message from another item.
    TestItem& Attach(const mailbox::CProperties& properties);
    TestItem& AttachMessage(std::wstring_view name, const TestItem& embedded);

    /// Entry identifier as upper-case hexadecimal text, and as bytes.
    std::string Id() const { return HexText(m_item->id); }
    const std::string& IdBytes() const { return m_item->id; }
    mailbox::TItem& Record() const { return *m_item; }
    const mailbox::CProperties& Properties() const { return m_item->data->properties; }
    /// The record to change by hand; what was opened before is not affected.
    mailbox::TMessageData& Edit();

  private:
    mailbox::CProperties& Changed() { return Edit().properties; }

    mailbox::TStore* m_store;
    mailbox::TItem* m_item;
};

class TestFolder {
  public:
    TestFolder(mailbox::CDatabase* database, mailbox::TFolder* folder)
        : m_database(database), m_folder(folder) {}

    TestFolder Folder(std::wstring_view name, std::wstring_view containerClass = L"IPF.Note");
    /// A new item of class IPM.Note without any other property.
    TestItem Item(std::wstring_view messageClass = L"IPM.Note");

    std::string Id() const { return HexText(m_folder->id); }
    std::string StoreId() const { return HexText(m_folder->store->id); }
    mailbox::TFolder& Record() const { return *m_folder; }

  private:
    mailbox::CDatabase* m_database;
    mailbox::TFolder* m_folder;
};

class TestStore {
  public:
    TestStore(mailbox::CDatabase* database, mailbox::TStore* store) : m_database(database), m_store(store) {}

    TestFolder Root() const { return {m_database, m_store->root.get()}; }
    /// Puts a service of these names behind the store; null leaves a name out.
    TestStore& Service(const char* dll, const char* entry, const char* name = "Service",
                       const char* displayName = "Service of the store");
    std::string Id() const { return HexText(m_store->id); }
    mailbox::TStore& Record() const { return *m_store; }

  private:
    mailbox::CDatabase* m_database;
    mailbox::TStore* m_store;
};

class MailboxTest : public testing::Test {
  protected:
    MailboxTest();
    ~MailboxTest() override;

    mailbox::CDatabase& Database() { return *m_database; }
    /// The first store, a personal folders file, and its folder "Inbox"; there from the start.
    TestStore Store() { return m_store; }
    TestFolder Inbox() { return m_inbox; }
    TestStore AddStore(std::wstring_view name);
    /// An address-book entry; the result is its entry identifier, in bytes.
    std::string AddAddress(const mailbox::CProperties& properties);

    /// Logs on at the first call. The session belongs to the fixture, which logs off at the end of the test.
    IMAPISession* Session();
    store::ComPtr<IMessage> Open(const TestItem& item, ULONG flags = MAPI_BEST_ACCESS);
    store::ComPtr<IMAPIFolder> Open(const TestFolder& folder);
    store::ComPtr<IMsgStore> Open(const TestStore& store);
    /// Logs off before the end of the test.
    void Logoff();

  private:
    std::shared_ptr<mailbox::CDatabase> m_database;
    TestStore m_store;
    TestFolder m_inbox;
    store::ComPtr<IMAPISession> m_session;
};

/// FILETIME of a UTC date and time.
FILETIME Utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
/// Runs body with call 1, 2, 3 ... of the platform failing, until a run is not struck any more. body sets up
/// its scenario, calls its argument to arm the fault (calls before it do not count), makes the calls under
/// test, and checks them; calls::Struck() tells it whether this was a disturbed run.
///     SweepFaults([&](auto arm) { arm(); HRESULT hr = store::OpenItem(...); EXPECT_EQ(hr == S_OK,
///     !calls::Struck()); });
template <typename Body>
void SweepFaults(Body body, HRESULT result = E_FAIL) {
    for (unsigned nth = 1;; ++nth) {
        SCOPED_TRACE("platform call " + std::to_string(nth) + " fails");
        mailbox::calls::Reset();
        body([&] { mailbox::calls::FailNth(nth, result); });
        const bool struck = mailbox::calls::Struck() != 0;
        mailbox::calls::Reset();
        if (!struck || testing::Test::HasFatalFailure()) break;
    }
}
