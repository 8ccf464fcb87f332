#pragma once
// What the shapes of contacts are made of.

#include <string>

#include "mailbox/CDatabase.h"
#include "store/resources.h"

namespace bench {

/// Of a named property of contacts in a store.
ULONG AddressTag(mailbox::TStore& store, LONG id, ULONG type);
/// Midnight of a day, counted from some day of the 1970s.
FILETIME Day(unsigned long long day);
std::string HexOf(const std::string& bytes);
/// The new contact's identifier.
std::string AddContact(mailbox::CDatabase& database, mailbox::TFolder& folder,
                       mailbox::CProperties properties);

/// Opens items of a store, which it opens once.
class COpener {
  public:
    COpener(IMAPISession* session, const std::string& storeId);
    store::ComPtr<IMessage> Open(const std::string& id) const;

  private:
    store::ComPtr<IMsgStore> m_store;
};

}  // namespace bench
