#ifndef QUORVEL_HOST_H
#define QUORVEL_HOST_H
/*
 * For hosts, beside quorvel.h: freeing what the library and the messaging platform hand out. All of it is
 * inline; C11 and C++. Nothing is kept between calls.
 *
 * A buffer goes back to the module that it came from. The library takes its buffers from the platform's
 * module that its own look-up loads, which need not be the mapi32.dll that a program is linked to: freeing
 * them there ends in a crash. That module is the session's when Quorvel_Logon made the session. So: log on
 * with Quorvel_Logon, ask once for the function, free everything with it. The library keeps its module loaded
 * until the process ends; the function stays good for as long.
 *
 *     TQuorvelFree* freeBuffer = NULL;
 *     if (Quorvel_Logon(&session, 0, 0) == S_OK) freeBuffer = QuorvelHost_FindFree(session);
 *
 * A host that wants to log on by itself does so with the MAPILogonEx of QuorvelHost_FindModule(NULL), after
 * any call that makes the library look for the platform.
 */

#include <quorvel.h>

#ifndef PSAPI_VERSION
#define PSAPI_VERSION 2 /* the functions are kernel32's: nothing more to link */
#endif
#include <psapi.h>
#include <stdlib.h>

#ifdef __cplusplus
extern "C" {
#endif

/* MAPIFreeBuffer of a module. Null is ignored, as the platform's function does. */
typedef ULONG(STDAPICALLTYPE TQuorvelFree)(void* buffer);

/* Whether a module is a messaging platform: the library takes none without these names. */
static inline int QuorvelHost_IsPlatform(HMODULE module) {
    static const char* const names[] = {"MAPIInitialize",     "MAPIUninitialize", "MAPILogonEx",
                                        "MAPIAllocateBuffer", "MAPIFreeBuffer",   "FreeProws"};
    size_t i;
    for (i = 0; i < sizeof names / sizeof names[0]; ++i) {
        if (!GetProcAddress(module, names[i])) return 0;
    }
    return 1;
}

/* The only platform among the loaded modules. The system's mapi32.dll hands everything on to the mail client
 * that it has loaded, so it is taken only where there is no other. Null when there is none, or several. */
static inline HMODULE QuorvelHost_OnlyPlatform(void) {
    HMODULE modules[1024], found = NULL, system;
    wchar_t path[MAX_PATH + sizeof "\\mapi32.dll"];
    DWORD size = 0, i;
    path[GetSystemDirectoryW(path, MAX_PATH)] = 0;
    lstrcatW(path, L"\\mapi32.dll");
    system = GetModuleHandleW(path);
    if (!EnumProcessModules(GetCurrentProcess(), modules, sizeof modules, &size) || size > sizeof modules)
        return NULL;
    for (i = 0; i < size / sizeof(HMODULE); ++i) {
        if (modules[i] == system || !QuorvelHost_IsPlatform(modules[i])) continue;
        if (found) return NULL;
        found = modules[i];
    }
    return found ? found : system;
}

/* The module that the library's buffers come from: the one that holds the session's methods, or, where that
 * is no platform itself (and for a null session), the only platform that is loaded. Null when it cannot be
 * found: end the session then, nothing could be freed. */
static inline HMODULE QuorvelHost_FindModule(IMAPISession* session) {
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HMODULE module = NULL;
    /* An object begins with the address of its table of methods. */
    if (session && GetModuleHandleExW(flags, *(const wchar_t* const*)(const void*)session, &module) &&
        QuorvelHost_IsPlatform(module)) {
        return module;
    }
    return QuorvelHost_OnlyPlatform();
}

/* Frees what the library hands out; null when the module cannot be found. */
static inline TQuorvelFree* QuorvelHost_FindFree(IMAPISession* session) {
    HMODULE module = QuorvelHost_FindModule(session);
    if (!module) return NULL;
    return (TQuorvelFree*)(void (*)(void))GetProcAddress(module, "MAPIFreeBuffer");
}

/* Frees rows of a table as the platform's FreeProws does: each row's values, then the set. Null is ignored. */
static inline void QuorvelHost_FreeRows(TQuorvelFree* freeBuffer, SRowSet* rows) {
    ULONG i;
    if (!rows) return;
    for (i = 0; i < rows->cRows; ++i) freeBuffer(rows->aRow[i].lpProps);
    freeBuffer(rows);
}

/* An entry identifier as the text that the library takes, for free() of the C runtime; null without memory. */
static inline char* QuorvelHost_IdText(const SBinary* id) {
    static const char digits[] = "0123456789ABCDEF";
    char* text = (char*)malloc(2 * (size_t)id->cb + 1);
    ULONG i;
    if (!text) return NULL;
    for (i = 0; i < id->cb; ++i) {
        text[2 * i] = digits[id->lpb[i] >> 4];
        text[2 * i + 1] = digits[id->lpb[i] & 15];
    }
    text[2 * i] = 0;
    return text;
}

#ifdef __cplusplus
}
#endif
#endif
