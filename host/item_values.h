#pragma once
// Everything that an item holds, under names that mean the same in every store.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/bookkeeping.h"
#include "host/folders.h"

namespace host {

/// One value. A multi-valued one has several elements.
struct TItemValue {
    ULONG type = PT_NULL;  // 8-bit texts are widened
    /// Texts as UTF-8, binaries as they are, anything else as a person reads it. Never empty ones.
    std::vector<std::string> elements;
};

/// The values of one item that somebody entered or set: empty ones, zeros, and the bookkeeping of mail
/// programs are left out. By property, as PropertyName gives it.
struct TItemValues {
    std::map<std::string, TItemValue> values;
    unsigned long attachments = 0;
    unsigned namedEmails = 0;  // bits: the e-mail places that show a name, of an address or none

    /// How many values there are, the attachments among them.
    size_t Filled() const;
};

/// "0037" of a plain property, "{00062004-0000-0000-C000-000000000046}:0x8005" or "{...}:Keywords" of a
/// named one. set: the text of a property set, or null.
std::string PropertyName(unsigned tag, const char* set, int id, const wchar_t* stringId);

/// Opens items and reads them whole. Keeps the stores open, and the names of their properties.
class CItemReader {
  public:
    /// All three outlive the reader.
    CItemReader(IMAPISession* session, const TCatalog& catalog, const TBookkeeping& bookkeeping)
        : m_pSession(session), m_catalog(catalog), m_bookkeeping(bookkeeping) {}

    /// Null when it cannot be opened.
    ComPtr<IMessage> Open(const TItem& item);
    /// Nothing when it cannot be opened or read.
    std::optional<TItemValues> Read(const TItem& item);
    const std::string& StoreId(const TItem& item) const;
    /// The property of a tag of that store, as PropertyName gives it. message: any of the store's.
    const std::string& NameOf(IMessage* message, size_t store, ULONG tag);

    IMAPISession* session() const { return m_pSession; }
    const TCatalog& catalog() const { return m_catalog; }
    const TBookkeeping& bookkeeping() const { return m_bookkeeping; }

  private:
    IMAPISession* m_pSession;
    const TCatalog& m_catalog;
    const TBookkeeping& m_bookkeeping;
    std::map<size_t, ComPtr<IMsgStore>> m_stores;
    std::map<std::pair<size_t, ULONG>, std::string> m_names;  // by store and property id
};

}  // namespace host
