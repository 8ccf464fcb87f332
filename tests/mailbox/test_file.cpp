// The mailbox file: what is written comes back, what is malformed is refused with its place, and at any
// moment the file is whole.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>
#include <thread>

#include "mailbox/file_reader.h"
#include "mailbox/file_text.h"
#include "mailbox/file_writer.h"
#include "mailbox/text.h"
#include "mailbox/values.h"
#include "store/named_properties.h"
#include "tests/mailbox/values.h"
#include "tests/support/MailboxFixture.h"

using store::CMapiProvider;
using store::ComPtr;

namespace {

std::string Format(const mailbox::CDatabase& database) {
    std::string text;
    mailbox::FormatMailbox(database, [&](std::string_view piece) { return text.append(piece), true; });
    return text;
}

bool ReadMailbox(const std::string& text, mailbox::CDatabase& database, std::wstring& why,
                 size_t piece = 1 << 18) {
    return mailbox::ReadMailbox(std::make_shared<mailbox::CFileText>(text), database, why, piece);
}

/// Everything about properties but the identifiers that a store gives to names.
std::string Describe(const mailbox::CProperties& properties, const mailbox::CNameTable& names) {
    std::vector<std::string> lines;
    for (const mailbox::CProperties::TSlot& slot : properties.Slots()) {
        const mailbox::TName* name = names.Of(PROP_ID(slot.tag));
        std::string line = name == nullptr
                               ? std::to_string(slot.tag)
                               : mailbox::ToHex({reinterpret_cast<const char*>(&name->set), 16}) +
                                     (name->numeric ? "#" : "'") + std::to_string(name->number) +
                                     mailbox::FromWide(name->text) + std::to_string(PROP_TYPE(slot.tag));
        mailbox::CScratch scratch;
        lines.push_back(line + "=" + mailbox::ToHex(mailbox::BytesOf(properties, slot, scratch)) + "\n");
        EXPECT_EQ(scratch.failure, S_OK);
    }
    std::ranges::sort(lines);
    std::string all;
    for (const std::string& line : lines) all += line;
    return all;
}

std::string Describe(const mailbox::TMessageData& data, const mailbox::CNameTable& names) {
    std::string text = Describe(data.properties, names);
    for (const auto& recipient : data.recipients) text += "recipient\n" + Describe(recipient, names);
    for (const auto& attachment : data.attachments) {
        text += "attachment " + std::to_string(attachment->number) + "\n" +
                Describe(attachment->properties, names);
        if (attachment->message != nullptr)
            text += "message\n" + Describe(*attachment->message, names) + "end\n";
    }
    return text;
}

std::string Describe(const mailbox::TFolder& folder) {
    const mailbox::CNameTable& names = folder.store->names;
    std::string text = "folder " + mailbox::ToHex(folder.id) + "\n" + Describe(folder.properties, names);
    for (const auto& item : folder.items)
        text += "item " + mailbox::ToHex(item->id) + (item->associated ? " hidden\n" : "\n") +
                Describe(*item->data, names);
    for (const auto& child : folder.folders) text += Describe(*child);
    return text + "end\n";
}

std::string Describe(const mailbox::CDatabase& database) {
    std::string text;
    for (const auto& service : database.services)
        text += "service " + mailbox::ToHex(service->uid) + "\n" + Describe(service->properties, {});
    for (const auto& store : database.stores) {
        text += "store " + mailbox::ToHex(store->id) + (store->isDefault ? " default " : " ") +
                mailbox::ToHex(store->serviceUid) + "\n";
        for (const mailbox::TName* name : store->names.All()) text += mailbox::FormatName(*name) + "\n";
        for (const std::string& special : store->special) text += mailbox::ToHex(special) + "\n";
        text += Describe(store->properties, store->names) + Describe(*store->root);
    }
    for (const auto& entry : database.addressBook)
        text += "address " + mailbox::ToHex(entry->id) + "\n" + Describe(entry->properties, {});
    return text;
}

/// Properties of every type, with values from their whole range.
class AnyProperties {
  public:
    AnyProperties(unsigned seed, mailbox::CNameTable& names) : m_random(seed), m_names(names) {}

    mailbox::CProperties Make() {
        static const ULONG types[] = {PT_I2,         PT_LONG,       PT_R4,         PT_DOUBLE,   PT_CURRENCY,
                                      PT_APPTIME,    PT_BOOLEAN,    PT_I8,         PT_STRING8,  PT_UNICODE,
                                      PT_SYSTIME,    PT_CLSID,      PT_BINARY,     PT_MV_I2,    PT_MV_LONG,
                                      PT_MV_DOUBLE,  PT_MV_I8,      PT_MV_SYSTIME, PT_MV_CLSID, PT_MV_BINARY,
                                      PT_MV_UNICODE, PT_MV_STRING8, PT_ERROR,      PT_OBJECT};
        mailbox::CProperties made;
        for (size_t count = m_random() % 12; count-- > 0;) {
            const ULONG type = types[m_random() % std::size(types)];
            ULONG id = 0x6800 + m_random() % 8;
            if (m_random() % 3 == 0) {
                mailbox::TName name{PS_PUBLIC_STRINGS, m_random() % 2 == 0, 0, {}};
                if (name.numeric)
                    name.number = static_cast<LONG>(m_random() % 20 + 0x8000);
                else
                    name.text = std::wstring(1, L"aä=\xD83D"[m_random() % 3]) + L"0x1:";
                id = m_names.FindOrAdd(name);
            }
            made.Set(PROP_TAG(type, id), Bytes(type));
        }
        return made;
    }

