#include "host/platform.h"

#include <filesystem>
#include <utility>

#include "host/progress.h"
#include "host/text.h"
#include "quorvel_host.h"

namespace host {

namespace {

TQuorvelFree* g_freeBuffer = nullptr;

constexpr wchar_t kClientName[] = L"Quorvel Mailbox";
constexpr wchar_t kProgramKey[] = L"Software\\Quorvel";
constexpr wchar_t kBindingKey[] = L"Software\\Quorvel\\Binding";
constexpr wchar_t kAppsKey[] = L"Software\\Microsoft\\Windows Messaging Subsystem\\MSMapiApps";
constexpr wchar_t kClientKey[] = L"Software\\Clients\\Mail\\Quorvel Mailbox";
constexpr wchar_t kMailboxModule[] = L"qvmailbox.dll";

struct TKeyCloser {
    using pointer = HKEY;
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using Key = std::unique_ptr<HKEY, TKeyCloser>;

std::filesystem::path ProgramPath() {
    wchar_t path[MAX_PATH * 4];
    const DWORD length = GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path)));
    return std::filesystem::path(std::wstring(path, length));
}

Key CreateKey(HKEY parent, const wchar_t* name, DWORD options = REG_OPTION_VOLATILE) {
    HKEY key = nullptr;
    if (RegCreateKeyExW(parent, name, 0, nullptr, options, KEY_ALL_ACCESS, nullptr, &key, nullptr) != 0) {
        throw TFailure("The registry refuses the key that binds this program to the mailbox file.");
    }
    return Key(key);
}

void SetText(HKEY key, const std::wstring& name, const std::wstring& text) {
    RegSetValueExW(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

// What this program made and nobody else uses goes again; another process may be about to use it, which makes
// it anew.
void DeleteIfEmpty(const wchar_t* name) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, name, 0, KEY_QUERY_VALUE, &opened) != 0) return;
    Key key(opened);
    DWORD keys = 1, values = 1;
    RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr,
                     nullptr, nullptr);
    key.reset();
    if (keys == 0 && values == 0) RegDeleteKeyW(HKEY_CURRENT_USER, name);
}

// Binds this process, and no other, to Quorvel Mailbox: while it lives, the process sees a machine registry
// of its own that names the module as this program's mail client. Nobody's default mail client is touched and
// no administrator is needed.
class CMailboxBinding {
  public:
    explicit CMailboxBinding(const std::string& mailboxFile) {
        std::error_code error;
        const std::filesystem::path file = std::filesystem::absolute(Widen(mailboxFile), error);
        // Something that exists and is no mailbox file, such as a folder of mails, is left to the module to explain.
        if (!std::filesystem::exists(file, error)) {
            throw TFailure("The mailbox file \"" + mailboxFile + "\" does not exist.");
        }
        const std::filesystem::path program = ProgramPath();
        SetEnvironmentVariableW(L"QUORVEL_MAILBOX", file.c_str());
        // A name of this process's own: programs that run at the same time do not share it.
        m_name = std::wstring(kBindingKey) + L"\\" + std::to_wstring(GetCurrentProcessId());
        // Only the process's own key is volatile: below a volatile one nobody could keep a setting.
        CreateKey(HKEY_CURRENT_USER, kBindingKey, REG_OPTION_NON_VOLATILE);
        m_root = CreateKey(HKEY_CURRENT_USER, m_name.c_str());
        SetText(CreateKey(m_root.get(), kAppsKey).get(), program.filename().wstring(), kClientName);
        SetText(CreateKey(m_root.get(), kClientKey).get(), L"DLLPathEx",
                (program.parent_path() / kMailboxModule).wstring());
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_root.get());
    }
    ~CMailboxBinding() {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        m_root.reset();
        RegDeleteTreeW(HKEY_CURRENT_USER, m_name.c_str());
        DeleteIfEmpty(kBindingKey);
        DeleteIfEmpty(kProgramKey);
    }
    CMailboxBinding(const CMailboxBinding&) = delete;
    CMailboxBinding& operator=(const CMailboxBinding&) = delete;

  private:
    std::wstring m_name;
    Key m_root;
};

// Why the mailbox module refused the file, in its own words.
std::string MailboxError() {
    const HMODULE module = GetModuleHandleW(kMailboxModule);
    if (!module) return "The module qvmailbox.dll is not beside the program or cannot be loaded.";
    using LastErrorFunction = const wchar_t*(STDAPICALLTYPE*)();
    const auto lastError = reinterpret_cast<LastErrorFunction>(
        reinterpret_cast<void*>(GetProcAddress(module, "QvMailbox_LastError")));
    return lastError ? Narrow(lastError()) : std::string();
}

}  // namespace

