// A messaging platform that notes what it is asked for, and logs nobody on. Built as a module of its own, so
// that the library finds its functions by name.

#include <windows.h>
#include <mapix.h>

#include <cstdio>
#include <cstring>

namespace {
char g_calls[4096];

template <typename... Args>
void Note(const char* format, Args... args) {
    const size_t length = std::strlen(g_calls);
    std::snprintf(g_calls + length, sizeof g_calls - length, format, args...);
}
}  // namespace

#define ENTRY extern "C" __declspec(dllexport)

ENTRY HRESULT WINAPI RecordedInitialize(void*) {
    Note("%s", "MAPIInitialize ");
    return S_OK;
}
ENTRY void WINAPI RecordedUninitialize() {
    Note("%s", "MAPIUninitialize ");
}
ENTRY HRESULT WINAPI RecordedLogonEx(ULONG_PTR, void*, void*, ULONG flags, void**) {
    Note("MAPILogonEx(0x%lx) ", flags);
    return MAPI_E_LOGON_FAILED;
}
ENTRY HRESULT WINAPI RecordedAllocateBuffer(ULONG size, void** buffer) {
    Note("MAPIAllocateBuffer(%lu) ", size);
    *buffer = nullptr;
    return MAPI_E_NOT_ENOUGH_MEMORY;
}
ENTRY ULONG WINAPI RecordedFreeBuffer(void*) {
    Note("%s", "MAPIFreeBuffer ");
    return 7;
}
ENTRY void WINAPI RecordedFreeProws(void*) {
    Note("%s", "FreeProws ");
}

ENTRY const char* RecordedCalls() {
    return g_calls;
}
ENTRY void ForgetCalls() {
    g_calls[0] = 0;
}