  private:
    std::string Bytes(ULONG type) {
        std::string bytes;
        if ((type & MV_FLAG) == 0) return Single(type);
        for (size_t count = m_random() % 4; count-- > 0;) {
            const std::string element = Single(type & ~MV_FLAG);
            if (mailbox::FixedSize(type) != 0)
                bytes += element;
            else
                mailbox::AppendElement(bytes, element);
        }
        return bytes;
    }
    std::string Single(ULONG type) {
        if (type == PT_BOOLEAN) return std::string(1, static_cast<char>(m_random() % 2)) + '\0';
        std::string bytes(mailbox::FixedSize(type), '\0');
        // Some are long enough to stay in the file.
        const size_t length = m_random() % 8 == 0 ? m_random() % 900 : m_random() % 9;
        if (bytes.empty() && type != PT_UNICODE) bytes.resize(length);
        for (char& byte : bytes) byte = static_cast<char>(m_random());
        if (type != PT_UNICODE) return bytes;
        std::wstring text;
        // A lone surrogate is written in another form, which does not stay there.
        const size_t kinds = length > 9 ? 9 : 11;
        for (size_t count = length; count-- > 0;)
            text += static_cast<wchar_t>(L"a\"\\\n\x01\x7Fä€\0\xD800\xDC00"[m_random() % kinds]);
        return mailbox::FromWide(text);
    }

    std::mt19937 m_random;
    mailbox::CNameTable& m_names;
};

TEST(MailboxText, WhatIsWrittenComesBackWhateverItIs) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        mailbox::CDatabase database;
        auto service = std::make_unique<mailbox::TService>();
        service->uid = mailbox::SearchKeyOf("s");
        service->properties.Text(PR_SERVICE_DLL_NAME_W, L"mspst.dll");
        for (int index = 0; index < 2; ++index) {
            mailbox::TStore* store = database.AddStore({}, L"Store");
            AnyProperties any(seed * 2 + static_cast<unsigned>(index), store->names);
            store->isDefault = index == 1;
            if (index == 0) store->serviceUid = service->uid;
            store->special[mailbox::sfIpmSubtree] = store->root->id;
            store->root->properties = any.Make();
            mailbox::TFolder* folder = database.AddFolder(*store->root, {}, any.Make());
            store->special[mailbox::sfSentItems] = folder->id;
            for (unsigned items = 0; items < 4; ++items) {
                auto data = std::make_shared<mailbox::TMessageData>();
                data->properties = any.Make();
                if (items % 2 == 0) data->recipients = {any.Make(), any.Make()};
                for (; data->nextAttachment < items; ++data->nextAttachment) {
                    auto attachment = std::make_shared<mailbox::TAttachment>();
                    attachment->number = data->nextAttachment;
                    attachment->properties = any.Make();
                    if (data->nextAttachment == 1) {
                        auto embedded = std::make_shared<mailbox::TMessageData>();
                        embedded->properties = any.Make();
                        attachment->message = std::move(embedded);
                    }
                    data->attachments.push_back(std::move(attachment));
                }
                database.AddItem(*folder, {}, std::move(data), items == 3);
            }
        }
        database.services.push_back(std::move(service));
        auto address = std::make_unique<mailbox::TAddressEntry>();
        address->id = "12345";
        address->properties.Text(PR_DISPLAY_NAME_W, L"Ann");
        database.addressBook.push_back(std::move(address));

        mailbox::CDatabase read;
        std::wstring why;
        const std::string text = Format(database);
        // In pieces so small that whatever there is crosses the border of two.
        ASSERT_TRUE(ReadMailbox(text, read, why, 15 + seed))
            << seed << ": " << mailbox::FromWide(why) << text;
        ASSERT_EQ(Describe(read), Describe(database)) << "seed " << seed;
        ASSERT_EQ(Format(read), text) << "values that stayed in the file are written as they stand there";
    }
}

/// A file with one item, whose properties (or the whole of it) a test chooses.
std::string OneItem(const std::string& properties) {
    return R"({"format": "quorvel-mailbox", "version": 1, "stores": [{"root": {"items": [{"properties": {)" +
           properties + "}}]}}]}";
}

