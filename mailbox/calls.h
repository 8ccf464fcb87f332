#pragma once
// What every call of the platform passes through: one lock for the whole platform (so a session may be used
// from several threads; calls are taken one at a time), and the tests' control over calls.

#include <windows.h>
#include <mapidefs.h>
#include <mapicode.h>

#include <mutex>
#include <optional>
#include <string_view>

namespace mailbox {

class CPlatformLock {
  public:
    CPlatformLock() { InitializeCriticalSection(&m_section); }
    ~CPlatformLock() { DeleteCriticalSection(&m_section); }
    CPlatformLock(const CPlatformLock&) = delete;
    void lock() { EnterCriticalSection(&m_section); }
    void unlock() { LeaveCriticalSection(&m_section); }

  private:
    CRITICAL_SECTION m_section;
};
extern CPlatformLock g_lock;

/// Kinds of what is counted as alive.
enum EObjectKind : size_t {
    okSession,
    okServiceAdmin,
    okStore,
    okFolder,
    okMessage,
    okAttachment,
    okTable,
    okStream,
    okAddressBook,
    okMailUser,
    okBuffer,
    okCount
};
extern volatile long g_alive[okCount];

/// Counts its owner as alive.
template <EObjectKind kind>
class CCounted {
  protected:
    CCounted() { InterlockedIncrement(&g_alive[kind]); }
    CCounted(const CCounted&) : CCounted() {}
    ~CCounted() { InterlockedDecrement(&g_alive[kind]); }
};

/// What a call is about, for faults that single calls out.
struct TCallSite {
    const char* name;
    std::string_view entryId{};
    const ULONG* tags = nullptr;
    ULONG tagCount = 0;
};

struct TVerdict {
    bool strike = false;
    bool perform = true;
    HRESULT result = S_OK;
    std::optional<ULONG> limit;
    std::optional<unsigned long long> statSize;
};

/// Whether a record or a fault wants to see calls.
extern bool g_watched;
TVerdict Observe(const TCallSite& site);
/// What the fault that is striking sets for the call being performed; null otherwise.
extern const TVerdict* g_striking;

/// Marks an observed call as being carried out.
class CWatching {
  public:
    explicit CWatching(const TVerdict& verdict) {
        g_watched = false;
        g_striking = verdict.strike ? &verdict : nullptr;
    }
    CWatching(const CWatching&) = delete;
    ~CWatching() {
        g_watched = true;
        g_striking = nullptr;
    }
};

/// Carries a call out under the lock. The body sets the outputs to null itself, before it calls this. What
/// the platform calls on itself during it is no call of its own.
template <typename Body>
HRESULT Call(const TCallSite& site, Body body) {
    const std::lock_guard<CPlatformLock> guard(g_lock);
    if (!g_watched) [[likely]]
        return body();
    const TVerdict verdict = Observe(site);
    if (verdict.strike && !verdict.perform) return verdict.result;
    const CWatching watching(verdict);
    const HRESULT hr = body();
    return verdict.strike ? verdict.result : hr;
}

/// The honest answer of what this platform does not offer.
inline HRESULT Unsupported(const char* name) {
    return Call({name}, [] { return MAPI_E_NO_SUPPORT; });
}

/// Notes why a logon, a logoff or a save failed, for LastError and the debugger.
void SetLastError(const std::wstring& reason);
/// As the export hands it out: valid until the next failure.
const wchar_t* LastErrorText();

}  // namespace mailbox
