#include "items/CItemReader.h"

#include <utility>

#include "compare/contact_item.h"
#include "log/CLog.h"
#include "store/checked_calls.h"
#include "store/sessions.h"

namespace items {

using logging::g_Log;
using store::ComPtr;
using store::CTagList;
using store::MapiBuffer;

CItemReader::TStore& CItemReader::Find(std::string_view key) {
    // Items come store by store.
    if (m_pLast && m_pLast->id == key) return *m_pLast;
    auto found = m_stores.find(key);
    if (found == m_stores.end()) {
        // Nothing fails once it is among the others: half made, it would pass for the first one.
        std::string id(key);
        found = m_stores.try_emplace(id).first;
        found->second.id = std::move(id);
        found->second.number = m_stores.size() - 1;
    }
    m_pLast = &found->second;
    return *m_pLast;
}

CItemReader::TStore& CItemReader::StoreOf(const char* storeId) {
    return Find(storeId);
}

CItemReader::TOpened CItemReader::Open(const char* entryId, const char* storeId) {
    TStore& store = Find(storeId);
    ComPtr<IMessage> message;
    if (!store.msgStore &&
        (!m_pSession || store::OpenStore(m_pSession, storeId, &store.msgStore) != S_OK || !store.msgStore)) {
        return {};
    }
    if (store::OpenStoreItem(store.msgStore.Get(), entryId, &message) != S_OK || !message) return {};
    return {message, &store};
}

CItemReader::TStore* CItemReader::StoreOf(IMessage* item, const char* storeId, HRESULT* result) {
    // No identifier's text begins so.
    constexpr std::string_view kMarks[] = {"mapping ", "store "};
    CTagList tags(PR_MAPPING_SIGNATURE, PR_STORE_ENTRYID);
    ULONG count = 0;
    MapiBuffer<SPropValue> values;
    HRESULT& hr = *result;
    hr = store::GetProps(item, tags, &count, values);
    if (!store::IsReadSuccess(hr)) {
        g_Log.Warning("CItemReader.StoreOf", "GetProps returned 0x%x, asking again\n",
                      static_cast<unsigned>(hr));
        hr = store::GetProps(item, tags, &count, values);
    }
    if (!store::IsReadSuccess(hr)) return nullptr;
    for (ULONG i = 0; values && i < count && i < std::size(kMarks); ++i) {
        const SPropValue& value = values.get()[i];
        if (PROP_TYPE(value.ulPropTag) != PT_BINARY || value.Value.bin.cb == 0) continue;
        std::string key(kMarks[i]);
        key.append(reinterpret_cast<const char*>(value.Value.bin.lpb), value.Value.bin.cb);
        return &Find(key);
    }
    return &Find(storeId);
}

IAddrBook* CItemReader::AddressBook(const char* routine) {
    if (m_bTriedAddressBook) return m_addressBook.Get();
    m_bTriedAddressBook = true;
    const HRESULT hr =
        m_pSession ? store::OpenAddressBook(m_pSession, m_addressBook) : MAPI_E_NOT_INITIALIZED;
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(routine, "OpenAddressBook failed, error = 0x%x\n", static_cast<unsigned>(hr));
    }
    return m_addressBook.Get();
}

MapiBuffer<SPropValue> CItemReader::SmtpEmail(const char* routine, IMessage* item, TStore& store, int index,
                                              bool unicode) {
    IAddrBook* const addressBook = AddressBook(routine);
    if (!addressBook) return nullptr;
    MapiBuffer<SPropValue> smtp;
    const HRESULT hr =
        compare::ContactItem_SmtpEmail(addressBook, item, index, unicode, store::Out(smtp), &store.names);
    const ULONG type = smtp ? PROP_TYPE(smtp->ulPropTag) : PT_ERROR;
    if (!store::IsReadSuccess(hr) || type != (unicode ? PT_UNICODE : PT_STRING8)) {
        g_Log.Warning(routine, "Cant read email in smtp format\n");
        return nullptr;
    }
    const bool empty =
        unicode ? !smtp->Value.lpszW || !*smtp->Value.lpszW : !smtp->Value.lpszA || !*smtp->Value.lpszA;
    if (!empty) return smtp;
    g_Log.Warning(routine, "smtp email is empty\n");
    return nullptr;
}

}  // namespace items
