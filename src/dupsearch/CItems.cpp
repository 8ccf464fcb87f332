#include "dupsearch/CItems.h"

#include <cstring>
#include <new>

#include "base/room.h"
#include "log/CLog.h"

namespace dupsearch {

using items::CItemReader;
using logging::g_Log;

CItems::CNewItem::CNewItem(CItems& items, const char* entryId)
    : m_records(*items.m_records), m_before(m_records.memory.Now()) {
    base::MakeRoom(m_records.list, m_records.list.size() + 1);
    const size_t size = std::strlen(entryId) + 1;
    auto* const piece =
        static_cast<std::byte*>(m_records.memory.allocate(sizeof(TItem) + size, alignof(TItem)));
    m_item.reset(new (piece) TItem(m_records.pool));
    m_item->EntryID = static_cast<const char*>(std::memcpy(piece + sizeof(TItem), entryId, size));
    m_item->nIndex = items.Count();
}

CItems::CNewItem::~CNewItem() {
    if (!m_item) return;
    m_item.reset();
    m_records.memory.GoBackTo(m_before);
}

CItemReader::TOpened CItems::Open(const char* entryId, const char* storeId, const char* routine) {
    CItemReader::TOpened opened = m_reader.Open(entryId, storeId);
    if (!opened.message) g_Log.Error(routine, "cant open message, see prev errors in log\n");
    return opened;
}

}  // namespace dupsearch
