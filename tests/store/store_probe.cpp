// store_probe KEY: looks for the messaging platform with the user's and the machine's part of the registry
// replaced by KEY\User and KEY\Machine (KEY below HKEY_CURRENT_USER), and leaves what it found in KEY: the
// module's path, and what a call of the platform gave. A host of which the system's mail library is a part has to
// find the same module: 4 when it does not. When nothing is found, the path in the value Later, if there is one, is
// made that of the user's mail client, and looked for again. Log lines go to probe.log in the current folder.

#include <windows.h>

#include <string>

#include "log/CLog.h"
#include "quorvel_host.h"
#include "store/CMapiProvider.h"

using logging::g_Log;
using store::CMapiProvider;

namespace {
bool HostFinds(HMODULE module) {
    // Before the mail library is here: it may load another platform than the one that was found.
    const bool isOnly = QuorvelHost_FindModule(nullptr) == module;
    [[maybe_unused]] const HMODULE mailLibrary = LoadLibraryW(L"mapi32.dll");
    const FARPROC method = GetProcAddress(module, "MAPIFreeBuffer");
    // All that counts of a session: its table of methods lies in the module.
    const void* session = reinterpret_cast<const void*>(method);
    return isOnly && mailLibrary != nullptr &&
           QuorvelHost_FindFree(reinterpret_cast<IMAPISession*>(&session)) ==
               reinterpret_cast<TQuorvelFree*>(reinterpret_cast<void*>(method));
}

void SetText(HKEY key, const char* path, const wchar_t* name, const wchar_t* text) {
    HKEY opened;
    if (RegCreateKeyA(key, path, &opened)) return;
    RegSetValueExW(opened, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                   static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)));
    RegCloseKey(opened);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    HKEY key, user, machine;
    if (RegCreateKeyA(HKEY_CURRENT_USER, argv[1], &key) || RegCreateKeyA(key, "User", &user) ||
        RegCreateKeyA(key, "Machine", &machine) || RegOverridePredefKey(HKEY_CURRENT_USER, user) ||
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine)) {
        return 3;
    }
    g_Log.Configure(nullptr, "probe.log", false, 1, 0);
    wchar_t path[MAX_PATH] = L"";
    DWORD size = sizeof path;
    if (RegGetValueW(key, nullptr, L"Later", RRF_RT_REG_SZ, nullptr, path, &size) == ERROR_SUCCESS &&
        !CMapiProvider::Module()) {
        SetText(user, "Software\\Clients\\Mail", nullptr, L"Later");
        SetText(user, "Software\\Clients\\Mail\\Later", L"DLLPathEx", path);
        if (CMapiProvider::Module()) return 5;  // a look-up that found nothing is not repeated by itself
        CMapiProvider::LookAgain();
    }
    path[0] = 0;
    const HMODULE module = CMapiProvider::Module();
    if (module) GetModuleFileNameW(module, path, MAX_PATH);
    const HRESULT result = store::mapi::Initialize(nullptr);
    if (module && !HostFinds(module)) return 4;
    SetText(key, "", L"Found", path);
    RegSetValueExW(key, L"Result", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&result), sizeof result);
    return 0;
}