TEST(MailboxText, RefusesWhatIsMalformedAndSaysWhere) {
    const std::string head = R"({"format": "quorvel-mailbox", "version": 1, )";
    const std::string item = "stores[0].root.items[0].properties.";
    const struct {
        std::string text;
        std::string why;
    } cases[] = {
        {"", "parse error at line 1, column 1: "},
        {"{\n \"format\": \"quorvel-mailbox\",\n \"version\": 1,", "parse error at line 3, column 15: "},
        {"[]", "a mailbox file is one object"},
        {"7", "a mailbox file is one object"},
        {"{}", "not a mailbox file: \"format\" or \"version\" is missing"},
        {R"({"format": "quorvel-mailbox"})", "not a mailbox file: \"format\" or \"version\" is missing"},
        {R"({"format": "mbox"})", "format: not \"quorvel-mailbox\""},
        {R"({"format": "quorvel-mailbox", "version": 2})",
         "version: not 1, the version that this program reads"},
        {head + R"("mails": []})", "mails: unknown member"},
        {head + R"("stores": {}})", "stores: not an object"},
        {head + R"("stores": 1})", "stores: not an object or list"},
        {head + R"("stores": [1]})", "stores[0]: not an object or list"},
        {head + R"("stores": [{}]})", "stores[0]: a store without root folder"},
        {head + R"("stores": [{"root": {}, "root": {}}]})", "stores[0].root: given twice"},
        {head + R"("stores": [{"root": null}]})", "stores[0].root: null is no value here"},
        {head + R"("stores": [{"id": "0102", "root": {}}]})",
         "stores[0].id: not an identifier of 5 to 255 bytes"},
        {head + R"("stores": [{"id": "0102x", "root": {}}]})", "stores[0].id: not hexadecimal text"},
        {head + R"("stores": [{"root": {"id": "0102030405", "items": [{}, {"id": "0102030405"}]}}]})",
         "stores[0].root.items[1].id: another folder or item of the store has this identifier"},
        {head + R"("stores": [{"id": "0102030405", "root": {}}, {"id": "0102030405", "root": {}}]})",
         "stores[1].id: another store has this identifier"},
        {head + R"("stores": [{"default": true, "root": {}}, {"default": true, "root": {}}]})",
         "stores[1]: a second default store"},
        {head + R"("stores": [{"service": "000102030405060708090A0B0C0D0E0F", "root": {}}]})",
         "stores[0].service: the file has no service 000102030405060708090A0B0C0D0E0F"},
        {head + R"("stores": [{"special": {"inbox": "0102030405"}, "root": {}}]})",
         "stores[0].special: the store has no folder 0102030405"},
        {head + R"("services": [{"dll": "x"}]})", "services[0]: a service without uid"},
        {head + R"("services": [{"uid": "0102030405"}]})", "services[0].uid: not 16 bytes"},
        {head + R"("addressBook": [{"properties": {}}]})",
         "addressBook[0]: an address-book entry without id"},
        {head +
             R"("addressBook": [{"id": "0102030405", "properties": {"{00062002-0000-0000-C000-000000000046}:0x1:000B": true}}]})",
         "addressBook[0].properties.{00062002-0000-0000-C000-000000000046}:0x1:000B: named properties belong "
         "to stores"},
        {head + R"("stores": [{"names": [7], "root": {}}]})", "stores[0].names[0]: not a name"},
        {head + R"("stores": [{"names": [[]], "root": {}}]})", "stores[0].names: not a list"},
        {head + R"("stores": [{"names": ["{00062002-0000-0000-C000-000000000046}:"], "root": {}}]})",
         "stores[0].names[0]: not a name"},
        {head +
             R"("stores": [{"names": ["{00062002-0000-0000-C000-000000000046}:a", "{00062002-0000-0000-C000-000000000046}:a"], "root": {}}]})",
         "stores[0].names[1]: given twice"},
        {head +
             R"("stores": [{"root": {"properties": {"{00062002-0000-0000-C000-000000000046}:a:0003": 1}}, "names": []}]})",
         "stores[0].names: must stand before the first named property"},
        {OneItem(R"("68000003": 1}, "properties": {"68010003": 1)"),
         "stores[0].root.items[0].properties: given twice"},
        {OneItem(R"("6800001F": ")" + std::string(400, 'x') + R"(\x")"), "parse error at line 1, column "},
        {OneItem(R"("68000102": ")" + std::string(401, 'A') + R"(")"), item + "68000102: not base64"},
        {OneItem(R"("68000102": ")" + std::string(400, 'A') + R"(===")"), item + "68000102: not base64"},
        {OneItem(R"("subject": "x")"), item + "subject: not a property"},
        {OneItem(R"("0037001F": "x", "0037001E": "y")"), item + "0037001E: a property given twice"},
        {OneItem(R"("0037001F": 1)"), item + "0037001F: not a text"},
        {OneItem(R"("0037001F": ["x"])"), item + "0037001F: not a list"},
        {OneItem(R"("68000002": 32768)"), item + "68000002: not a 16-bit integer"},
        {OneItem(R"("68000003": 4294967296)"), item + "68000003: not a 32-bit integer"},
        {OneItem(R"("68000003": 1.5)"), item + "68000003: not a 32-bit integer"},
        {OneItem(R"("68000014": 9223372036854775808)"), item + "68000014: not a 64-bit integer"},
        {OneItem(R"("6800000B": 1)"), item + "6800000B: not true or false"},
        {OneItem(R"("68000040": "2023-02-30T00:00:00Z")"), item + "68000040: not a time"},
        {OneItem(R"("68000040": -1)"), item + "68000040: not a time"},
        {OneItem(R"("68000048": "{}")"), item + "68000048: not a GUID"},
        {OneItem(R"("68000102": "x")"), item + "68000102: not base64"},
        {OneItem(R"("68001003": 1)"), item + "68001003: not a list"},
        {OneItem(R"("68001003": [1, "x"])"), item + "68001003[1]: not a 32-bit integer"},
        {OneItem(R"("68000003": {"base64": "AAAA"})"),
         item + "68000003.base64: not the bytes of a value of this type"},
        {OneItem(R"("6800001F": {"base64": "AAAA"})"), item + "6800001F.base64: not whole UTF-16 units"},
        {OneItem(R"("6800001F": {})"), item + "6800001F: an object without \"base64\""},
        {OneItem(R"("6800001F": {"bytes": "AAAA"})"), item + "6800001F.bytes: unknown member"}};
    for (const auto& c : cases) {
        mailbox::CDatabase database;
        std::wstring why;
        EXPECT_FALSE(ReadMailbox(c.text, database, why)) << c.text;
        EXPECT_EQ(mailbox::FromWide(why).substr(0, c.why.size()), c.why) << c.text;
    }
    mailbox::CDatabase database;
    std::wstring why;
    EXPECT_FALSE(
        ReadMailbox(head + R"("stores": [{"root": )" + std::string(100000, '[') + "}]}", database, why))
        << "and no crash";
}

