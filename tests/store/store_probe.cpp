// store_probe KEY: looks for the messaging platform with the user's and the machine's part of the registry
// replaced by KEY\User and KEY\Machine (KEY below HKEY_CURRENT_USER), and leaves what it found in KEY: the
// module's path, and what a call of the platform gave.

#include <windows.h>

#include <string>

#include "store/MapiProvider.h"

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    HKEY key, user, machine;
    if (RegCreateKeyA(HKEY_CURRENT_USER, argv[1], &key) || RegCreateKeyA(key, "User", &user) ||
        RegCreateKeyA(key, "Machine", &machine) || RegOverridePredefKey(HKEY_CURRENT_USER, user) ||
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine)) {
        return 3;
    }
    wchar_t path[MAX_PATH] = L"";
    if (const HMODULE module = MapiProvider::Module()) GetModuleFileNameW(module, path, MAX_PATH);
    const HRESULT result = mapi::Initialize(nullptr);
    RegSetValueExW(key, L"Found", 0, REG_SZ, reinterpret_cast<const BYTE*>(path),
                   static_cast<DWORD>((wcslen(path) + 1) * sizeof(wchar_t)));
    RegSetValueExW(key, L"Result", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&result), sizeof result);
    return 0;
}
