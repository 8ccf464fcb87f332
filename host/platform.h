#pragma once
// The program's way to the messaging platform: binding a mailbox file, one session, and owners of what the
// platform's published interfaces hand out.

#include <windows.h>
#include <mapix.h>
#include <mapiutil.h>
#include <wrl/client.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {

using Microsoft::WRL::ComPtr;

/// MAPIFreeBuffer of the module that the session came from.
ULONG FreeMapiBuffer(void* buffer);

struct TMapiDeleter {
    void operator()(void* buffer) const { FreeMapiBuffer(buffer); }
};
template <typename T>
using MapiPtr = std::unique_ptr<T, TMapiDeleter>;

/// Frees rows as the platform's FreeProws does: each row's properties, then the set.
struct TRowsDeleter {
    void operator()(SRowSet* rows) const;
};
using Rows = std::unique_ptr<SRowSet, TRowsDeleter>;

/// A session of the mail client's default profile, or of one mailbox file. Logs off when it goes; a command
/// that changed something closes it, to know that it is saved.
class CSession {
  public:
    /// mailboxFile empty: the default mail client's profile; showLogon lets it ask which. Throws Failure.
    CSession(const std::string& mailboxFile, bool showLogon);
    ~CSession();
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    /// Logs off, by which a mailbox file is written. Everything that came from the session is released by
    /// then. Empty, or why what was changed may not be saved.
    std::string Close();
    /// Nothing of a mailbox file changes before the session is closed.
    bool IsMailboxFile() const { return m_bMailbox; }

    IMAPISession* get() const { return m_pSession; }
    IMAPISession* operator->() const { return m_pSession; }

  private:
    IMAPISession* m_pSession = nullptr;
    bool m_bMailbox;
};

/// All rows of a table under these columns, in batches; visit returns false to stop. Throws Failure.
void ForEachRow(IMAPITable* table, const std::vector<ULONG>& columns, const std::string& what,
                const std::function<bool(const SRow&)>& visit);

// Values of rows and items. Missing values and error values read as the empty one.
const SPropValue* FindValue(const SPropValue* values, ULONG count, ULONG tag);
std::string TextOf(const SPropValue* value);
std::string HexOf(const SPropValue* value);
long LongOf(const SPropValue* value);
FILETIME TimeOf(const SPropValue* value);
std::string Hex(const void* bytes, size_t count);

/// One value of an item or store, read through the library.
MapiPtr<SPropValue> ReadValue(IMAPIProp* object, ULONG tag);

}  // namespace host
