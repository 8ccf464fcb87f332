#include "tests/support/MailboxFixture.h"

#include <cstring>

#include "mailbox/platform_headers.h"
#include "mailbox/text.h"

using store::CMapiProvider;
using store::ComPtr;

namespace {

/// Fails a test that leaves something behind, whatever fixture it has.
class LeakListener : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo&) override {
        const std::string alive = mailbox::DescribeAlive();
        if (!alive.empty()) ADD_FAILURE() << "the platform's objects and buffers still alive: " << alive;
        if (mailbox::calls::IsArmed())
            ADD_FAILURE() << "a fault is armed still: the call that should fail never came";
        mailbox::calls::Reset();
    }
};

[[maybe_unused]] const bool g_listens = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new LeakListener);
    return true;
}();

/// Keeps the platform's functions in the program, from where the library binds them.
[[gnu::used]] const volatile void* const g_functions[] = {
    reinterpret_cast<void*>(MAPIInitialize), reinterpret_cast<void*>(MAPIUninitialize),
    reinterpret_cast<void*>(MAPILogonEx),    reinterpret_cast<void*>(MAPIAllocateBuffer),
    reinterpret_cast<void*>(MAPIFreeBuffer), reinterpret_cast<void*>(FreeProws)};

GUID ToGuid(const char* text) {
    GUID guid{};
    CLSIDFromString(mailbox::ToWide(text).c_str(), &guid);
    return guid;
}

}  // namespace

FILETIME Utc(int year, int month, int day, int hour, int minute, int second) {
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    FILETIME filetime{};
    SystemTimeToFileTime(&time, &filetime);
    return filetime;
}

mailbox::TMessageData& TestItem::Edit() {
    // What is open shares the record; then the change goes into a new one.
    if (m_item->data.use_count() != 1) m_item->data = std::make_shared<mailbox::TMessageData>(*m_item->data);
    return const_cast<mailbox::TMessageData&>(*m_item->data);
}

ULONG TestItem::NamedTag(const char* set, LONG number, ULONG type) {
    return PROP_TAG(type, m_store->names.FindOrAdd({ToGuid(set), true, number, {}}));
}
ULONG TestItem::NamedTag(const char* set, const wchar_t* name, ULONG type) {
    return PROP_TAG(type, m_store->names.FindOrAdd({ToGuid(set), false, 0, name}));
}
TestItem& TestItem::Recipient(ULONG type, std::wstring_view name, std::wstring_view email) {
    mailbox::CProperties row;
    row.Long(PR_RECIPIENT_TYPE, type).Text(PR_DISPLAY_NAME_W, name);
    return Recipient(row.Text(PR_ADDRTYPE_W, L"SMTP").Text(PR_EMAIL_ADDRESS_W, email));
}

TestItem& TestItem::Attach(std::wstring_view name, std::string_view data) {
    mailbox::CProperties properties;
    properties.Long(PR_ATTACH_METHOD, ATTACH_BY_VALUE)
        .Text(PR_ATTACH_LONG_FILENAME_W, name)
        .Text(PR_DISPLAY_NAME_W, name)
        .Binary(PR_ATTACH_DATA_BIN, data);
    return Attach(properties);
}

TestItem& TestItem::Attach(const mailbox::CProperties& properties) {
    auto attachment = std::make_shared<mailbox::TAttachment>();
    attachment->number = Edit().nextAttachment++;
    attachment->properties = properties;
    Edit().attachments.push_back(std::move(attachment));
    return *this;
}

TestItem& TestItem::AttachMessage(std::wstring_view name, const TestItem& embedded) {
    auto attachment = std::make_shared<mailbox::TAttachment>();
    attachment->number = Edit().nextAttachment++;
    attachment->properties.Long(PR_ATTACH_METHOD, ATTACH_EMBEDDED_MSG).Text(PR_DISPLAY_NAME_W, name);
    attachment->message = mailbox::Translate(embedded.m_item->data, embedded.m_store->names, m_store->names);
    Edit().attachments.push_back(std::move(attachment));
    return *this;
}

TestFolder TestFolder::Folder(std::wstring_view name, std::wstring_view containerClass) {
    mailbox::CProperties properties;
    properties.Text(PR_DISPLAY_NAME_W, name).Text(PR_CONTAINER_CLASS_W, containerClass);
    return {m_database, m_database->AddFolder(*m_folder, {}, std::move(properties))};
}

TestItem TestFolder::Item(std::wstring_view messageClass) {
    auto data = std::make_shared<mailbox::TMessageData>();
    data->properties.Text(PR_MESSAGE_CLASS_W, messageClass);
    return {m_folder->store, m_database->AddItem(*m_folder, {}, std::move(data))};
}

