// How the platform's module is found and its functions are called: in a process of its own with a registry of
// its own for the look-up, with a module that records its calls for the rest.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "recording_platform.h"
#include "tests/support/CapturedLog.h"

namespace {

using namespace std::string_literals;

std::wstring Wide(std::string_view text) {
    return {text.begin(), text.end()};
}

/// A key of the registry, removed with everything below it.
class TemporaryKey {
  public:
    TemporaryKey() : m_path(L"Software\\Quorvel test " + std::to_wstring(GetCurrentProcessId())) {}
    ~TemporaryKey() { RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str()); }
    TemporaryKey(const TemporaryKey&) = delete;
    const std::wstring& Path() const { return m_path; }

    /// A text is stored with its last zero; the zeros inside one of REG_MULTI_SZ are the caller's.
    void Set(const std::wstring& key, const wchar_t* name, DWORD type, const std::wstring& data) const {
        HKEY handle = nullptr;
        ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, (m_path + L"\\" + key).c_str(), &handle), ERROR_SUCCESS);
        EXPECT_EQ(RegSetValueExW(handle, name, 0, type, reinterpret_cast<const BYTE*>(data.c_str()),
                                 static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
        RegCloseKey(handle);
    }
    std::wstring Text(const wchar_t* name) const {
        wchar_t text[MAX_PATH] = L"";
        DWORD size = sizeof text;
        EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, m_path.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size),
                  0);
        return text;
    }
    DWORD Number(const wchar_t* name) const {
        DWORD number = 0, size = sizeof number;
        EXPECT_EQ(
            RegGetValueW(HKEY_CURRENT_USER, m_path.c_str(), name, RRF_RT_REG_DWORD, nullptr, &number, &size),
            0);
        return number;
    }
    void Clear() const { RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str()); }

  private:
    std::wstring m_path;
};

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring text = path;
    return text.substr(0, text.find_last_of(L'\\') + 1);
}

class ProviderLookup : public testing::Test {
  protected:
    ProviderLookup() : m_folder(Wide(m_temporary.Path())) {
        for (const wchar_t* name : {L"one.dll", L"two.dll", L"three.dll"}) {
            EXPECT_TRUE(
                CopyFileW((ProgramFolder() + L"recording_platform.dll").c_str(), Path(name).c_str(), FALSE));
        }
        SetEnvironmentVariableW(L"QUORVEL_TEST_FOLDER", m_folder.c_str());
    }
    std::wstring Path(const std::wstring& name) const { return m_folder + L"\\" + name; }

    /// The file name of what the probe found, started in the folder of the copies; empty when it found
    /// nothing.
    std::wstring Find() {
        std::wstring command = L"store_probe \"" + m_key.Path() + L"\"";
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process = {};
        if (!CreateProcessW((ProgramFolder() + L"store_probe.exe").c_str(), command.data(), nullptr, nullptr,
                            FALSE, 0, nullptr, m_folder.c_str(), &startup, &process)) {
            ADD_FAILURE() << "store_probe.exe does not start";
            return {};
        }
        WaitForSingleObject(process.hProcess, INFINITE);
        DWORD status = 1;
        GetExitCodeProcess(process.hProcess, &status);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        EXPECT_EQ(status, 0u);
        const std::wstring found = m_key.Text(L"Found");
        EXPECT_EQ(m_key.Number(L"Result"), found.empty() ? static_cast<DWORD>(E_FAIL) : 0u);
        m_key.Clear();
        return found.substr(found.find_last_of(L'\\') + 1);
    }

    TemporaryFolder m_temporary;
    std::wstring m_folder;
    TemporaryKey m_key;
};

