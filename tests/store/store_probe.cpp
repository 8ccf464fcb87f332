// store_probe KEY: looks for the messaging platform with the user's and the machine's part of the registry
// replaced by KEY\User and KEY\Machine (KEY below HKEY_CURRENT_USER), and leaves what it found in KEY: the
// module's path, and what a call of the platform gave. A host of which the system's mail library is a part has to
// find the same module: 4 when it does not.

#include <windows.h>

#include <string>

#include "quorvel_host.h"
#include "store/MapiProvider.h"

namespace {
bool HostFinds(HMODULE module) {
    // Before the mail library is here: it may load another platform than the one that was found.
    const bool isOnly = QuorvelHost_FindModule(nullptr) == module;
    LoadLibraryW(L"mapi32.dll");
    const FARPROC method = GetProcAddress(module, "MAPIFreeBuffer");
    // All that counts of a session: its table of methods lies in the module.
    const void* session = reinterpret_cast<const void*>(method);
    return isOnly && QuorvelHost_FindFree(reinterpret_cast<IMAPISession*>(&session)) ==
                         reinterpret_cast<TQuorvelFree*>(reinterpret_cast<void*>(method));
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
    wchar_t path[MAX_PATH] = L"";
    const HMODULE module = MapiProvider::Module();
    if (module) GetModuleFileNameW(module, path, MAX_PATH);
    const HRESULT result = mapi::Initialize(nullptr);
    if (module && !HostFinds(module)) return 4;
    RegSetValueExW(key, L"Found", 0, REG_SZ, reinterpret_cast<const BYTE*>(path),
                   static_cast<DWORD>((wcslen(path) + 1) * sizeof(wchar_t)));
    RegSetValueExW(key, L"Result", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&result), sizeof result);
    return 0;
}
