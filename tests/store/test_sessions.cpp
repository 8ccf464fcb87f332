// Logging on and off, opening by identifier text, handing out messages, kinds of stores.

#include <mapitags.h>

#include "quorvel.h"
#include "recording_platform.h"
#include "store/entry_id.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

using enum logging::ESeverity;
using store::ComPtr;
using store::MapiBuffer;
using store::TEntryId;

namespace {

class Sessions : public MailboxTest {};

TEST_F(Sessions, IdentifierTextBothWays) {
    Session();
    const struct {
        const char* text;
        const char* back;
    } cases[] = {
        {"00AB10", "00AB10"}, {"00ab10", "00AB10"}, {"00AB1", "00AB"}, {"F", ""}, {"", ""}, {nullptr, ""},
    };
    for (const auto& [text, back] : cases) {
        const TEntryId id = store::TextToEntryId(text);
        ASSERT_TRUE(id.bytes) << "a null identifier would name a root";
        EXPECT_EQ(id.count, std::string_view(back).size() / 2);
        EXPECT_STREQ(store::EntryIdToText(id.bytes.get(), id.count).get(), back);
    }
}

// What the host asks for, as the platform hears it.
TEST(Logon, FlagsAndOrderOfCalls) {
    RecordingPlatform platform;
    const struct {
        int newSession, showLogonUi;
        const char* calls;
    } cases[] = {
        {0, 0, "MAPIInitialize MAPILogonEx(0x20) "},
        {1, 0, "MAPIInitialize MAPILogonEx(0x22) "},
        {0, -1, "MAPIInitialize MAPILogonEx(0x21) "},
        {7, 7, "MAPIInitialize MAPILogonEx(0x23) "},
    };
    for (const auto& [newSession, showLogonUi, calls] : cases) {
        IMAPISession* session = nullptr;
        EXPECT_EQ(Quorvel_Logon(&session, newSession, showLogonUi), MAPI_E_LOGON_FAILED);
        EXPECT_EQ(platform.TakeCalls(), calls);
    }
}

TEST_F(Sessions, LogoffEndsAllThatALogonBegan) {
    IMAPISession* session = nullptr;
    ASSERT_EQ(Quorvel_Logon(&session, 1, 0), S_OK);
    mailbox::calls::Record();
    mailbox::calls::FailNth("IMAPISession::Logoff", 1, MAPI_E_BUSY);
    EXPECT_EQ(Quorvel_Logoff(session), MAPI_E_BUSY);
    EXPECT_EQ(mailbox::calls::Recorded(),
              (std::vector<std::string>{"IMAPISession::Logoff", "MAPIUninitialize"}));
}

// Identifiers that name nothing: the platform's result, one line with the text as it was given, the output
// untouched.
TEST_F(Sessions, OpensOnlyWhatIsThere) {
    const std::string storeId = Store().Id();
    ComPtr<IMsgStore> msgStore = Open(Store());
    ComPtr<IMAPIFolder> inbox = Open(Inbox());
    IMessage* const untouched = reinterpret_cast<IMessage*>(0x5EED);
    for (const char* id : {"00000000deadBEEF", "xyz", "zz", "0123456789abcdef0123456789abcdef01"}) {
        IMessage* out = untouched;
        const std::string tail = std::string(", EntryID=\"") + id + "\"\n";
        CapturedLog log;
        EXPECT_NE(Quorvel_OpenItem(Session(), id, storeId.c_str(), &out), S_OK) << id;
        EXPECT_NE(Quorvel_OpenStoreItem(msgStore.Get(), id, &out), S_OK) << id;
        EXPECT_NE(Quorvel_OpenFolderItem(inbox.Get(), id, &out), S_OK) << id;
        EXPECT_NE(Quorvel_OpenItem(Session(), Inbox().Id().c_str(), id, &out), S_OK) << id;
        EXPECT_EQ(out, untouched);
        const LogLines lines = log.Lines(sevError);
        ASSERT_EQ(lines.size(), 4u) << "one line a failure";
        for (int i = 0; i < 3; i++)
            EXPECT_TRUE(lines[static_cast<size_t>(i)].text.ends_with(tail)) << lines[0];
        EXPECT_TRUE(lines[3].text.ends_with(std::string(", Store=\"") + id + "\"\n")) << lines[3];
    }
    // A folder is no message, and the other way round.
    IMessage* message = untouched;
    EXPECT_NE(Quorvel_OpenStoreItem(msgStore.Get(), Inbox().Id().c_str(), &message), S_OK);
    EXPECT_EQ(message, untouched);
    IMAPIFolder* folder = nullptr;
    EXPECT_NE(Quorvel_OpenStoreFolder(msgStore.Get(), Inbox().Item().Id().c_str(), &folder), S_OK);
    EXPECT_EQ(folder, nullptr);
}

TEST_F(Sessions, OpensByTextInAnyLetterCase) {
    TestItem item = Inbox().Item().Subject(L"x");
    std::string id = item.Id();
    for (char& digit : id) digit = static_cast<char>(tolower(digit));
    IMessage* message = nullptr;
    ASSERT_EQ(Quorvel_OpenItem(Session(), id.c_str(), Store().Id().c_str(), &message), S_OK);
    const MapiBuffer<char> back(Quorvel_EntryID2Str(message));
    EXPECT_EQ(back.get(), item.Id());
    Quorvel_CloseItem(message);
    Quorvel_CloseItem(nullptr);
    Quorvel_CloseStore(nullptr);
}

TEST_F(Sessions, HandsOutTheHostsObject) {
    ComPtr<IMessage> message = Open(Inbox().Item());
    ComPtr<IMAPIFolder> folder = Open(Inbox());
    const LogLine assertion = {sevError, "Quorvel_GetIMessage", "assert failed in line 0\n"};
    const struct {
        const char* what;
        VARTYPE type;
        IUnknown* object;
        int query;
        HRESULT result;
        IUnknown* out;
        LogLines lines;
    } cases[] = {
        {"the very pointer", VT_UNKNOWN, folder.Get(), 0, S_OK, folder.Get(), {}},
        {"a message", VT_UNKNOWN, message.Get(), 1, S_OK, message.Get(), {}},
        {"no message",
         VT_UNKNOWN,
         folder.Get(),
         1,
         E_NOINTERFACE,
         nullptr,
         {{sevError, "Quorvel_GetIMessage", "lpUnknown->QueryInterface return 0x80004002\n"}}},
        {"null passed through", VT_UNKNOWN, nullptr, 0, S_OK, nullptr, {assertion}},
        {"null queried", VT_UNKNOWN, nullptr, 1, E_INVALIDARG, nullptr, {assertion}},
        {"a number that looks like a pointer", VT_I8, message.Get(), 1, E_INVALIDARG, nullptr, {assertion}},
        {"another kind of object", VT_DISPATCH, message.Get(), 1, S_OK, message.Get(), {assertion}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        VARIANT value = {};
        value.vt = c.type;
        value.punkVal = c.object;
        IMessage* out = reinterpret_cast<IMessage*>(0x5EED);
        CapturedLog log;
        EXPECT_EQ(Quorvel_GetIMessage(value, &out, c.query), c.result);
        EXPECT_EQ(out, c.out);
        EXPECT_EQ(log.Lines(), c.lines);
        if (c.query) Quorvel_CloseItem(out);
    }
}

TEST_F(Sessions, KindOfStoreByItsService) {
    const struct {
        const char* dll;
        const char* entry;
        int type;
    } cases[] = {
        {"mspst.dll", "PSTServiceEntry", 0}, {"MSPST.DLL", "pstserviceentry", 0},
        {"mspst.dll", "EMSCfg", -1},         {"emsui.dll", "EMSCfg", 1},
        {"EmsMdb.dll", "emscfg", 1},         {"emsmdb.dll", "PSTServiceEntry", -1},
        {"other.dll", "EMSCfg", -1},         {nullptr, "PSTServiceEntry", -1},
        {"mspst.dll", nullptr, -1},          {"mspst.dll ", "PSTServiceEntry", -1},
    };
    for (const auto& [dll, entry, type] : cases) {
        TestStore store = AddStore(L"Store");
        store.Service(dll, entry, "MSUPST", "Folders");
        const std::string id = store.Id();
        int found = 77, local = 77;
        CapturedLog log(3);
        EXPECT_EQ(Quorvel_GetStoreType(Session(), id.c_str(), &found), S_OK);
        EXPECT_EQ(found, type) << dll << " " << entry;
        EXPECT_EQ(log.Lines(),
                  LogLines({{sevInfo, "Quorvel_GetStoreType", "->\n"},
                            {sevInfo, "Quorvel_GetStoreType", "Service:\n"},
                            {sevRaw, "", "\tMyType      = " + std::to_string(type) + "\n"},
                            {sevRaw, "", std::string("\tDllName     = ") + base::OrEmpty(dll) + "\n"},
                            {sevRaw, "", std::string("\tEntryName   = ") + base::OrEmpty(entry) + "\n"},
                            {sevRaw, "", "\tUID         = Folders\n"}}));
        EXPECT_EQ(Quorvel_IsStoreLocal(Session(), id.c_str(), &local), S_OK);
        EXPECT_EQ(local, type == 0);
    }
}

TEST_F(Sessions, KindOfStoreThatCannotBeTold) {
    const std::string id = Store().Id();
    int type = 77;
    {
        CapturedLog log;
        EXPECT_EQ(Quorvel_GetStoreType(Session(), "0011", &type), MAPI_E_NOT_FOUND);
        EXPECT_EQ(log.Lines(), LogLines()) << "a store that is not there is no failure to report";
    }
    {
        CapturedLog log;
        for (const char* bad : {static_cast<const char*>(nullptr), ""}) {
            EXPECT_EQ(Quorvel_GetStoreType(Session(), bad, &type), -1);
        }
        EXPECT_EQ(Quorvel_GetStoreType(nullptr, id.c_str(), &type), -1);
        EXPECT_EQ(Quorvel_GetStoreType(Session(), id.c_str(), nullptr), -1);
        EXPECT_EQ(Quorvel_IsStoreLocal(Session(), id.c_str(), nullptr), -1);
        EXPECT_EQ(log.Count(sevError, "Quorvel_GetStoreType", "Invalid arguments"), 5u);
    }
    {
        CapturedLog log;
        mailbox::calls::Fail(
            {.method = "IMAPITable::QueryRows", .result = S_OK, .perform = true, .limit = 0});
        EXPECT_EQ(Quorvel_GetStoreType(Session(), id.c_str(), &type), MAPI_E_NOT_FOUND);
        EXPECT_EQ(log.Lines(), LogLines({{sevError, "Quorvel_GetStoreType", "QueryRows - 0x8004010f\n"}}));
    }
    // A store without a service: what the caller had there is judged.
    Store().Record().serviceUid.clear();
    for (const int before : {0, 1, -1}) {
        CapturedLog log;
        int local = before;
        EXPECT_EQ(Quorvel_IsStoreLocal(Session(), id.c_str(), &local), S_OK);
        EXPECT_EQ(local, before == 0);
        EXPECT_EQ(log.Lines(),
                  LogLines({{sevError, "Quorvel_GetStoreType", "cant get PR_SERVICE_UID, err = 0xa\n"}}));
    }
    EXPECT_EQ(type, 77);
}

TEST_F(Sessions, TextsOfAService) {
    const std::string uid = HexText(Store().Record().serviceUid);
    Store().Service("mspst.dll", nullptr, "MSUPST", "Folders");
    const std::string changed = HexText(Store().Record().serviceUid);
    char* dll = nullptr;
    char* entry = reinterpret_cast<char*>(0x5EED);
    EXPECT_EQ(Quorvel_GetServiceProps(Session(), changed.c_str(), &dll, &entry, nullptr, nullptr), S_OK);
    EXPECT_STREQ(dll, "mspst.dll");
    EXPECT_EQ(entry, nullptr) << "a name that the service has not";
    const MapiBuffer<char> owner(dll);

    char* const untouched = reinterpret_cast<char*>(0x5EED);
    entry = untouched;
    CapturedLog log;
    EXPECT_EQ(Quorvel_GetServiceProps(Session(), "0011", &entry, nullptr, nullptr, nullptr),
              MAPI_E_NOT_FOUND);
    EXPECT_EQ(log.Lines(), LogLines());
    EXPECT_EQ(Quorvel_GetServiceProps(Session(), nullptr, &entry, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(Quorvel_GetServiceProps(nullptr, changed.c_str(), &entry, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(Quorvel_GetServiceProps(Session(), changed.c_str(), nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(log.Count(sevError, "Quorvel_GetServiceProps", "Invalid params"), 3u);
    EXPECT_EQ(entry, untouched);
}

}  // namespace
