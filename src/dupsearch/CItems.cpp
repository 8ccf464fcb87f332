#include "dupsearch/CItems.h"

#include <cstring>

#include "log/CLog.h"

TItem& CItems::Append(const char* entryId) {
    m_records->beforeLast = m_records->memory.Now();
    TItem& item = m_records->list.emplace_back(m_records->pool);
    item.EntryID = entryId;
    item.nIndex = Count() - 1;
    return item;
}

void CItems::Keep() {
    TItem& item = m_records->list.back();
    const size_t size = std::strlen(item.EntryID) + 1;
    void* const text = Memory().allocate(size, 1);
    item.EntryID = static_cast<const char*>(std::memcpy(text, item.EntryID, size));
}

void CItems::RemoveLast() {
    m_records->list.pop_back();
    m_records->memory.GoBackTo(m_records->beforeLast);
}

CItemReader::TOpened CItems::Open(const char* entryId, const char* storeId, const char* routine) {
    CItemReader::TOpened opened = m_reader.Open(entryId, storeId);
    if (!opened.message) g_Log.Error(routine, "cant open message, see prev errors in log\n");
    return opened;
}
