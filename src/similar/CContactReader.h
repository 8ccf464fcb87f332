#pragma once
// Reads contacts: who one is, what it holds, and how many fields are filled that are only counted.
//
// Owns the address book and the stores that it opens, each of them once, and what it knows of their names. The session
// and the fields are borrowed and outlive it. Contacts are only read. Every failure is logged.
//
// The platform may call the host while it reads, and the host the search: what is read is returned and kept nowhere.

#include <memory_resource>
#include <optional>

#include "items/CDefinedTags.h"
#include "items/CItemRequest.h"
#include "similar/TItemProps.h"

namespace similar {

class CContactReader {
  public:
    /// storeEntryId: of the store of contacts that come without one. hasOtherFields: they are counted, too.
    CContactReader(IMAPISession* session, const char* storeEntryId, const TContactFields& fields,
                   bool hasOtherFields);

    /// Null when it cannot be opened.
    store::ComPtr<IMessage> OpenItem(const char* entryId);
    /// Nothing when it cannot be told who the contact is. memory: for the texts.
    std::optional<TItemInfo> ReadItemInfo(IMessage* item, std::pmr::memory_resource* memory);
    /// One value for each field.
    std::optional<items::TPlainValues> ReadValues(IMessage* item, const TItemInfo& info);
    /// Reads into a new record what is not among its values, e-mails in SMTP form and the body, and counts these.
    void Complete(IMessage* item, TItemProps* props);
    /// item: null when it is to be opened. Nothing when they cannot be counted.
    std::optional<long> CountOtherFields(const TItemProps& props, IMessage* item);

  private:
    /// What is read of the contacts of each store, made when it is first needed.
    using TRequests = std::vector<std::optional<items::CItemRequest>>;

    items::CItemReader::TStore* SettleStore(IMessage* item);
    ULONG FileAsTag(IMessage* item, size_t store);
    items::CItemRequest& RequestFor(TRequests* requests, size_t store, const compare::CTagArray& wanted);
    void ReadSmtpEmails(IMessage* item, TItemProps* props);
    static void ReadBody(IMessage* item, TItemProps* props);
    std::optional<long> CountFilled(IMessage* item, size_t store);

    IMAPISession* m_pSession;
    items::CItemReader m_items;
    std::string m_storeEntryId;
    const TContactFields& m_fields;

    std::vector<TComparyProp> m_read;  // the compared fields, with their tags
    items::CDefinedTags m_tags;        // of these; empty until the first contact is read
    ULONG m_nFileAsTag = 0;
    TRequests m_infoRequests, m_valueRequests;
    std::vector<TComparyProp> m_counted;
    items::CDefinedTags m_countedTags;  // empty until the first contact is counted
};

}  // namespace similar
