#include "dupsearch/CItems.h"

#include <cstring>

#include "store/text_scan.h"
#include "log/CLog.h"
#include "store/sessions.h"

TItem& CItems::Append(const char* entryId) {
    m_records->beforeLast = m_records->memory.Now();
    TItem& item = m_records->list.emplace_back(m_records->pool);
    item.EntryID = entryId;
    item.nIndex = Count() - 1;
    return item;
}

void CItems::Keep() {
    TItem& item = m_records->list.back();
    const size_t size = scan::Length(item.EntryID) + 1;
    void* const text = Memory().allocate(size, 1);
    item.EntryID = static_cast<const char*>(std::memcpy(text, item.EntryID, size));
}

void CItems::RemoveLast() {
    m_records->list.pop_back();
    m_records->memory.GoBackTo(m_records->beforeLast);
}

CItems::Stores::value_type* CItems::OpenStore(const char* storeId) {
    // Items come store by store.
    if (m_lastStore && std::strcmp(m_lastStore->first.c_str(), storeId) == 0) return m_lastStore;
    if (const auto cached = m_stores.find(storeId); cached != m_stores.end()) return m_lastStore = &*cached;
    ComPtr<IMsgStore> opened;
    if (!m_session || store::OpenStore(m_session.Get(), storeId, &opened) != S_OK || !opened) return nullptr;
    return m_lastStore = &*m_stores.emplace(storeId, TStore{opened, {}}).first;
}

ComPtr<IMessage> CItems::Open(const char* entryId, const char* storeId, const char* routine,
                              const char** cachedStoreId) {
    ComPtr<IMessage> message;
    Stores::value_type* const opened = OpenStore(storeId);
    if (!opened || store::OpenStoreItem(opened->second.msgStore.Get(), entryId, &message) != S_OK ||
        !message) {
        g_Log.Error(routine, "cant open message, see prev errors in log\n");
        return nullptr;
    }
    if (cachedStoreId) *cachedStoreId = opened->first.c_str();
    return message;
}
