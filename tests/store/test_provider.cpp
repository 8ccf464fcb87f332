// How the platform's module is found and its functions are called: in a process of its own with a registry of
// its own for the look-up, with a module that records its calls for the rest.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "recording_platform.h"
#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;
using store::CMapiProvider;

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

/// Puts values into the registry, "U=A; U/A:DLLPathEx=*one.dll": the default mail client of the user (U) or the machine
/// (M) or what belongs to a client (U/A), the client of a program (P:store_probe.exe=A). A star stands for the folder of
/// the copies, "(binary)" and "(expand)" behind a name for the type. "languages" and "component QUALIFIER" are what the
/// installer knows.
class ProviderTable : public ProviderLookup {
  protected:
    void Set(std::wstring_view values) const {
        while (!values.empty()) {
            const size_t end = values.find(L"; ");
            SetOne(std::wstring(values.substr(0, end)));
            values.remove_prefix(end == std::wstring_view::npos ? values.size() : end + 2);
        }
    }

  private:
    void SetOne(const std::wstring& value) const {
        if (value == L"languages") {
            m_key.Set(L"User\\Software\\Clients\\Mail\\A", L"MSIOfficeLCID", REG_MULTI_SZ,
                      L"Software\\Languages\0UI\0"s);
            return m_key.Set(L"User\\Software\\Languages", L"UI", REG_DWORD, L"\x0409");
        }
        if (value.starts_with(L"component ")) return SetComponent(value.substr(10));
        static const std::pair<wchar_t, const wchar_t*> keys[] = {
            {L'P', L"Machine\\Software\\Microsoft\\Windows Messaging Subsystem\\MSMapiApps"},
            {L'U', L"User\\Software\\Clients\\Mail"},
            {L'M', L"Machine\\Software\\Clients\\Mail"}};
        const size_t is = value.find(L'='), at = std::min(value.find(L':'), is);
        std::wstring key = value.substr(0, at), name = at == is ? L"" : value.substr(at + 1, is - at - 1);
        for (const auto& [letter, path] : keys) {
            if (value[0] == letter) key.replace(0, 1, path);
        }
        std::ranges::replace(key, L'/', L'\\');
        const size_t type = name.find(L'(');
        const DWORD number = type == std::wstring::npos ? REG_SZ
                             : name[type + 1] == L'b'   ? REG_BINARY
                                                        : REG_EXPAND_SZ;
        name = name.substr(0, type);
        const std::wstring data = value.substr(is + 1);
        m_key.Set(key, name.empty() ? nullptr : name.c_str(), number,
                  data.starts_with(L'*') ? Path(data.substr(1)) : data);
    }

    /// Component 3 by its qualifier, as component 2 of product 1, whose file is three.dll. Identifiers are chosen so that
    /// their packed forms are plain to see.
    void SetComponent(const std::wstring& qualifier) const {
        const std::wstring installer = L"Machine\\Software\\Classes\\Installer\\", zeros(31, L'0'),
                           rest(19, L'!');
        const std::wstring files =
            L"Machine\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-"
            L"18\\Components\\";
        m_key.Set(L"User\\Software\\Microsoft\\Installer\\Components\\3" + zeros, qualifier.c_str(),
                  REG_MULTI_SZ, L"$" + rest + L"Feature>%" + rest + L'\0');
        m_key.Set(installer + L"Products\\1" + zeros, L"ProductName", REG_SZ, L"Product");
        m_key.Set(files + L"2" + zeros, (L"1" + zeros).c_str(), REG_SZ, Path(L"three.dll"));
    }
};

