// The sample mailbox, imported, as the platform gives it back: folders, counts, and values worked out by
// hand.

#include <gtest/gtest.h>
#include <mapitags.h>

#include <algorithm>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "base/mapi_extra.h"
#include "mailbox/Platform.h"
#include "store/attachments.h"
#include "store/named_properties.h"
#include "store/properties.h"
#include "store/sessions.h"
#include "store/streams.h"
#include "tests/support/MailboxFixture.h"

namespace {

constexpr ULONG kStart = 0x820D, kDuration = 0x8213, kAllDay = 0x8215, kRecurring = 0x8223;

std::wstring TextOf(const SPropValue& value) {
    return PROP_TYPE(value.ulPropTag) == PT_UNICODE ? value.Value.lpszW : L"(none)";
}

/// All rows of a table, with the columns given.
RowSet Rows(IMAPITable* table, SPropTagArray* columns) {
    RowSet rows;
    ULONG count = 0;
    EXPECT_EQ(table->SetColumns(columns, 0), S_OK);
    EXPECT_EQ(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(table->QueryRows(static_cast<LONG>(count), 0, Out(rows)), S_OK);
    return rows;
}

struct Folder {
    std::wstring containerClass;
    std::vector<std::string> items;  // entry identifiers in order
};

class Imported : public testing::Test {
  protected:
    void SetUp() override { Read(SAMPLE_MAILBOX); }
    void Read(const wchar_t* file) {
        MapiProvider::Bind(GetModuleHandleW(nullptr));
        SetEnvironmentVariableW(L"QUORVEL_MAILBOX", file);
        ASSERT_EQ(store::Logon(m_session.GetAddressOf(), 1, 0), S_OK) << Narrow(mailbox::LastError());
        ComPtr<IMAPITable> stores;
        ASSERT_EQ(m_session->GetMsgStoresTable(0, stores.GetAddressOf()), S_OK);
        TagList columns(PR_ENTRYID);
        const RowSet rows = Rows(stores.Get(), columns);
        ASSERT_EQ(rows->cRows, 1u);
        const SBinary& id = rows->aRow[0].lpProps[0].Value.bin;
        m_storeId = HexText({reinterpret_cast<const char*>(id.lpb), id.cb});
        ASSERT_EQ(store::OpenStore(m_session.Get(), m_storeId.c_str(), m_store.GetAddressOf()), S_OK);
        ComPtr<IUnknown> root;
        ULONG type = 0;
        ASSERT_EQ(m_store->OpenEntry(0, nullptr, nullptr, 0, &type, root.GetAddressOf()), S_OK);
        ComPtr<IMAPIFolder> folder;
        ASSERT_EQ(root->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(folder.GetAddressOf())),
                  S_OK);
        Collect(folder.Get(), L"");
    }
    void TearDown() override {
        m_store.Reset();
        if (m_session) {
            EXPECT_EQ(m_session->Logoff(0, 0, 0), S_OK);
            m_session.Reset();
            mapi::Uninitialize();
        }
        SetEnvironmentVariableW(L"QUORVEL_MAILBOX", nullptr);
    }

    static std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

    void Collect(IMAPIFolder* folder, const std::wstring& path) {
        ComPtr<IMAPITable> contents;
        ASSERT_EQ(folder->GetContentsTable(0, contents.GetAddressOf()), S_OK);
        TagList itemColumns(PR_ENTRYID);
        const RowSet items = Rows(contents.Get(), itemColumns);
        for (ULONG i = 0; i < items->cRows; ++i) {
            const SBinary& id = items->aRow[i].lpProps[0].Value.bin;
            m_folders[path].items.push_back(HexText({reinterpret_cast<const char*>(id.lpb), id.cb}));
        }
        ComPtr<IMAPITable> hierarchy;
        ASSERT_EQ(folder->GetHierarchyTable(0, hierarchy.GetAddressOf()), S_OK);
        TagList folderColumns(PR_ENTRYID, PR_DISPLAY_NAME_W, PR_CONTAINER_CLASS_W);
        const RowSet folders = Rows(hierarchy.Get(), folderColumns);
        for (ULONG i = 0; i < folders->cRows; ++i) {
            const SPropValue* row = folders->aRow[i].lpProps;
            const std::wstring below = (path.empty() ? L"" : path + L"/") + TextOf(row[1]);
            m_folders[below].containerClass = TextOf(row[2]);
            ComPtr<IMAPIFolder> sub;
            const std::string id =
                HexText({reinterpret_cast<const char*>(row[0].Value.bin.lpb), row[0].Value.bin.cb});
            ASSERT_EQ(store::OpenStoreFolder(m_store.Get(), id.c_str(), sub.GetAddressOf()), S_OK);
            Collect(sub.Get(), below);
        }
    }

    ComPtr<IMessage> Open(const std::string& id) {
        ComPtr<IMessage> item;
        EXPECT_EQ(store::OpenStoreItem(m_store.Get(), id.c_str(), item.GetAddressOf()), S_OK);
        return item;
    }
    /// The items of a folder below "samples" with a subject ("(none)" for none), in order.
    std::vector<ComPtr<IMessage>> Find(const wchar_t* folder, const std::wstring& subject) {
        std::vector<ComPtr<IMessage>> found;
        for (const std::string& id : m_folders[std::wstring(L"samples/") + folder].items) {
            ComPtr<IMessage> item = Open(id);
            if (Text(item.Get(), PR_SUBJECT_W) == subject) found.push_back(item);
        }
        return found;
    }
    static MapiBuffer<SPropValue> Value(IMAPIProp* object, ULONG tag) {
        MapiBuffer<SPropValue> value;
        EXPECT_TRUE(store::IsReadSuccess(store::GetPropValue(object, static_cast<long>(tag), Out(value))));
        return value;
    }
    static std::wstring Text(IMAPIProp* object, ULONG tag) { return TextOf(*Value(object, tag)); }
    static ULONG Named(IMessage* item, const char* set, ULONG id, ULONG type) {
        return store::GetIDFromName2(item, set, static_cast<long>(id), type);
    }

    ComPtr<IMAPISession> m_session;
    ComPtr<IMsgStore> m_store;
    std::string m_storeId;
    std::map<std::wstring, Folder> m_folders;
};

TEST_F(Imported, FoldersHaveTheirClassesAndItems) {
    const struct {
        const wchar_t* path;
        const wchar_t* containerClass;
        size_t items;
    } table[] = {
        {L"samples", L"IPF.Note", 0},
        {L"samples/Archive", L"IPF.Note", 2},
        {L"samples/Calendar", L"IPF.Appointment", 17},
        {L"samples/Contacts", L"IPF.Contact", 13},
        {L"samples/Drafts", L"IPF.Note", 1},
        {L"samples/Inbox", L"IPF.Note", 20},
        {L"samples/Journal", L"IPF.Journal", 6},
        {L"samples/Sent", L"IPF.Note", 6},
        {L"samples/Tasks", L"IPF.Task", 6},
    };
    EXPECT_EQ(m_folders.size(), std::size(table) + (m_folders.count(L"") ? 1 : 0));
    for (const auto& row : table) {
        EXPECT_EQ(m_folders[row.path].containerClass, row.containerClass) << Narrow(row.path);
        EXPECT_EQ(m_folders[row.path].items.size(), row.items) << Narrow(row.path);
    }
}

TEST_F(Imported, MailsKeepTextsTimesAndPeople) {
    const auto mails = Find(L"Inbox", L"Spare parts for the pump");
    ASSERT_EQ(mails.size(), 2u);
    for (const auto& mail : mails) {
        EXPECT_EQ(Text(mail.Get(), PR_SENT_REPRESENTING_NAME_W), L"Ines Okafor");
        EXPECT_EQ(Text(mail.Get(), PR_SENT_REPRESENTING_EMAIL_ADDRESS_W), L"ines.okafor@example.org");
        EXPECT_EQ(Text(mail.Get(), PR_BODY_W),
                  L"The spare parts for the pump are at the gate.\r\nWho fetches them before "
                  L"noon?\r\n\r\nInes\r\n");
        const FILETIME sent = Utc(2024, 4, 11, 7, 5);
        EXPECT_EQ(CompareFileTime(&Value(mail.Get(), PR_CLIENT_SUBMIT_TIME)->Value.ft, &sent), 0);
        ComPtr<IMAPITable> recipients;
        ASSERT_EQ(mail->GetRecipientTable(0, recipients.GetAddressOf()), S_OK);
        TagList columns(PR_DISPLAY_NAME_W, PR_EMAIL_ADDRESS_W, PR_RECIPIENT_TYPE);
        const RowSet rows = Rows(recipients.Get(), columns);
        ASSERT_EQ(rows->cRows, 2u);
        EXPECT_EQ(TextOf(rows->aRow[1].lpProps[0]), L"Jonas Hale");
        EXPECT_EQ(TextOf(rows->aRow[1].lpProps[1]), L"jonas.hale@example.org");
        EXPECT_EQ(rows->aRow[1].lpProps[2].Value.l, MAPI_TO);
    }
    EXPECT_EQ(Find(L"Inbox", L"  Quarterly figures \t").size(), 1u) << "blanks around a subject belong to it";
    EXPECT_EQ(Find(L"Inbox", L"Caf\u00E9 \u00E0 la grue").size(), 2u);
}

TEST_F(Imported, AttachmentsKeepNamesDataAndMessages) {
    const auto plans = Find(L"Inbox", L"Plan of the jetty");
    ASSERT_EQ(plans.size(), 2u);
    std::vector<std::string> contents;
    for (const auto& mail : plans) {
        ComPtr<IAttach> attachment;
        ASSERT_EQ(store::OpenAttachment(mail.Get(), 0, attachment.GetAddressOf()), S_OK);
        EXPECT_EQ(Text(attachment.Get(), PR_ATTACH_LONG_FILENAME_W), L"jetty.csv");
        MapiBuffer<void> data;
        ULONG size = 0;
        ASSERT_EQ(store::GetStreamPropValue(attachment.Get(), PR_ATTACH_DATA_BIN, Out(data), &size, 0), S_OK);
        contents.emplace_back(static_cast<const char*>(data.get()), size);
    }
    EXPECT_EQ(contents[0].size(), contents[1].size());
    EXPECT_NE(contents[0], contents[1]);

    const auto forwarded = Find(L"Inbox", L"Fwd: High water on Saturday");
    ASSERT_EQ(forwarded.size(), 1u);
    ComPtr<IAttach> attachment;
    ASSERT_EQ(store::OpenAttachment(forwarded[0].Get(), 0, attachment.GetAddressOf()), S_OK);
    ComPtr<IMessage> embedded;
    ASSERT_EQ(attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, OutUnknown(embedded)), S_OK);
    EXPECT_EQ(Text(embedded.Get(), PR_SUBJECT_W), L"High water on Saturday");
}

