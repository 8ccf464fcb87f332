#include "dupsearch/CItems.h"

#include <cstring>

#include "log/CLog.h"
#include "store/sessions.h"

TItem& CItems::Append(const char* entryId) {
    TItem& item = m_records->list.emplace_back(m_records->memory);
    item.EntryID = entryId;
    item.nIndex = Count() - 1;
    return item;
}

void CItems::Keep() {
    TItem& item = m_records->list.back();
    const size_t size = std::strlen(item.EntryID) + 1;
    void* const text = m_records->texts.allocate(size, 1);
    item.EntryID = static_cast<const char*>(std::memcpy(text, item.EntryID, size));
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
