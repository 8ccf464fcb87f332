#include "bench/contact_items.h"

#include "base/mapi_extra.h"
#include "log/identifier_text.h"
#include "store/named_properties.h"
#include "store/sessions.h"

using store::ComPtr;

namespace bench {

ULONG AddressTag(mailbox::TStore& store, LONG id, ULONG type) {
    GUID set;
    logging::Str2GUID(base::kSetAddress, &set);
    return PROP_TAG(type, store.names.FindOrAdd({set, true, id, L""}));
}

FILETIME Day(unsigned long long day) {
    const unsigned long long ticks = (day + 138000) * 864000000000ull;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

std::string HexOf(const std::string& bytes) {
    std::string text(2 * bytes.size() + 1, '\0');
    logging::BytesToHex(reinterpret_cast<const BYTE*>(bytes.data()), bytes.size(), text.data());
    text.pop_back();
    return text;
}

std::string AddContact(mailbox::CDatabase& database, mailbox::TFolder& folder,
                       mailbox::CProperties properties) {
    auto data = std::make_shared<mailbox::TMessageData>();
    data->properties = std::move(properties);
    data->properties.Text(PR_MESSAGE_CLASS_W, L"IPM.Contact");
    return HexOf(database.AddItem(folder, {}, std::move(data))->id);
}

COpener::COpener(IMAPISession* session, const std::string& storeId) {
    store::OpenStore(session, storeId.c_str(), &m_store);
}

ComPtr<IMessage> COpener::Open(const std::string& id) const {
    ComPtr<IMessage> item;
    store::OpenStoreItem(m_store.Get(), id.c_str(), &item);
    return item;
}

}  // namespace bench