TEST_F(Imported, ContactsKeepTheirFieldsAndThePhoto) {
    const auto found = Find(L"Contacts", L"Dr. Ines Marie Okafor");
    ASSERT_EQ(found.size(), 1u);
    IMessage* contact = found[0].Get();
    const struct {
        ULONG tag;
        const wchar_t* text;
    } table[] = {
        {PR_GIVEN_NAME_W, L"Ines"},
        {PR_BUSINESS2_TELEPHONE_NUMBER_W, L"+49 30 5550 1102"},
        {PR_PRIMARY_FAX_NUMBER_W, L"+49 30 5550 4409"},
        {Named(contact, kSetAddress, 0x8083, PT_UNICODE), L"ines.okafor@example.org"},
        {Named(contact, kSetAddress, 0x80A3, PT_UNICODE), L"workshop@example.org"},
        {Named(contact, kSetAddress, 0x801A, PT_UNICODE),
         L"8 Mole Street\r\nPO Box 77\r\nHafenstadt, Nordland 10997\r\nGermany"},
        {Named(contact, kSetAddress, 0x8005, PT_UNICODE), L"Okafor, Ines Marie"},
    };
    for (const auto& row : table) EXPECT_EQ(Text(contact, row.tag), row.text) << std::hex << row.tag;
    const FILETIME birthday = Utc(1980, 6, 14);
    EXPECT_EQ(CompareFileTime(&Value(contact, PR_BIRTHDAY)->Value.ft, &birthday), 0);
    EXPECT_TRUE(Value(contact, Named(contact, kSetAddress, 0x8015, PT_BOOLEAN))->Value.b);
    ComPtr<IAttach> photo;
    ASSERT_EQ(store::OpenAttachment(contact, 0, photo.GetAddressOf()), S_OK);
    ULONG isPhoto = 0;
    EXPECT_EQ(Attach_IsContactPhoto_get(photo.Get(), &isPhoto), S_OK);
    EXPECT_TRUE(isPhoto);
}

