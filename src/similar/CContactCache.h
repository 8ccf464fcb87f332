#pragma once
// The contacts of a search: their records, which of them is searched by, and the index of candidates.
//
// Owns the records, each of them from the moment when it is added until it is forgotten or a newer version takes its
// place. Contacts go by their entry identifiers alone. The fields and rules are borrowed and outlive it. Exhausted
// memory throws and leaves all as it was.

#include <memory_resource>
#include <unordered_map>

#include "base/CPoolMemory.h"
#include "similar/CCandidateIndex.h"

namespace similar {

class CContactCache {
    struct TIdHash {
        using is_transparent = void;
        // Not noexcept: the map keeps the hashes then, and most of what stands beside a contact is told apart
        // by them.
        size_t operator()(std::string_view id) const { return std::hash<std::string_view>()(id); }
    };
    using TContacts = std::pmr::unordered_map<std::pmr::string, TItemProps, TIdHash, std::equal_to<>>;

  public:
    /// A record that is in no cache: mapped() is what is known of the contact.
    using TRecord = TContacts::node_type;
    /// What a check of a contact asks for before it is compared: the records themselves lie far apart.
    struct TKnown {
        TItemProps* props;  // null: it is cached no more
        size_t entryId;     // position in m_entryIds
        unsigned filledCount;
    };
    static constexpr unsigned kUnknown = ~0u;

    CContactCache(const TContactFields& fields, const TRuleTables& rules);
    CContactCache(const CContactCache&) = delete;
    CContactCache& operator=(const CContactCache&) = delete;

    /// For what records are made of.
    std::pmr::memory_resource* Memory() { return &m_memory; }
    TRecord NewRecord(TItemInfo&& info, items::TPlainValues&& plain);
    /// Takes a complete record: prepares its texts, files it, and only then lets go of an older version, whose place it
    /// takes as the contact that is searched by, too.
    TItemProps* Add(TRecord record);
    void Forget(std::string_view entryId);

    /// Null when this version of the contact is not cached.
    TItemProps* Find(const TItemInfo& info);
    /// The contact's number; kUnknown when it is not cached. The one behind the last one is found without a search.
    unsigned Find(std::string_view entryId);
    const TKnown& At(unsigned contact) const { return m_known[contact]; }
    void SetOtherFilledCount(TItemProps* props, long filled);

    /// In the cache; null for none.
    const TItemProps* SearchBy() const { return m_pSearchBy; }
    void SetSearchBy(const TItemProps* props);
    /// Whether the contact searched by, of which there is one, may resemble this one. Candidates are collected when
    /// this is first asked: contacts that are cached before are among them.
    bool IsCandidate(unsigned contact) {
        if (!m_bCollected) Collect();
        return m_index.IsCandidate(*m_pSearchBy, contact);
    }

  private:
    void Collect();
    void PrepareRoom(std::string_view entryId);
    void RenewIndex();

    const TContactFields& m_fields;
    const TRuleTables& m_rules;
    // Contacts live long and their parts are small. A heap that searches its free blocks in a row, as some do,
    // would look at the gaps between those parts each time that the platform asks for a buffer; together in a
    // few large blocks they leave none.
    base::CPoolMemory m_memory;
    TContacts m_contacts{&m_memory};
    CUnitWeights m_weights;
    CCandidateIndex m_index;
    std::vector<TKnown> m_known;   // by the contact's number in the index
    std::vector<char> m_entryIds;  // each with its end
    unsigned m_nFound = kUnknown;  // the contact looked up last: most hosts ask for the next one then
    const TItemProps* m_pSearchBy = nullptr;
    bool m_bCollected = false;  // the index knows the candidates of the contact searched by
};

}  // namespace similar
