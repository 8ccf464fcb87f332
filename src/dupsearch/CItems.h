#pragma once
// The items of a search and how they are opened: the session, the reader of its items, the records by number.
// Owns the records with their texts and values and the open stores; holds the session. A record stays where it is.

#include <deque>
#include <memory>
#include <memory_resource>

#include "compare/CPoolMemory.h"
#include "dupsearch/CBlockMemory.h"
#include "dupsearch/TItem.h"
#include "items/CItemReader.h"

class CItems {
  public:
    explicit CItems(IMAPISession* session = nullptr) : m_session(session), m_reader(session) {}

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

    /// Opens an item and, once, its store. On failure there is no message and one more line than the store
    /// functions' own is written, under the routine's name.
    CItemReader::TOpened Open(const char* entryId, const char* storeId, const char* routine);
    ComPtr<IMessage> Open(const TItem& item, const char* routine) {
        return Open(item.EntryID, item.StoreID(), routine).message;
    }

    CItemReader& Reader() { return m_reader; }

  private:
    /// In few blocks: a hundred thousand small ones are expensive to allocate and to free.
    struct TRecords {
        CBlockMemory memory;
        CBlockMemory::Mark beforeLast;
        CPoolMemory pool;
        std::pmr::deque<TItem> list{&pool};
    };

    ComPtr<IMAPISession> m_session;
    CItemReader m_reader;
    std::unique_ptr<TRecords> m_records = std::make_unique<TRecords>();
};