TestStore& TestStore::Service(const char* dll, const char* entry, const char* name, const char* displayName) {
    auto service = std::make_unique<mailbox::TService>();
    service->uid = mailbox::SearchKeyOf("service of " + m_store->id);
    const struct {
        ULONG tag;
        const char* text;
    } texts[] = {{PR_SERVICE_DLL_NAME_A, dll},
                 {PR_SERVICE_ENTRY_NAME, entry},
                 {PR_SERVICE_NAME_A, name},
                 {PR_DISPLAY_NAME_A, displayName}};
    for (const auto& text : texts)
        if (text.text != nullptr) service->properties.Text8(text.tag, text.text);
    std::erase_if(m_database->services, [&](const auto& other) { return other->uid == service->uid; });
    m_store->serviceUid = service->uid;
    m_database->services.push_back(std::move(service));
    return *this;
}

MailboxTest::MailboxTest()
    : m_database(std::make_shared<mailbox::CDatabase>()),
      m_store(AddStore(L"Personal Folders")),
      m_inbox(m_store.Root().Folder(L"Inbox")) {
    CMapiProvider::Bind(GetModuleHandleW(nullptr));
    m_store.Service("mspst.dll", "PSTServiceEntry");
    mailbox::TStore& record = m_store.Record();
    record.isDefault = true;
    record.special[mailbox::sfIpmSubtree] = record.root->id;
    record.special[mailbox::sfInbox] = m_inbox.Record().id;
    mailbox::Install(m_database);
}

MailboxTest::~MailboxTest() {
    // What the test itself armed is its own affair; the session's end is not part of it.
    if (m_session != nullptr) {
        const bool armed = mailbox::calls::IsArmed();
        if (armed) ADD_FAILURE() << "a fault is armed still: the call that should fail never came";
        mailbox::calls::Reset();
        Logoff();
    }
    mailbox::Install(nullptr);
}

TestStore MailboxTest::AddStore(std::wstring_view name) {
    mailbox::TStore* store = m_database->AddStore({}, name);
    store->root->properties.Text(PR_DISPLAY_NAME_W, L"Top of " + std::wstring(name));
    return {m_database.get(), store};
}

std::string MailboxTest::AddAddress(const mailbox::CProperties& properties) {
    auto entry = std::make_unique<mailbox::TAddressEntry>();
    entry->id = m_database->NewId(m_store.Record());
    entry->properties = properties;
    m_database->addressBook.push_back(std::move(entry));
    return m_database->addressBook.back()->id;
}

IMAPISession* MailboxTest::Session() {
    if (m_session == nullptr) {
        EXPECT_EQ(store::mapi::Initialize(nullptr), S_OK);
        EXPECT_EQ(store::mapi::LogonEx(0, nullptr, nullptr, MAPI_EXTENDED, m_session.GetAddressOf()), S_OK);
    }
    return m_session.Get();
}

void MailboxTest::Logoff() {
    EXPECT_EQ(m_session->Logoff(0, 0, 0), S_OK);
    m_session = nullptr;
    store::mapi::Uninitialize();
}

namespace {
template <typename Interface>
ComPtr<Interface> OpenIn(IMAPISession* session, std::string_view id, ULONG flags, REFIID iid) {
    ComPtr<IUnknown> object;
    ULONG type = 0;
    const auto* bytes = reinterpret_cast<const ENTRYID*>(id.data());
    EXPECT_EQ(session->OpenEntry(static_cast<ULONG>(id.size()), const_cast<ENTRYID*>(bytes), &iid, flags,
                                 &type, object.GetAddressOf()),
              S_OK);
    // OpenEntry gives the very interface that it was asked for.
    ComPtr<Interface> opened;
    *opened.GetAddressOf() = static_cast<Interface*>(object.Detach());
    return opened;
}
}  // namespace

ComPtr<IMessage> MailboxTest::Open(const TestItem& item, ULONG flags) {
    return OpenIn<IMessage>(Session(), item.IdBytes(), flags, IID_IMessage);
}
ComPtr<IMAPIFolder> MailboxTest::Open(const TestFolder& folder) {
    return OpenIn<IMAPIFolder>(Session(), folder.Record().id, MAPI_BEST_ACCESS, IID_IMAPIFolder);
}
ComPtr<IMsgStore> MailboxTest::Open(const TestStore& store) {
    return OpenIn<IMsgStore>(Session(), store.Record().id, MAPI_BEST_ACCESS, IID_IMsgStore);
}
