#include "store/CMapiProvider.h"

#include <mapiutil.h>

#include "log/CLog.h"
#include "store/provider_lookup.h"

namespace store {

using logging::g_Log;

namespace {

struct TBinding {
    HMODULE module = nullptr;
    bool lookedUp = false;
    unsigned generation = 0;
};
constinit TBinding g_binding;

/// One function of the platform, its address cached for the generation that it was found in.
template <typename Function>
class CPlatformFunction {
  public:
    explicit constexpr CPlatformFunction(const char* name) : m_pName(name) {}

    /// Null without a module or without the name in it.
    Function* Get() {
        const HMODULE module = CMapiProvider::Module();
        if (!module) return nullptr;
        if (m_nGeneration != CMapiProvider::Generation()) {
            m_pAddress =
                reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, m_pName)));
            m_nGeneration = CMapiProvider::Generation();
        }
        return m_pAddress;
    }

  private:
    const char* const m_pName;
    Function* m_pAddress = nullptr;
    unsigned m_nGeneration = 0;  // no module has generation 0
};

constinit CPlatformFunction<decltype(MAPIInitialize)> g_initialize("MAPIInitialize");
constinit CPlatformFunction<decltype(MAPIUninitialize)> g_uninitialize("MAPIUninitialize");
constinit CPlatformFunction<decltype(MAPILogonEx)> g_logonEx("MAPILogonEx");
constinit CPlatformFunction<decltype(MAPIAllocateBuffer)> g_allocateBuffer("MAPIAllocateBuffer");
constinit CPlatformFunction<decltype(MAPIFreeBuffer)> g_freeBuffer("MAPIFreeBuffer");
constinit CPlatformFunction<decltype(::FreeProws)> g_freeProws("FreeProws");

}  // namespace

HMODULE CMapiProvider::Module() {
    if (!g_binding.lookedUp) {
        std::vector<std::wstring> refused;
        Bind(LoadProvider(refused));
        if (!g_binding.module) {
            for (const std::wstring& line : refused) g_Log.InfoW(1, "MapiProvider", L"%s\n", line.c_str());
        }
    }
    g_binding.lookedUp = true;
    return g_binding.module;
}

void CMapiProvider::LookAgain() {
    if (!g_binding.module) g_binding.lookedUp = false;
}

unsigned CMapiProvider::Generation() {
    return g_binding.generation;
}

void CMapiProvider::Bind(HMODULE module) {
    g_binding.lookedUp = module != nullptr;
    if (module == g_binding.module) return;
    g_binding.module = module;
    g_binding.generation++;
}

namespace mapi {

HRESULT Initialize(void* init) {
    auto* const function = g_initialize.Get();
    return function ? function(init) : E_FAIL;
}

void Uninitialize() {
    if (auto* const function = g_uninitialize.Get()) function();
}

HRESULT LogonEx(ULONG_PTR uiParam, wchar_t* profile, wchar_t* password, ULONG flags, IMAPISession** session) {
    auto* const function = g_logonEx.Get();
    return function ? function(uiParam, profile, password, flags, session) : E_FAIL;
}

HRESULT AllocateBuffer(ULONG size, void** buffer) {
    auto* const function = g_allocateBuffer.Get();
    return function ? function(size, buffer) : E_FAIL;
}

ULONG FreeBuffer(void* buffer) {
    auto* const function = g_freeBuffer.Get();
    return function ? function(buffer) : 0;
}

void FreeProws(SRowSet* rows) {
    if (auto* const function = g_freeProws.Get()) function(rows);
}

}  // namespace mapi

}  // namespace store
