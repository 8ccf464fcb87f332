#pragma once
// The items of a search and how they are opened: the session, each store opened once, the records by number.
// Owns the records with their texts and values and the open stores; holds the session. A record stays where it is.

#include <deque>
#include <map>
#include <memory>
#include <memory_resource>
#include <string>

#include "compare/CPoolMemory.h"
#include "compare/named_values.h"
#include "dupsearch/CBlockMemory.h"
#include "dupsearch/TItem.h"

class CItems {
  public:
    explicit CItems(IMAPISession* session = nullptr) : m_session(session) {}

    uint32_t Count() const { return static_cast<uint32_t>(m_records->list.size()); }
    TItem& operator[](uint32_t index) { return m_records->list[index]; }
    const TItem& operator[](uint32_t index) const { return m_records->list[index]; }
    /// A new record with its number. The identifier's text is the caller's before Keep.
    TItem& Append(const char* entryId);
    /// The last record stays: its identifier's text is copied.
    void Keep();
    /// The last record goes, with what it has of the memory.
    void RemoveLast();
    /// For texts and values of the last record.
    std::pmr::memory_resource& Memory() { return m_records->memory; }

    /// Opens an item and, once, its store. On failure the result is null and one more line than the store
    /// functions' own is written, under the routine's name. The store's text in the cache is handed out too.
    ComPtr<IMessage> Open(const char* entryId, const char* storeId, const char* routine,
                          const char** cachedStoreId = nullptr);
    ComPtr<IMessage> Open(const TItem& item, const char* routine) {
        return Open(item.EntryID, item.lpszStoreID, routine);
    }

    /// Of the store of the item opened last.
    CKnownNames& Names() { return m_lastStore->second.names; }

    IMAPISession* Session() const { return m_session.Get(); }

  private:
    struct TStore {
        ComPtr<IMsgStore> msgStore;
        CKnownNames names;
    };
    using Stores = std::map<std::string, TStore, std::less<>>;

    /// In few blocks: a hundred thousand small ones are dear to make and to free.
    struct TRecords {
        CBlockMemory memory;
        CBlockMemory::Mark beforeLast;
        CPoolMemory pool;
        std::pmr::deque<TItem> list{&pool};
    };

    Stores::value_type* OpenStore(const char* storeId);

    ComPtr<IMAPISession> m_session;
    Stores m_stores;
    Stores::value_type* m_lastStore = nullptr;  // the one asked for last
    std::unique_ptr<TRecords> m_records = std::make_unique<TRecords>();
};
