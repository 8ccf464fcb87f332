#pragma once
// Where an engine's items come from: stores, each opened once and its names known from then on, and the address
// book, opened once.
//
// One for each engine object. The session is the owner's, and outlives this.

#include <map>
#include <string>

#include "items/CStoreNames.h"
#include "store/resources.h"

namespace items {

class CItemReader {
  public:
    struct TStore {
        std::string id;                     // as it was asked for
        size_t number = 0;                  // in the order of their turning up
        store::ComPtr<IMsgStore> msgStore;  // null: it is known by its items alone
        CStoreNames names;
    };
    struct TOpened {
        store::ComPtr<IMessage> message;
        TStore* store = nullptr;
    };

    explicit CItemReader(IMAPISession* session = nullptr) : m_pSession(session) {}

    /// Opens an item and, once, its store; a failure is logged by the store functions. No message on failure.
    TOpened Open(const char* entryId, const char* storeId);
    /// The store of this identifier, which need not be opened.
    TStore& StoreOf(const char* storeId);
    /// The store of an item that comes without its store's identifier, by what the item says of its names; one
    /// that says nothing is taken for an item of the store of the identifier given. Null with the platform's
    /// result, not logged, when the item cannot be asked.
    TStore* StoreOf(IMessage* item, const char* storeId, HRESULT* result);

    /// Null when it cannot be opened, which is logged the first time under the routine's name and not tried
    /// again.
    IAddrBook* AddressBook(const char* routine);
    /// The SMTP form of e-mail 1, 2 or 3 of a contact, a text that is not empty. Null, with a line under the
    /// routine's name, when the address book gives none.
    store::MapiBuffer<SPropValue> SmtpEmail(const char* routine, IMessage* item, TStore& store, int index,
                                            bool unicode);

  private:
    using TStores = std::map<std::string, TStore, std::less<>>;

    TStore& Find(std::string_view key);

    IMAPISession* m_pSession;
    TStores m_stores;
    TStore* m_pLast = nullptr;  // the one asked for last
    store::ComPtr<IAddrBook> m_addressBook;
    bool m_bTriedAddressBook = false;
};

}  // namespace items
