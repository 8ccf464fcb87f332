// The platform's functions.

#include "mailbox/CSession.h"
#include "mailbox/buffers.h"
#include "mailbox/calls.h"
#include "mailbox/mailbox_file.h"
#include "mailbox/platform_headers.h"

using namespace mailbox;

namespace {
unsigned g_initialized = 0;
}

// A program that links the platform instead of loading it exports the functions, so that it can be bound like
// a module.
#define QV_EXPORT extern "C" __declspec(dllexport)

QV_EXPORT HRESULT WINAPI MAPIInitialize(void*) {
    return Call({"MAPIInitialize"}, [] {
        ++g_initialized;
        return S_OK;
    });
}

QV_EXPORT void WINAPI MAPIUninitialize() {
    Call({"MAPIUninitialize"}, [] {
        if (g_initialized != 0) --g_initialized;
        return S_OK;
    });
}

QV_EXPORT HRESULT WINAPI MAPILogonEx(ULONG_PTR, wchar_t*, wchar_t*, ULONG, IMAPISession** session) {
    if (session == nullptr) return MAPI_E_INVALID_PARAMETER;
    *session = nullptr;
    return Call({"MAPILogonEx"}, [&] {
        if (g_initialized == 0) return MAPI_E_NOT_INITIALIZED;
        std::shared_ptr<CDatabase> database;
        const HRESULT hr = OpenMailbox(database);
        if (hr == S_OK) *session = NewSession(std::move(database));
        return hr;
    });
}

QV_EXPORT SCODE WINAPI MAPIAllocateBuffer(ULONG size, void** buffer) {
    if (buffer == nullptr) return MAPI_E_INVALID_PARAMETER;
    *buffer = nullptr;
    return Call({"MAPIAllocateBuffer"}, [&] {
        *buffer = NewBuffer(size);
        return *buffer != nullptr ? S_OK : MAPI_E_NOT_ENOUGH_MEMORY;
    });
}

QV_EXPORT SCODE WINAPI MAPIAllocateMore(ULONG size, void* root, void** buffer) {
    if (buffer == nullptr || root == nullptr) return MAPI_E_INVALID_PARAMETER;
    *buffer = nullptr;
    return Call({"MAPIAllocateMore"}, [&] {
        *buffer = NewBufferMore(size, root);
        return *buffer != nullptr ? S_OK : MAPI_E_NOT_ENOUGH_MEMORY;
    });
}

QV_EXPORT ULONG WINAPI MAPIFreeBuffer(void* buffer) {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    return FreeBuffer(buffer) ? 0 : static_cast<ULONG>(MAPI_E_INVALID_PARAMETER);
}

QV_EXPORT void WINAPI FreeProws(SRowSet* rows) {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    FreeRows(rows);
}

/// Why the last logon, logoff or save failed; empty when none did. Valid until the next failure.
QV_EXPORT const wchar_t* WINAPI QvMailbox_LastError() {
    return LastErrorText();
}
