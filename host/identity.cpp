#include "host/identity.h"

#include <algorithm>

#include "host/show_value.h"
#include "quorvel.h"

namespace host {

bool HasIdentity(IMAPISession* session, const TCatalog& catalog, const TItem& item,
                 const TDefinitions& definitions) {
    ComPtr<IMessage> message;
    const std::string& storeId = catalog.stores[catalog.folders[item.folder].store].entryId;
    if (Quorvel_OpenItem(session, item.entryId.c_str(), storeId.c_str(), message.GetAddressOf()) != S_OK)
        return false;
    return std::any_of(definitions.properties.begin(), definitions.properties.end(),
                       [&](const TPropertyChoice& choice) {
                           return choice.compare && choice.identifies &&
                                  !ShowValue(message.Get(), *choice.property, 16).empty();
                       });
}

}  // namespace host