TEST_F(ProviderTable, TakesTheFirstThatIsAPlatform) {
    const std::wstring installed =
        L"U=A; U/A:MSIComponentID={00000003-0000-0000-0000-000000000000}; U/A:DLLPathEx=*one.dll; ";
    const struct {
        const char* what;
        std::wstring values;
        const wchar_t* found;
    } cases[] = {
        {"nothing is registered", L"", L""},
        {"the program's own client before the defaults",
         L"P:store_probe.exe=A; U=B; M/A:DLLPathEx=*one.dll; U/B:DLLPathEx=*two.dll", L"one.dll"},
        {"another program's client does not count", L"P:other.exe=A; M/A:DLLPathEx=*one.dll", L""},
        {"the user's default before the machine's",
         L"U=A; M=B; M/A:DLLPathEx=*one.dll; M/B:DLLPathEx=*two.dll", L"one.dll"},
        {"the machine's default when the user's has no platform",
         L"U=A; M=B; U/A:DLLPathEx=C:\\windows\\system32\\version.dll; M/B:DLLPath=*two.dll", L"two.dll"},
        {"the user's key of a client before the machine's",
         L"M=A; U/A:DLLPath=*one.dll; M/A:DLLPathEx=*two.dll", L"one.dll"},
        {"DLLPathEx before DLLPath", L"U=A; U/A:DLLPath=*one.dll; U/A:DLLPathEx=*two.dll", L"two.dll"},
        {"DLLPath when DLLPathEx does not load", L"U=A; U/A:DLLPathEx=*missing.dll; U/A:DLLPath=*two.dll",
         L"two.dll"},
        {"a component that the installer does not know",
         L"U=A; U/A:MSIComponentID={6A5B1C9E-0000-4000-8000-00000000ABCD}; languages; "
         L"U/A:MSIApplicationLCID=1033; "
         L"U/A:DLLPathEx=*three.dll",
         L"three.dll"},
        {"the installer's component, qualified as the language's value says",
         installed + L"languages; component 1033", L"three.dll"},
        {"the installer's component, qualified by the value itself",
         installed + L"U/A:MSIApplicationLCID=main; component main", L"three.dll"},
        {"the installer's component without a language that fits",
         installed + L"U/A:MSIApplicationLCID=other; component main", L"one.dll"},
        {"the sample platform", L"P:store_probe.exe=A; M/A:DLLPathEx=" + ProgramFolder() + L"qvmailbox.dll",
         L"qvmailbox.dll"},
        {"an expandable path", L"U=A; U/A:DLLPathEx(expand)=%QUORVEL_TEST_FOLDER%\\one.dll", L"one.dll"},
        {"a path that is not to be expanded", L"U=A; U/A:DLLPathEx=%QUORVEL_TEST_FOLDER%\\one.dll", L""},
        {"a bare name in the current directory", L"U=A; U/A:DLLPathEx=one.dll", L""},
        {"a path relative to it", L"U=A; U/A:DLLPathEx=.\\one.dll", L""},
        {"a bare name beside the program", L"U=A; U/A:DLLPathEx=recording_platform.dll",
         L"recording_platform.dll"},
        {"a client without a key", L"U=A; M=", L""},
        {"a value that is no text", L"U=A; U/A:DLLPathEx(binary)=*one.dll", L""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Set(c.values);
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
    const HMODULE before = CMapiProvider::Module();
    CMapiProvider::Bind(nullptr);
    const HMODULE system = LoadLibraryW(L"C:\\windows\\system32\\mapi32.dll");
    const bool whole = system && GetProcAddress(system, "FreeProws");
    EXPECT_EQ(CMapiProvider::Module(), whole ? system : nullptr);
    CMapiProvider::Bind(before);
    if (system) FreeLibrary(system);
}

TEST(Provider, GenerationCountsChangesAndFunctionsFollow) {
    const HMODULE own = CMapiProvider::Module();
    void* buffer = nullptr;
    {
        RecordingPlatform platform;
        const unsigned generation = CMapiProvider::Generation();
        CMapiProvider::Bind(platform.Module());
        EXPECT_EQ(CMapiProvider::Generation(), generation) << "the same module is no change";
        SRowSet rows = {};
        EXPECT_EQ(store::mapi::AllocateBuffer(12, &buffer), MAPI_E_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(store::mapi::FreeBuffer(&rows), 7u);
        store::mapi::FreeProws(&rows);
        store::mapi::Uninitialize();
        EXPECT_EQ(platform.TakeCalls(), "MAPIAllocateBuffer(12) MAPIFreeBuffer FreeProws MAPIUninitialize ");

        // A module without the functions: nothing is called, not even at the old addresses.
        CMapiProvider::Bind(GetModuleHandleW(L"kernel32.dll"));
        EXPECT_EQ(CMapiProvider::Generation(), generation + 1);
        IMAPISession* session = nullptr;
        EXPECT_EQ(store::mapi::Initialize(nullptr), E_FAIL);
        EXPECT_EQ(store::mapi::LogonEx(0, nullptr, nullptr, 0, &session), E_FAIL);
        EXPECT_EQ(store::mapi::AllocateBuffer(12, &buffer), E_FAIL);
        EXPECT_EQ(store::mapi::FreeBuffer(&rows), 0u);
        store::mapi::FreeProws(&rows);
        store::mapi::Uninitialize();
        EXPECT_EQ(platform.TakeCalls(), "");
        CMapiProvider::Bind(platform.Module());
        EXPECT_EQ(store::mapi::Initialize(nullptr), S_OK);
        EXPECT_EQ(platform.TakeCalls(), "MAPIInitialize ");
    }
    EXPECT_EQ(CMapiProvider::Module(), own);
}

}  // namespace
