#pragma once
// The items of a search and how they are opened: the session, each store opened once, the records by number.
// Owns the records and the open stores; holds the session.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "dupsearch/TItem.h"

class CItems {
  public:
    explicit CItems(IMAPISession* session = nullptr) : m_session(session) {}

    uint32_t Count() const { return static_cast<uint32_t>(m_records.size()); }
    TItem& operator[](uint32_t index) { return *m_records[index]; }
    const TItem& operator[](uint32_t index) const { return *m_records[index]; }
    TItem& Append(std::unique_ptr<TItem> item);
    void RemoveLast() { m_records.pop_back(); }

    /// Opens an item and, once, its store. On failure the result is null and one more line than the store
    /// functions' own is written, under the routine's name. The store's text in the cache is handed out too.
    ComPtr<IMessage> Open(const char* entryId, const char* storeId, const char* routine,
                          const char** cachedStoreId = nullptr);
    ComPtr<IMessage> Open(const TItem& item, const char* routine) {
        return Open(item.EntryID.c_str(), item.lpszStoreID, routine);
    }

    IMAPISession* Session() const { return m_session.Get(); }

  private:
    using Stores = std::map<std::string, ComPtr<IMsgStore>, std::less<>>;

    const Stores::value_type* OpenStore(const char* storeId);

    ComPtr<IMAPISession> m_session;
    Stores m_stores;
    const Stores::value_type* m_lastStore = nullptr;  // the one asked for last
    std::vector<std::unique_ptr<TItem>> m_records;
};
