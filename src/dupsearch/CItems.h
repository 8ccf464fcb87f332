#pragma once
// The items of a search and how they are opened: the session, the reader of its items, the records by number.
// Owns the records with their identifiers, texts and values and the open stores; holds the session. A record stays
// where it is.

#include <forward_list>
#include <memory>
#include <string>
#include <vector>

#include "base/CBlockMemory.h"
#include "base/CPoolMemory.h"
#include "items/CItemReader.h"
#include "items/TItemValues.h"

namespace dupsearch {

/// One item of a search: its identifiers, the values read from it, and what choosing an original needs to know.
struct TItem : items::TItemValues {
    using items::TItemValues::TItemValues;

    const char* EntryID = "";  // beside the record
    items::CItemReader::TStore* store = nullptr;
    uint32_t nIndex = 0;  // number in order of addition
    unsigned nCallerRank = 0;

    // Facts for choosing an original; -1 and null: not computed.
    int nFilledProps = -1;
    std::unique_ptr<ULONG[]> ValuesSizes;  // one per compared plain tag, then one per compared stream tag
    int nMessageSize = -1;
    int nHasFieldValue = -1;
    short nODApntRecurIndex = -1;
    short nODApntAnnvrsryYear = -1;
    short nHasCRMID = -1;
    short nAllDayLike = -1;  // asked for by definitions too

    bool bAsRead = false;                           // one value for each tag, all as the item has them
    std::forward_list<std::wstring> comparedTexts;  // what is compared in place of a text that was read

    const char* StoreID() const { return store ? store->id.c_str() : ""; }
};

class CItems {
  private:
    struct TDestroyed {
        void operator()(TItem* item) const { std::destroy_at(item); }
    };
    /// In few blocks: a hundred thousand small ones are expensive to allocate and to free.
    struct TRecords {
        base::CBlockMemory memory;  // of the records too
        base::CPoolMemory pool;
        std::vector<std::unique_ptr<TItem, TDestroyed>> list;
    };

  public:
    /// The record of an item while it is being added. Unless the items take it, it goes with all that was put
    /// into the memory since. One at a time.
    class CNewItem {
      public:
        CNewItem(CItems& items, const char* entryId);
        CNewItem(const CNewItem&) = delete;
        ~CNewItem();
        TItem& operator*() const { return *m_item; }

      private:
        friend CItems;

        TRecords& m_records;
        const base::CBlockMemory::TMark m_before;
        std::unique_ptr<TItem, TDestroyed> m_item;
    };

    explicit CItems(IMAPISession* session = nullptr) : m_session(session), m_reader(session) {}

    uint32_t Count() const { return static_cast<uint32_t>(m_records->list.size()); }
    TItem& operator[](uint32_t index) { return *m_records->list[index]; }
    const TItem& operator[](uint32_t index) const { return *m_records->list[index]; }
    /// The record becomes the next one.
    void Take(CNewItem& item) noexcept { m_records->list.push_back(std::move(item.m_item)); }
    /// For texts and values of the new item.
    std::pmr::memory_resource& Memory() { return m_records->memory; }

    /// Opens an item and, once, its store. On failure there is no message and one more line than the store
    /// functions' own is written, under the routine's name.
    items::CItemReader::TOpened Open(const char* entryId, const char* storeId, const char* routine);
    store::ComPtr<IMessage> Open(const TItem& item, const char* routine) {
        return Open(item.EntryID, item.StoreID(), routine).message;
    }

    items::CItemReader& Reader() { return m_reader; }

  private:
    store::ComPtr<IMAPISession> m_session;
    items::CItemReader m_reader;
    std::unique_ptr<TRecords> m_records = std::make_unique<TRecords>();
};

}  // namespace dupsearch