// The mailbox was imported where local time was Berlin's.
TEST_F(Imported, AppointmentsKeepTheirTimes) {
    const struct {
        const wchar_t* subject;
        FILETIME start;
        LONG minutes;
        bool allDay;
        bool recurring;
    } table[] = {
        {L"Company outing", Utc(2024, 6, 13, 22), 1440, true, false},
        {L"Company outing", Utc(2024, 6, 13, 22), 1440, false, false},
        {L"Company outing", Utc(2024, 6, 14, 7), 1440, false, false},
        {L"Company outing", Utc(2024, 6, 14, 7), 480, false, false},
        {L"Pilots' meeting", Utc(2024, 7, 15, 12), 60, false, false},
        {L"Pilots' meeting", Utc(2024, 7, 15, 12), 60, false, false},
        {L"Pilots' meeting", Utc(2024, 7, 15, 12), 60, false, false},
        {L"Pilots' meeting", Utc(2024, 7, 15, 14), 60, false, false},
        {L"Anna Schmidt's birthday", Utc(1972, 1, 4, 23), 1440, true, true},
        {L"Schmidt  Anna's Birthday", Utc(2020, 1, 4, 23), 1440, true, false},
        {L"Safety drill", Utc(2024, 5, 6, 8), 60, false, true},
        {L"(none)", Utc(2024, 5, 20, 10), 30, false, false},
    };
    std::map<std::wstring, size_t> seen;
    for (const auto& row : table) {
        const auto found = Find(L"Calendar", row.subject);
        const size_t index = seen[row.subject]++;
        SCOPED_TRACE(Narrow(row.subject) + " " + std::to_string(index + 1));
        ASSERT_LT(index, found.size());
        IMessage* item = found[index].Get();
        const auto value = [&](ULONG id, ULONG type) {
            return Value(item, Named(item, kSetAppointment, id, type));
        };
        EXPECT_EQ(CompareFileTime(&value(kStart, PT_SYSTIME)->Value.ft, &row.start), 0);
        EXPECT_EQ(value(kDuration, PT_LONG)->Value.l, row.minutes);
        EXPECT_EQ(value(kAllDay, PT_BOOLEAN)->Value.b != 0, row.allDay);
        EXPECT_EQ(value(kRecurring, PT_BOOLEAN)->Value.b != 0, row.recurring);
    }
}

