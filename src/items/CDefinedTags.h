#pragma once
// The tags of the named properties that an engine reads, in every store that its items come from.
//
// A name has a tag of its own in every store. What an engine keeps and compares carries canonical tags: those of
// the store in which its definitions were resolved, so that one store alone is read as if there were no other.
// A store is asked with its own tags, and what it gives comes back under the canonical ones. A name that the
// first store does not hold gets a canonical tag when a store turns up that does. A tag that is no name's is the
// same everywhere.
//
// Stores go by their numbers. One search, similar search or matrix has one for each list of definitions.

#include <string>
#include <vector>

#include "base/names.h"
#include "compare/CTagArray.h"
#include "quorvel.h"
#include "store/named_properties.h"

namespace items {

class CDefinedTags {
  public:
    /// Fills in the tags of the named definitions from an item of the first store. What fails is tried a second
    /// time and then, like what the store does not hold, left without a tag. Every failure is logged.
    void Resolve(IMessage* item, size_t store, TComparyProps definitions);
    /// One more name, resolved in the same way: its canonical tag, 0 when it has none.
    ULONG Resolve(IMessage* item, base::EName name);

    /// Has a store's tags settled before an item of it is read: those not known yet are asked for in one request,
    /// twice when it fails. The platform's result; after a failure nothing is known of the item, and the next
    /// item of the store asks again.
    HRESULT Settle(IMessage* item, size_t store);
    /// Whether the store has answered for names and was not asked for what it brings in.
    bool IsNew(size_t store) const { return store < m_stores.size() && m_stores[store].isNew; }
    /// Gives canonical tags to names that no store held before this one. False when there are none.
    bool BringIn(size_t store);
    /// Fills in the tags of definitions whose names have got canonical ones; how many it filled in.
    int FillIn(TComparyProps definitions) const;
    ULONG CanonicalOf(base::EName name) const;
    /// Whether the definitions were resolved in this store.
    bool IsFirst(size_t store) const { return store == m_nFirst; }
    bool IsEmpty() const { return m_stores.empty(); }

    /// The tag by which a store knows a canonical tag; 0 when it does not.
    ULONG TagIn(size_t store, ULONG canonical) const;
    /// Whether every canonical tag is the store's own.
    bool IsCanonicalIn(size_t store) const { return store >= m_stores.size() || m_stores[store].isCanonical; }

  private:
    struct TNamed {
        GUID set;
        long id;  // 0: the name is a text
        std::wstring text;
        ULONG canonical = 0;  // property id; 0: none yet
    };
    struct TStore {
        std::vector<ULONG> ids;  // by name; 0: not held
        bool isSettled = false;
        bool isNew = false;  // it has answered for names since it was asked for what it brings in
        bool isCanonical = false;
    };

    size_t Enter(const MAPINAMEID& name);
    const TNamed* FindNamed(const MAPINAMEID& name) const;
    TStore& At(size_t store);
    void Take(TStore& store, const MAPINAMEID& name, ULONG tag, HRESULT result);
    HRESULT Ask(IMessage* item, const std::vector<size_t>& names, TStore& store);
    ULONG FreeId(ULONG wanted) const;
    void CompareWithCanonical();

    std::vector<TNamed> m_names;
    std::vector<TStore> m_stores;  // by number
    size_t m_nFirst = 0;
    std::vector<ULONG> m_takenIds;  // canonical, or of definitions that are tags
};

/// A list of canonical tags in the terms of one store.
struct TTagsInStore {
    static constexpr ULONG kNone = 0xFFFFFFFF;

    TTagsInStore() = default;
    TTagsInStore(const CDefinedTags& tags, size_t store, const compare::CTagArray& canonical);

    compare::CTagArray own;     // those that the store knows
    std::vector<ULONG> places;  // of each canonical tag among them; kNone: the store does not know it
};

}  // namespace items