TEST(MailboxText, IdentifiersThatAreNotGivenAreTheSameEachTime) {
    const std::string text = OneItem("");
    mailbox::CDatabase first, second;
    std::wstring why;
    ASSERT_TRUE(ReadMailbox(text, first, why) && ReadMailbox(text, second, why));
    EXPECT_EQ(Describe(first), Describe(second));
    EXPECT_NE(first.stores[0]->root->id, first.stores[0]->root->items[0]->id);
    EXPECT_NE(first.NewId(*first.stores[0]), second.NewId(*second.stores[0]))
        << "new ones are not given twice, not even by another session";
}

/// A mailbox file of its own in the temporary folder, which the platform uses as long as this lives.
class FileTest : public testing::Test {
  protected:
    FileTest() {
        wchar_t folder[MAX_PATH];
        GetTempPathW(MAX_PATH, folder);
        m_path =
            std::wstring(folder) + L"quorvel-mailbox-" + std::to_wstring(GetCurrentProcessId()) + L".json";
        SetEnvironmentVariableW(L"QUORVEL_MAILBOX", m_path.c_str());
        CMapiProvider::Bind(GetModuleHandleW(nullptr));
        mailbox::Install(nullptr);
        store::mapi::Initialize(nullptr);
    }
    ~FileTest() override {
        store::mapi::Uninitialize();
        for (const wchar_t* end : {L"", L".quorvel-new", L".quorvel-lock"})
            DeleteFileW((m_path + end).c_str());
        SetEnvironmentVariableW(L"QUORVEL_MAILBOX", nullptr);
    }
    void Write(const std::string& text) { std::ofstream(m_path.c_str(), std::ios::binary) << text; }
    std::string Read() {
        std::ifstream file(m_path.c_str(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool Exists(const wchar_t* end) {
        return GetFileAttributesW((m_path + end).c_str()) != INVALID_FILE_ATTRIBUTES;
    }
    long long LastWritten() {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        GetFileAttributesExW(m_path.c_str(), GetFileExInfoStandard, &data);
        return static_cast<long long>(data.ftLastWriteTime.dwHighDateTime) << 32 |
               data.ftLastWriteTime.dwLowDateTime;
    }
    HRESULT Logon(ComPtr<IMAPISession>& session) {
        return store::mapi::LogonEx(0, nullptr, nullptr, MAPI_EXTENDED, session.ReleaseAndGetAddressOf());
    }
    ComPtr<IMsgStore> OpenStore(IMAPISession* session) {
        ComPtr<IMsgStore> store;
        EXPECT_EQ(session->OpenMsgStore(0, 0, nullptr, nullptr, MAPI_BEST_ACCESS, store.GetAddressOf()),
                  S_OK);
        return store;
    }
    /// Makes a folder below the root: a change that is to be in the file.
    HRESULT MakeFolder(IMsgStore* store, const wchar_t* name) {
        ComPtr<IUnknown> root;
        ComPtr<IMAPIFolder> folder, made;
        EXPECT_EQ(store->OpenEntry(0, nullptr, nullptr, MAPI_BEST_ACCESS, nullptr, root.GetAddressOf()),
                  S_OK);
        EXPECT_EQ(root->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(folder.GetAddressOf())),
                  S_OK);
        return folder->CreateFolder(FOLDER_GENERIC, const_cast<wchar_t*>(name), nullptr, nullptr,
                                    MAPI_UNICODE, made.GetAddressOf());
    }

    std::wstring m_path;
};

TEST_F(FileTest, IsWrittenByLogoffAndByTheStoresSaveAndNotWithoutAChange) {
    Write(OneItem(R"("0037001F": "x")"));
    const std::string original = Read();
    ComPtr<IMAPISession> session, second;
    ASSERT_EQ(Logon(session), S_OK) << mailbox::FromWide(mailbox::LastError());
    EXPECT_TRUE(Exists(L".quorvel-lock"));
    ASSERT_EQ(session->Logoff(0, 0, 0), S_OK);
    session = nullptr;
    EXPECT_EQ(Read(), original);
    EXPECT_FALSE(Exists(L".quorvel-lock"));

    ASSERT_EQ(Logon(session), S_OK);
    ASSERT_EQ(Logon(second), S_OK) << "sessions of one process share the mailbox";
    const ComPtr<IMsgStore> store = OpenStore(session.Get());
    ASSERT_EQ(MakeFolder(store.Get(), L"One"), S_OK);
    EXPECT_EQ(Read(), original);
    ASSERT_EQ(store->SaveChanges(0), S_OK);
    EXPECT_NE(Read().find("\"One\""), std::string::npos);
    ASSERT_EQ(MakeFolder(OpenStore(second.Get()).Get(), L"Two"), S_OK);
    ASSERT_EQ(session->Logoff(0, 0, 0), S_OK);
    EXPECT_EQ(Read().find("\"Two\""), std::string::npos) << "another session is on still";
    second = nullptr;
    EXPECT_NE(Read().find("\"Two\""), std::string::npos) << "released without Logoff";
    EXPECT_FALSE(Exists(L".quorvel-new"));
}

TEST_F(FileTest, RefusesWhatItCannotUseAndLeavesItAlone) {
    ComPtr<IMAPISession> session;
    EXPECT_EQ(Logon(session), MAPI_E_NOT_FOUND);
    EXPECT_NE(mailbox::LastError().find(m_path + L": cannot be opened"), std::wstring::npos);

    const std::string broken = "{\"format\": \"quorvel-mailbox\", \"version\": 1, \"stores\": [{}]}";
    Write(broken);
    EXPECT_EQ(Logon(session), MAPI_E_CORRUPT_STORE);
    EXPECT_EQ(mailbox::LastError(), m_path + L": stores[0]: a store without root folder");
    EXPECT_EQ(Read(), broken);

    Write(OneItem(""));
    HANDLE writer = CreateFileW(m_path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(Logon(session), MAPI_E_BUSY);
    EXPECT_NE(mailbox::LastError().find(L"open for writing"), std::wstring::npos);
    CloseHandle(writer);
    HANDLE lock = CreateFileW((m_path + L".quorvel-lock").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              0, nullptr);
    EXPECT_EQ(Logon(session), MAPI_E_BUSY);
    EXPECT_NE(mailbox::LastError().find(L"another program uses"), std::wstring::npos);
    CloseHandle(lock);
    EXPECT_EQ(Logon(session), S_OK) << "a lock file that nobody holds is no lock";
    EXPECT_EQ(mailbox::LastError(), L"");
    session = nullptr;

    SetEnvironmentVariableW(L"QUORVEL_MAILBOX", nullptr);
    EXPECT_EQ(Logon(session), MAPI_E_UNCONFIGURED);
    EXPECT_NE(mailbox::LastError().find(L"QUORVEL_MAILBOX"), std::wstring::npos);
}

TEST_F(FileTest, DoesNotOverwriteWhatSomebodyElseWrote) {
    // Much to write, and nothing that is read from the file for it.
    std::string much = R"("6800001F": "x")";
    for (int id = 6801; id < 7999; ++id)
        much += R"(, ")" + std::to_string(id) + R"(001F": ")" + std::string(200, 'x') + '"';
    const std::string theirs = OneItem(R"("0037001F": "theirs")");
    HRESULT saved = S_OK;
    // Before the save; then during it, where one that came too late or too early is no harm.
    for (int round = 0; round == 0 || (round < 20 && saved == S_OK); ++round) {
        Write(OneItem(much));
        ComPtr<IMAPISession> session;
        ASSERT_EQ(Logon(session), S_OK);
        const ComPtr<IMsgStore> store = OpenStore(session.Get());
        ASSERT_EQ(MakeFolder(store.Get(), L"Mine"), S_OK);
        FILE* const written = _wfopen(m_path.c_str(), L"r+b");
        if (written) fclose(written);
        EXPECT_EQ(written, nullptr) << "nobody writes into a file whose values are in use";
        // After a save the file is open again only when it is read.
        ASSERT_EQ(store->SaveChanges(0), S_OK);
        ASSERT_EQ(MakeFolder(store.Get(), L"Mine too"), S_OK);
        std::atomic<bool> isOver = false;
        std::thread other([&] {
            while (round != 0 && !isOver && !Exists(L".quorvel-new")) std::this_thread::yield();
            Write(theirs);
        });
        if (round == 0) other.join();
        saved = session->Logoff(0, 0, 0);
        isOver = true;
        if (round != 0) other.join();
        EXPECT_EQ(Read(), theirs);
        if (round != 0 && saved == S_OK) continue;
        EXPECT_EQ(saved, MAPI_E_OBJECT_CHANGED);
        EXPECT_NE(mailbox::LastError().find(L"changed by another program"), std::wstring::npos);
        saved = round == 0 ? S_OK : saved;
    }
    EXPECT_EQ(saved, MAPI_E_OBJECT_CHANGED) << "nothing was ever written while the file was saved";
}

TEST_F(FileTest, LongValuesAreReadWhereTheyLieAndFollowEachSave) {
    const std::string body = std::string(9000, 'b') + "\\n", bytes(1000000, 'd'),
                      data = mailbox::ToBase64(bytes);
    // More than one piece of writing in front of the last long value, and more behind it than a save moves it.
    std::string behind;
    for (int id = 6800; id < 6832; ++id)
        behind += R"(, ")" + std::to_string(id) + R"(001F": ")" + std::string(200, 'x') + '"';
    Write(R"({"format": "quorvel-mailbox", "version": 1, "stores": [{"root": {"items": [)"
          R"({"id": "0000000001", "properties": {"1000001F": ")" +
          body + R"("}, "attachments": [{"properties": {"37050003": 1, "37010102": ")" + data +
          R"("}}]}, {"id": "0000000002", "properties": {"1000001F": ")" + body + '"' + behind + "}}]}}]}");
    ComPtr<IMAPISession> session;
    ASSERT_EQ(Logon(session), S_OK) << mailbox::FromWide(mailbox::LastError());
    const ComPtr<IMsgStore> store = OpenStore(session.Get());
    const auto open = [&](char last) {
        char id[] = {0, 0, 0, 0, last};
        ComPtr<IUnknown> object;
        ComPtr<IMessage> message;
        EXPECT_EQ(store->OpenEntry(5, reinterpret_cast<ENTRYID*>(id), nullptr, MAPI_BEST_ACCESS, nullptr,
                                   object.GetAddressOf()),
                  S_OK);
        if (object != nullptr)
            object->QueryInterface(IID_IMessage, reinterpret_cast<void**>(message.GetAddressOf()));
        return message;
    };
    const std::string wide = mailbox::ToWideBytes(std::string(9000, 'b') + "\n");
    const auto check = [&](IMessage* message, const char* when) {
        SCOPED_TRACE(when);
        EXPECT_EQ(ReadAll(OpenStream(message, PR_BODY_W).Get()), wide);
        const ComPtr<IStream> stream = OpenStream(message, PR_BODY_W);
        wchar_t start[4];
        ULONG read = 0;
        EXPECT_EQ(stream->Read(start, sizeof start, &read), S_OK);
        EXPECT_EQ(std::wstring(start, read / sizeof(wchar_t)), L"bbbb");
        ComPtr<IAttach> attachment;
        ASSERT_EQ(message->OpenAttach(0, nullptr, 0, attachment.GetAddressOf()), S_OK);
        EXPECT_TRUE(ReadAll(OpenStream(attachment.Get(), PR_ATTACH_DATA_BIN).Get()) == bytes);
        EXPECT_EQ(Get(attachment.Get(), {PR_ATTACH_SIZE})[0].Value.l, 1000004)
            << "the sizes are known unread";
    };
    const ComPtr<IMessage> message = open(1), deleted = open(2);
    check(message.Get(), "as it was read");
    ASSERT_EQ(MakeFolder(store.Get(), L"One"), S_OK);
    ASSERT_EQ(store->SaveChanges(0), S_OK) << mailbox::FromWide(mailbox::LastError());
    EXPECT_EQ(ReadAll(OpenStream(deleted.Get(), PR_BODY_W).Get()), wide) << "where the save had read before";
    check(message.Get(), "as it was saved, further back in the file");

    char id[] = {0, 0, 0, 0, 2};
    SBinary bin{5, reinterpret_cast<BYTE*>(id)};
    SBinaryArray list{1, &bin};
    ComPtr<IUnknown> root;
    ComPtr<IMAPIFolder> folder;
    ASSERT_EQ(store->OpenEntry(0, nullptr, nullptr, MAPI_BEST_ACCESS, nullptr, root.GetAddressOf()), S_OK);
    ASSERT_EQ(root->QueryInterface(IID_IMAPIFolder, reinterpret_cast<void**>(folder.GetAddressOf())), S_OK);
    ASSERT_EQ(folder->DeleteMessages(&list, 0, nullptr, 0), S_OK);
    EXPECT_EQ(ReadAll(OpenStream(deleted.Get(), PR_BODY_W).Get()), wide)
        << "an open item outlives its deletion";
    ASSERT_EQ(store->SaveChanges(0), S_OK);
    check(message.Get(), "saved once more");
    char piece[10];
    ULONG read = 0;
    EXPECT_EQ(OpenStream(deleted.Get(), PR_BODY_W)->Read(piece, sizeof piece, &read), MAPI_E_OBJECT_DELETED)
        << "no file holds it any more";

    // Where nobody can be kept from writing into an open file, its time tells.
    {
        const mailbox::CFile file(CreateFileW(m_path.c_str(), FILE_WRITE_ATTRIBUTES,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                              OPEN_EXISTING, 0, nullptr));
        const long long written = LastWritten();
        const auto setTime = [&](long long time) {
            const FILETIME to{static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
            return SetFileTime(file.Handle(), nullptr, nullptr, &to);
        };
        ASSERT_TRUE(setTime(written + 10000000));
        EXPECT_EQ(OpenStream(message.Get(), PR_BODY_W)->Read(piece, sizeof piece, &read),
                  MAPI_E_OBJECT_CHANGED);
        ASSERT_TRUE(setTime(written));
    }
    ASSERT_EQ(SetText(message.Get(), PR_SUBJECT_W, L"changed"), S_OK);
    ASSERT_EQ(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    ASSERT_EQ(store->SaveChanges(0), S_OK);
    Write(OneItem(""));
    EXPECT_EQ(OpenStream(message.Get(), PR_BODY_W)->Read(piece, sizeof piece, &read), MAPI_E_OBJECT_CHANGED)
        << "another program's file is not read as this one";
    EXPECT_EQ(Get(message.Get(), {PR_SUBJECT_W, PR_BODY_W}).result, MAPI_E_OBJECT_CHANGED)
        << "a value that cannot be read is not a missing one";
    session->Logoff(0, 0, 0);
}

TEST_F(FileTest, SaysWhatToDoWithWhatIsToBeImported) {
    const struct {
        const char* text;
        const wchar_t* what;
    } cases[] = {{"From ann@example.org Mon Jul 10\nSubject: x\n", L"is an mbox file and no mailbox file"},
                 {"Return-Path: <ann@example.org>\n", L"is a mail and no mailbox file"},
                 {"BEGIN:VCARD\n", L"is a contact file and no mailbox file"},
                 {"BEGIN:VCALENDAR\n", L"is a calendar file and no mailbox file"},
                 {"!BDN\x01\x02", L"is a mail client's data file and no mailbox file"},
                 {"{\"format\": \"mbox\"}", L": format: not"},
                 {"", L": parse error at line 1, column 1"}};
    ComPtr<IMAPISession> session;
    for (const auto& c : cases) {
        Write(c.text);
        EXPECT_EQ(Logon(session), MAPI_E_CORRUPT_STORE) << c.text;
        EXPECT_NE(mailbox::LastError().find(c.what), std::wstring::npos)
            << mailbox::FromWide(mailbox::LastError());
    }
    DeleteFileW(m_path.c_str());
    CreateDirectoryW(m_path.c_str(), nullptr);
    EXPECT_EQ(Logon(session), MAPI_E_CORRUPT_STORE);
    EXPECT_NE(mailbox::LastError().find(L"is a folder and no mailbox file; import it first"),
              std::wstring::npos);
    RemoveDirectoryW(m_path.c_str());
}

TEST_F(FileTest, IsOnlyReadWhereNothingCanBeWrittenBesideIt) {
    Write(OneItem(""));
    CreateDirectoryW((m_path + L".quorvel-lock").c_str(), nullptr);
    ComPtr<IMAPISession> session;
    ASSERT_EQ(Logon(session), S_OK);
    EXPECT_EQ(MakeFolder(OpenStore(session.Get()).Get(), L"New"), MAPI_E_NO_ACCESS);
    EXPECT_EQ(session->Logoff(0, 0, 0), S_OK);
    RemoveDirectoryW((m_path + L".quorvel-lock").c_str());
}

TEST_F(FileTest, AFailedWriteLeavesTheOldFileAndCanBeRepeated) {
    Write(OneItem(""));
    const std::string old = Read();
    std::ofstream((m_path + L".quorvel-new").c_str()) << "half of a mailb";
    // Under Wine without any right, as long as it is being made.
    SetFileAttributesW((m_path + L".quorvel-new").c_str(), FILE_ATTRIBUTE_READONLY);
    ComPtr<IMAPISession> session;
    ASSERT_EQ(Logon(session), S_OK);
    EXPECT_FALSE(Exists(L".quorvel-new")) << "what a killed process left behind";
    const ComPtr<IMsgStore> store = OpenStore(session.Get());
    ASSERT_EQ(MakeFolder(store.Get(), L"New"), S_OK);
    CreateDirectoryW((m_path + L".quorvel-new").c_str(), nullptr);
    EXPECT_EQ(store->SaveChanges(0), MAPI_E_DISK_ERROR);
    EXPECT_NE(mailbox::LastError().find(L"cannot be written"), std::wstring::npos);
    EXPECT_EQ(Read(), old);
    RemoveDirectoryW((m_path + L".quorvel-new").c_str());
    EXPECT_EQ(store->SaveChanges(0), S_OK);
    EXPECT_NE(Read().find("\"New\""), std::string::npos);
}

/// Starts mailbox_writer, which puts one generation after another into all items of the mailbox file.
class Child {
  public:
    explicit Child(const std::wstring& arguments) {
        wchar_t self[MAX_PATH];
        GetModuleFileNameW(nullptr, self, MAX_PATH);
        std::wstring program = self;
        program = program.substr(0, program.find_last_of(L'\\') + 1) + L"mailbox_writer.exe";
        std::wstring command = L"\"" + program + L"\" " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        EXPECT_TRUE(CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &m_process));
    }
    ~Child() {
        CloseHandle(m_process.hThread);
        CloseHandle(m_process.hProcess);
    }
    void Kill() { TerminateProcess(m_process.hProcess, 1); }
    DWORD Wait() {
        DWORD code = STILL_ACTIVE;
        WaitForSingleObject(m_process.hProcess, 60000);
        GetExitCodeProcess(m_process.hProcess, &code);
        return code;
    }

  private:
    PROCESS_INFORMATION m_process{};
};

TEST_F(FileTest, IsTheOldOrTheNewOneWheneverAProcessIsKilled) {
    mailbox::CDatabase database;
    mailbox::TStore* store = database.AddStore({}, L"Store");
    for (int index = 0; index < 400; ++index) {
        auto data = std::make_shared<mailbox::TMessageData>();
        data->properties.Text(PR_SUBJECT_W, L"0").Text(PR_BODY_W, std::wstring(2000, L'x'));
        database.AddItem(*store->root, {}, data);
    }
    Write(Format(database));
    std::mt19937 random(5);
    std::wstring before = L"0";
    for (int round = 0; round < 6; ++round) {
        const long long start = LastWritten();
        Child child(L"forever");
        // It has written the file once, and goes on writing: now at any moment.
        for (int wait = 0; wait < 3000 && LastWritten() == start; ++wait) Sleep(10);
        Sleep(random() % 120);
        child.Kill();
        child.Wait();
        mailbox::CDatabase read;
        std::wstring why;
        ASSERT_TRUE(ReadMailbox(Read(), read, why)) << "round " << round << ": " << mailbox::FromWide(why);
        const auto& items = read.stores[0]->root->items;
        ASSERT_EQ(items.size(), 400u);
        const auto subject = [](const auto& item) {
            const mailbox::CProperties& properties = item->data->properties;
            return mailbox::ToWide(properties.Bytes(*properties.Find(PROP_ID(PR_SUBJECT_W))));
        };
        for (const auto& item : items)
            ASSERT_EQ(subject(item), subject(items[0])) << "two generations in one file, round " << round;
        EXPECT_NE(subject(items[0]), before) << "the process was killed before it wrote: this showed nothing";
        before = subject(items[0]);
    }
}

/// Values of the registry that are as they were when this ends.
class RegistryValue {
  public:
    RegistryValue(HKEY root, const wchar_t* key, const wchar_t* name, const std::wstring& value)
        : m_name(name) {
        EXPECT_EQ(RegCreateKeyExW(root, key, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &m_key, nullptr),
                  ERROR_SUCCESS);
        RegSetValueExW(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                       static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }
    RegistryValue(const RegistryValue&) = delete;
    ~RegistryValue() {
        RegDeleteValueW(m_key, m_name);
        RegCloseKey(m_key);
    }

  private:
    HKEY m_key = nullptr;
    const wchar_t* m_name;
};

TEST_F(FileTest, TheModuleServesAnotherProcessThroughTheLookUp) {
    Write(OneItem(R"("0037001F": "0")"));
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    const std::wstring folder = std::wstring(self).substr(0, std::wstring(self).find_last_of(L'\\') + 1);
    const RegistryValue app(HKEY_LOCAL_MACHINE,
                            L"Software\\Microsoft\\Windows Messaging Subsystem\\MSMapiApps",
                            L"mailbox_writer.exe", L"Quorvel Mailbox Test");
    const RegistryValue path(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail\\Quorvel Mailbox Test",
                             L"DLLPathEx", folder + L"qvmailbox.dll");
    EXPECT_EQ(Child(L"lookup").Wait(), 0u);
    EXPECT_NE(Read().find("\"0037001F\": \"1\""), std::string::npos);

    // The file by way of the registry, and a failure with its reason.
    SetEnvironmentVariableW(L"QUORVEL_MAILBOX", nullptr);
    const RegistryValue file(HKEY_CURRENT_USER, L"Software\\Quorvel\\Mailbox", L"File", m_path);
    EXPECT_EQ(Child(L"lookup").Wait(), 0u);
    Write("{");
    EXPECT_EQ(Child(L"lookup").Wait(), 3u) << "logon refused, with a reason in QvMailbox_LastError";
}

}  // namespace