TEST_F(Imported, TasksAndJournalEntriesKeepTheirDays) {
    const auto winches = Find(L"Tasks", L"Oil the winch");
    ASSERT_EQ(winches.size(), 2u);
    const FILETIME start = Utc(2024, 6, 10), due = Utc(2024, 6, 21);
    const auto task = [&](size_t index, ULONG id) {
        IMessage* item = winches[index].Get();
        return Value(item, Named(item, kSetTask, id, PT_SYSTIME));
    };
    EXPECT_EQ(CompareFileTime(&task(0, 0x8104)->Value.ft, &start), 0);
    EXPECT_EQ(PROP_TYPE(task(0, 0x8105)->ulPropTag), PT_ERROR);
    EXPECT_EQ(PROP_TYPE(task(1, 0x8104)->ulPropTag), PT_ERROR);
    EXPECT_EQ(CompareFileTime(&task(1, 0x8105)->Value.ft, &due), 0);

    const auto calls = Find(L"Journal", L"(none)");
    ASSERT_EQ(calls.size(), 3u);
    IMessage* last = calls[2].Get();
    EXPECT_EQ(Value(last, Named(last, kSetJournal, 0x8707, PT_LONG))->Value.l, 20);
}

#ifdef REAL_MAILBOX
class ImportedRealData : public Imported {
    void SetUp() override { Read(REAL_MAILBOX); }
};

TEST_F(ImportedRealData, EveryItemOpensInAFolderOfItsKind) {
    const std::map<std::wstring, std::wstring> classes = {{L"IPF.Note", L"IPM.Note"},
                                                          {L"IPF.Contact", L"IPM.Contact"},
                                                          {L"IPF.Appointment", L"IPM.Appointment"},
                                                          {L"IPF.Task", L"IPM.Task"},
                                                          {L"IPF.Journal", L"IPM.Activity"}};
    size_t items = 0;
    for (const auto& [path, folder] : m_folders) {
        for (const std::string& id : folder.items) {
            const std::wstring found = Text(Open(id).Get(), PR_MESSAGE_CLASS_W);
            const bool meeting = found.starts_with(L"IPM.Schedule.Meeting.");
            EXPECT_TRUE(found == classes.at(folder.containerClass) || meeting)
                << Narrow(path + L": " + found);
            ++items;
        }
    }
    EXPECT_GE(items, REAL_MAILS);
}
#endif

}  // namespace