ULONG FreeMapiBuffer(void* buffer) {
    return buffer && g_freeBuffer ? g_freeBuffer(buffer) : 0;
}

void TRowsDeleter::operator()(SRowSet* rows) const {
    QuorvelHost_FreeRows(FreeMapiBuffer, rows);
}

CSession::CSession(const std::string& mailboxFile, bool showLogon) : m_bMailbox(!mailboxFile.empty()) {
    std::unique_ptr<CMailboxBinding> binding;
    if (m_bMailbox) binding = std::make_unique<CMailboxBinding>(mailboxFile);
    HRESULT hr = S_OK;
    {
        const CStopAtOnce stop([&] { binding.reset(); });
        hr = Quorvel_Logon(&m_pSession, 0, showLogon);
    }
    if (hr != S_OK || !m_pSession) {
        if (m_bMailbox) {
            const std::string why = MailboxError();
            throw TFailure(why.empty() ? "The mailbox file \"" + mailboxFile +
                                             "\" cannot be opened: " + ResultText(hr) + "."
                                       : why);
        }
        throw TFailure("Logging on to the mail client's profile failed: " + ResultText(hr) +
                       ". Try --profile-ui, or --mailbox FILE for a mailbox file.");
    }
    g_freeBuffer = QuorvelHost_FindFree(m_pSession);
    if (g_freeBuffer) return;
    Quorvel_Logoff(m_pSession);
    throw TFailure("The messaging platform's MAPIFreeBuffer is missing.");
}

CSession::~CSession() {
    Close();
}

std::string CSession::Close() {
    if (!m_pSession) return {};
    const HRESULT hr = Quorvel_Logoff(std::exchange(m_pSession, nullptr));
    if (hr == S_OK) return {};
    const std::string why = m_bMailbox ? MailboxError() : std::string();
    return why.empty() ? "logging off failed: " + ResultText(hr) : why;
}

void ForEachRow(IMAPITable* table, const std::vector<ULONG>& columns, const std::string& what,
                const std::function<bool(const SRow&)>& visit) {
    std::vector<ULONG> tags{static_cast<ULONG>(columns.size())};
    tags.insert(tags.end(), columns.begin(), columns.end());
    HRESULT hr = table->SetColumns(reinterpret_cast<SPropTagArray*>(tags.data()), 0);
    while (hr == S_OK) {
        SRowSet* raw = nullptr;
        hr = table->QueryRows(500, 0, &raw);
        const Rows rows(raw);
        if (hr != S_OK) break;
        if (!rows || rows->cRows == 0) return;
        for (ULONG i = 0; i < rows->cRows; ++i) {
            if (!visit(rows->aRow[i])) return;
        }
    }
    throw TFailure("Reading " + what + " failed: " + ResultText(hr) + ".");
}

const SPropValue* FindValue(const SPropValue* values, ULONG count, ULONG tag) {
    for (ULONG i = 0; i < count; ++i) {
        if (values[i].ulPropTag == tag) return &values[i];
    }
    return nullptr;
}

std::string TextOf(const SPropValue* value) {
    return value && PROP_TYPE(value->ulPropTag) == PT_UNICODE ? Narrow(value->Value.lpszW) : std::string();
}

std::string Hex(const void* bytes, size_t count) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        const unsigned char byte = static_cast<const unsigned char*>(bytes)[i];
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

std::string HexOf(const SPropValue* value) {
    return value && PROP_TYPE(value->ulPropTag) == PT_BINARY ? Hex(value->Value.bin.lpb, value->Value.bin.cb)
                                                             : std::string();
}

long LongOf(const SPropValue* value) {
    return value && PROP_TYPE(value->ulPropTag) == PT_LONG ? value->Value.l : 0;
}

FILETIME TimeOf(const SPropValue* value) {
    return value && PROP_TYPE(value->ulPropTag) == PT_SYSTIME ? value->Value.ft : FILETIME{};
}

MapiPtr<SPropValue> ReadValue(IMAPIProp* object, ULONG tag) {
    SPropValue* value = nullptr;
    const HRESULT hr = Quorvel_GetPropValue(object, static_cast<long>(tag), &value);
    MapiPtr<SPropValue> owner(value);
    if (hr != S_OK) owner.reset();
    return owner;
}

}  // namespace host
