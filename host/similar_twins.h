#pragma once
// Contacts that hold the same. One of them stands for all when contacts are compared: a thousand copies of a contact
// have half a million pairs, and one verdict.
//
// What two contacts hold is compared byte by byte, but for what tells copies apart, which the search does not look
// at: identifiers, times, sizes, the file that a contact came from, and the name that it is filed under.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/item_values.h"

namespace host {

/// Who stands for whom, by the numbers of contacts.
struct TTwins {
    /// Each one stands for itself.
    explicit TTwins(size_t contacts);

    std::vector<uint32_t> first;  // of each contact: the first that holds the same
    /// Of each first one: itself and the others, in their order. Empty for the others.
    std::vector<std::vector<uint32_t>> members;

    void Join(uint32_t earlier, uint32_t later);
    bool HasTwins(uint32_t contact) const { return members[contact].size() > 1; }
    /// Calls visit(contact, pairs) for each of b's that comes behind some of a's. Two without twins are a pair in
    /// either order.
    template <typename Visit>
    void ForEachLater(uint32_t a, uint32_t b, Visit&& visit) const {
        size_t before = HasTwins(a) || HasTwins(b) ? 0 : 1;
        for (const uint32_t later : members[b]) {
            while (before < members[a].size() && members[a][before] < later) ++before;
            if (before > 0) visit(later, before);
        }
    }
    size_t PairsOf(uint32_t a, uint32_t b) const {
        size_t all = 0;
        ForEachLater(a, b, [&all](uint32_t, size_t pairs) { all += pairs; });
        return all;
    }
};

/// Finds contacts that hold the same as an earlier one.
class CTwinFinder {
  public:
    /// All outlive the finder.
    CTwinFinder(IMAPISession* session, const TCatalog& catalog, const std::vector<TItem>& contacts)
        : m_reader(session, catalog, m_noBookkeeping), m_contacts(contacts) {}

    /// The earlier contact that holds the same as this one. Without any the next ones are held against this one.
    std::optional<uint32_t> Find(uint32_t contact, IMessage* message);

  private:
    std::optional<std::string> Content(uint32_t contact, IMessage* message);
    bool IsOfTheCopy(uint32_t contact, IMessage* message, ULONG tag);

    const TBookkeeping m_noBookkeeping;
    CItemReader m_reader;
    const std::vector<TItem>& m_contacts;
    std::unordered_multimap<size_t, uint32_t> m_byHash;
    std::map<std::pair<size_t, ULONG>, bool> m_isOfTheCopy;  // by store and property
};

}  // namespace host
