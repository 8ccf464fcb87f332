#pragma once
// The messaging platform's module: found through the registry and the installer, loaded once on the first
// call that needs it, and its six functions by name.
//
// The generation counts up each time the module changes; a function's cached address is looked up again then.
// Without a module, or without the name in it, a function does nothing and gives E_FAIL (FreeBuffer 0).
//
// A module that was loaded stays loaded: objects that a host still holds live in it.

#include <windows.h>
#include <mapix.h>

namespace store {

class CMapiProvider {
  public:
    /// The loaded module, looked up and loaded on first use; null when there is none. A look-up that found
    /// nothing writes a line for each candidate, and is not repeated until LookAgain.
    static HMODULE Module();
    /// Forgets that a look-up found nothing.
    static void LookAgain();
    static unsigned Generation();
    /// Binds a module that the process holds already (null: forget the present one, so that the next use
    /// looks again). The caller keeps it loaded.
    static void Bind(HMODULE module);
};

namespace mapi {
HRESULT Initialize(void* init);
void Uninitialize();
HRESULT LogonEx(ULONG_PTR uiParam, wchar_t* profile, wchar_t* password, ULONG flags, IMAPISession** session);
HRESULT AllocateBuffer(ULONG size, void** buffer);
ULONG FreeBuffer(void* buffer);
void FreeProws(SRowSet* rows);
}  // namespace mapi

}  // namespace store
