#pragma once
// What the shapes of contacts are made of.

#include <string>

#include "mailbox/Database.h"
#include "store/resources.h"

namespace bench {

/// Of a named property of contacts in a store.
ULONG AddressTag(mailbox::Store& store, LONG id, ULONG type);
/// Midnight of a day, counted from some day of the 1970s.
FILETIME Day(unsigned long long day);
std::string HexOf(const std::string& bytes);
/// The new contact's identifier.
std::string AddContact(mailbox::Database& database, mailbox::Folder& folder, mailbox::Properties properties);

/// Opens items of a store, which it opens once.
class COpener {
  public:
    COpener(IMAPISession* session, const std::string& storeId);
    ComPtr<IMessage> Open(const std::string& id) const;

  private:
    ComPtr<IMsgStore> m_store;
};

}  // namespace bench