TEST_F(ProviderLookup, TakesTheFirstThatIsAPlatform) {
    const std::wstring programs = L"Machine\\Software\\Microsoft\\Windows Messaging Subsystem\\MSMapiApps";
    const std::wstring user = L"User\\Software\\Clients\\Mail", machine = L"Machine\\Software\\Clients\\Mail";
    const std::wstring noPlatform = L"C:\\windows\\system32\\version.dll";
    // What the installer knows: component 3 by its qualifier, as component 2 of product 1, whose file is
    // three.dll. Identifiers are chosen so that their packed forms are plain to see.
    const std::wstring installer = L"Machine\\Software\\Classes\\Installer\\";
    const std::wstring product = L"1" + std::wstring(31, L'0'), file = L"2" + std::wstring(31, L'0');
    const std::wstring component = L"3" + std::wstring(31, L'0');
    const std::wstring rest(19, L'!'), descriptor = L"$" + rest + L"Feature>%" + rest + L'\0';
    const std::wstring filesKey =
        L"Machine\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-18\\";
    constexpr wchar_t componentId[] = L"{00000003-0000-0000-0000-000000000000}";
    struct Value {
        std::wstring key;
        const wchar_t* name;
        std::wstring data;
        DWORD type = REG_SZ;
    };
    const struct {
        const char* what;
        std::vector<Value> values;
        const wchar_t* found;
    } cases[] = {
        {"nothing is registered", {}, L""},
        {"the program's own client before the defaults",
         {{programs, L"store_probe.exe", L"A"},
          {user, nullptr, L"B"},
          {machine + L"\\A", L"DLLPathEx", Path(L"one.dll")},
          {user + L"\\B", L"DLLPathEx", Path(L"two.dll")}},
         L"one.dll"},
        {"another program's client does not count",
         {{programs, L"other.exe", L"A"}, {machine + L"\\A", L"DLLPathEx", Path(L"one.dll")}},
         L""},
        {"the user's default before the machine's",
         {{user, nullptr, L"A"},
          {machine, nullptr, L"B"},
          {machine + L"\\A", L"DLLPathEx", Path(L"one.dll")},
          {machine + L"\\B", L"DLLPathEx", Path(L"two.dll")}},
         L"one.dll"},
        {"the machine's default when the user's has no platform",
         {{user, nullptr, L"A"},
          {machine, nullptr, L"B"},
          {user + L"\\A", L"DLLPathEx", noPlatform},
          {machine + L"\\B", L"DLLPath", Path(L"two.dll")}},
         L"two.dll"},
        {"the user's key of a client before the machine's",
         {{machine, nullptr, L"A"},
          {user + L"\\A", L"DLLPath", Path(L"one.dll")},
          {machine + L"\\A", L"DLLPathEx", Path(L"two.dll")}},
         L"one.dll"},
        {"DLLPathEx before DLLPath",
         {{user, nullptr, L"A"},
          {user + L"\\A", L"DLLPath", Path(L"one.dll")},
          {user + L"\\A", L"DLLPathEx", Path(L"two.dll")}},
         L"two.dll"},
        {"DLLPath when DLLPathEx does not load",
         {{user, nullptr, L"A"},
          {user + L"\\A", L"DLLPathEx", Path(L"missing.dll")},
          {user + L"\\A", L"DLLPath", Path(L"two.dll")}},
         L"two.dll"},
        {"a component that the installer does not know",
         {{user, nullptr, L"A"},
          {user + L"\\A", L"MSIComponentID", L"{6A5B1C9E-0000-4000-8000-00000000ABCD}"},
          {user + L"\\A", L"MSIOfficeLCID", L"Software\\Languages\0UI\0"s, REG_MULTI_SZ},
          {user + L"\\A", L"MSIApplicationLCID", L"1033"},
          {user + L"\\A", L"DLLPathEx", Path(L"three.dll")}},
         L"three.dll"},
        {"the installer's component, qualified as the language's value says",
         {{user, nullptr, L"A"},
          {user + L"\\A", L"MSIComponentID", componentId},
          {user + L"\\A", L"MSIOfficeLCID", L"Software\\Languages\0UI\0"s, REG_MULTI_SZ},
          {L"User\\Software\\Languages", L"UI", L"\x0409", REG_DWORD},
          {user + L"\\A", L"DLLPathEx", Path(L"one.dll")},
          {L"User\\Software\\Microsoft\\Installer\\Components\\" + component, L"1033", descriptor,
           REG_MULTI_SZ},
          {installer + L"Products\\" + product, L"ProductName", L"Product"},
          {filesKey + L"Components\\" + file, product.c_str(), Path(L"three.dll")}},
         L"three.dll"},
        {"the installer's component, qualified by the value itself",
         {{user, nullptr, L"A"},
          {user + L"\\A", L"MSIComponentID", componentId},
          {user + L"\\A", L"MSIApplicationLCID", L"main"},
          {user + L"\\A", L"DLLPathEx", Path(L"one.dll")},
          {L"User\\Software\\Microsoft\\Installer\\Components\\" + component, L"main", descriptor,
           REG_MULTI_SZ},
          {installer + L"Products\\" + product, L"ProductName", L"Product"},
          {filesKey + L"Components\\" + file, product.c_str(), Path(L"three.dll")}},
         L"three.dll"},
        {"the installer's component without a language that fits",
         {{user, nullptr, L"A"},
          {user + L"\\A", L"MSIComponentID", componentId},
          {user + L"\\A", L"MSIApplicationLCID", L"other"},
          {user + L"\\A", L"DLLPathEx", Path(L"one.dll")},
          {L"User\\Software\\Microsoft\\Installer\\Components\\" + component, L"main", descriptor,
           REG_MULTI_SZ},
          {installer + L"Products\\" + product, L"ProductName", L"Product"},
          {filesKey + L"Components\\" + file, product.c_str(), Path(L"three.dll")}},
         L"one.dll"},
        {"the sample platform",
         {{programs, L"store_probe.exe", L"A"},
          {machine + L"\\A", L"DLLPathEx", ProgramFolder() + L"qvmailbox.dll"}},
         L"qvmailbox.dll"},
        {"an expandable path",
         {{user, nullptr, L"A"},
          {user + L"\\A", L"DLLPathEx", L"%QUORVEL_TEST_FOLDER%\\one.dll", REG_EXPAND_SZ}},
         L"one.dll"},
        {"a path that is not to be expanded",
         {{user, nullptr, L"A"}, {user + L"\\A", L"DLLPathEx", L"%QUORVEL_TEST_FOLDER%\\one.dll"}},
         L""},
        {"a bare name in the current directory",
         {{user, nullptr, L"A"}, {user + L"\\A", L"DLLPathEx", L"one.dll"}},
         L""},
        {"a path relative to it", {{user, nullptr, L"A"}, {user + L"\\A", L"DLLPathEx", L".\\one.dll"}}, L""},
        {"a bare name beside the program",
         {{user, nullptr, L"A"}, {user + L"\\A", L"DLLPathEx", L"recording_platform.dll"}},
         L"recording_platform.dll"},
        {"a client without a key", {{user, nullptr, L"A"}, {machine, nullptr, L""}}, L""},
        {"a value that is no text",
         {{user, nullptr, L"A"}, {user + L"\\A", L"DLLPathEx", Path(L"one.dll"), REG_BINARY}},
         L""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        for (const Value& value : c.values) m_key.Set(value.key, value.name, value.type, value.data);
        EXPECT_EQ(Find(), c.found);
    }
}

TEST_F(ProviderLookup, SaysWhyItFoundNothingAndCanLookAgain) {
    const std::wstring mail = L"User\\Software\\Clients\\Mail";
    m_key.Set(mail, nullptr, REG_SZ, L"A");
    m_key.Set(mail + L"\\A", L"DLLPathEx", REG_SZ, Path(L"missing.dll"));
    m_key.Set(mail + L"\\A", L"DLLPath", REG_SZ, L".\\one.dll");
    m_key.Set(L"", L"Later", REG_SZ, Path(L"two.dll"));
    EXPECT_EQ(Find(), L"two.dll");
    const LogLines lines = ParseLog(ReadWholeFile(m_temporary.File("probe.log")));
    ASSERT_EQ(lines.size(), 3u) << testing::PrintToString(lines);
    EXPECT_EQ(lines[0], (LogLine{sevInfo, "MapiProvider",
                                 m_temporary.File("missing.dll") + ": does not load, error 126\n"}));
    EXPECT_EQ(lines[1], (LogLine{sevInfo, "MapiProvider", ".\\one.dll: depends on the current directory\n"}));
    EXPECT_TRUE(lines[2].text.ends_with("mapi32.dll: has no FreeProws\n")) << lines[2].text;
}

// The system's own library is the last resort, taken only when it has all six functions.
TEST(Provider, SystemLibraryIsTakenOnlyWhole) {
    const HMODULE before = MapiProvider::Module();
    MapiProvider::Bind(nullptr);
    const HMODULE system = LoadLibraryW(L"C:\\windows\\system32\\mapi32.dll");
    const bool whole = system && GetProcAddress(system, "FreeProws");
    EXPECT_EQ(MapiProvider::Module(), whole ? system : nullptr);
    MapiProvider::Bind(before);
    if (system) FreeLibrary(system);
}

TEST(Provider, GenerationCountsChangesAndFunctionsFollow) {
    const HMODULE own = MapiProvider::Module();
    void* buffer = nullptr;
    {
        RecordingPlatform platform;
        const unsigned generation = MapiProvider::Generation();
        MapiProvider::Bind(platform.Module());
        EXPECT_EQ(MapiProvider::Generation(), generation) << "the same module is no change";
        SRowSet rows = {};
        EXPECT_EQ(mapi::AllocateBuffer(12, &buffer), MAPI_E_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(mapi::FreeBuffer(&rows), 7u);
        mapi::FreeProws(&rows);
        mapi::Uninitialize();
        EXPECT_EQ(platform.TakeCalls(), "MAPIAllocateBuffer(12) MAPIFreeBuffer FreeProws MAPIUninitialize ");

        // A module without the functions: nothing is called, not even at the old addresses.
        MapiProvider::Bind(GetModuleHandleW(L"kernel32.dll"));
        EXPECT_EQ(MapiProvider::Generation(), generation + 1);
        IMAPISession* session = nullptr;
        EXPECT_EQ(mapi::Initialize(nullptr), E_FAIL);
        EXPECT_EQ(mapi::LogonEx(0, nullptr, nullptr, 0, &session), E_FAIL);
        EXPECT_EQ(mapi::AllocateBuffer(12, &buffer), E_FAIL);
        EXPECT_EQ(mapi::FreeBuffer(&rows), 0u);
        mapi::FreeProws(&rows);
        mapi::Uninitialize();
        EXPECT_EQ(platform.TakeCalls(), "");
        MapiProvider::Bind(platform.Module());
        EXPECT_EQ(mapi::Initialize(nullptr), S_OK);
        EXPECT_EQ(platform.TakeCalls(), "MAPIInitialize ");
    }
    EXPECT_EQ(MapiProvider::Module(), own);
}

}  // namespace
