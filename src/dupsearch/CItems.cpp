#include "dupsearch/CItems.h"

#include "log/CLog.h"
#include "store/sessions.h"

TItem& CItems::Append(std::unique_ptr<TItem> item) {
    m_records.push_back(std::move(item));
    return *m_records.back();
}

CItems::Stores::iterator CItems::OpenStore(const char* storeId) {
    const auto cached = m_stores.find(storeId);
    if (cached != m_stores.end() || !m_session) return cached;
    ComPtr<IMsgStore> opened;
    if (store::OpenStore(m_session.Get(), storeId, &opened) != S_OK || !opened) return m_stores.end();
    return m_stores.emplace(storeId, opened).first;
}

ComPtr<IMessage> CItems::Open(const char* entryId, const char* storeId, const char* routine,
                              const char** cachedStoreId) {
    ComPtr<IMessage> message;
    const auto opened = OpenStore(storeId);
    if (opened == m_stores.end() || store::OpenStoreItem(opened->second.Get(), entryId, &message) != S_OK ||
        !message) {
        g_Log.Error(routine, "cant open message, see prev errors in log\n");
        return nullptr;
    }
    if (cachedStoreId) *cachedStoreId = opened->first.c_str();
    return message;
}
