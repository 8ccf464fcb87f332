#pragma once
// Reading a few named properties of an item: one look-up of all names, one read of all values.
//
// A store that never held a name, and an item without the property, both make the value missing; neither is a
// failure. Nothing is logged here: the routine that reads knows its own lines.

#include <span>

#include "base/names.h"
#include "store/resources.h"

namespace compare {

/// The tags that names have in one store, as far as they are known.
class CNames {
  public:
    virtual ~CNames() = default;
    /// The tags with the names' types; 0 where the store never held the name. The platform's result on failure.
    virtual HRESULT LookUp(IMAPIProp* item, std::span<const base::EName> names, ULONG* tags) = 0;
    /// The tag of a name that was looked up; 0 for one that is not known.
    virtual ULONG Find(base::EName name) const = 0;
};

/// Asks the item itself, all names in one request.
HRESULT AskForNames(IMAPIProp* item, std::span<const base::EName> names, ULONG* tags);
/// Looks the names up in what is known of the item's store, or asks the item where that is null.
HRESULT LookUpNames(IMAPIProp* item, std::span<const base::EName> names, ULONG* tags, CNames* known);

class CNamedValues {
  public:
    static constexpr size_t kMost = 4;

    /// At most kMost names. known: of the item's store, or null.
    CNamedValues(IMAPIProp* item, std::span<const base::EName> names, CNames* known);

    /// Result of the look-up of the names; the values are read only after S_OK.
    HRESULT Lookup() const { return m_lookup; }
    /// Result of reading the values; S_OK even when single ones could not be read.
    HRESULT Read() const { return m_read; }
    /// Whether the store knows the name.
    bool IsKnown(size_t i) const { return m_tags[i] != 0; }
    /// S_OK for a value that is there or missing; why it could not be read otherwise.
    SCODE Error(size_t i) const;
    /// The value, of exactly the name's type; null when it is missing or could not be read. Owned by this.
    const SPropValue* Find(size_t i) const;
    /// What the store gave for it, whatever it is; null where nothing was read.
    const SPropValue* Given(size_t i) const { return m_found[i]; }

  private:
    HRESULT ReadAll(IMAPIProp* item);

    ULONG m_tags[kMost] = {};               // 0: never held
    const SPropValue* m_found[kMost] = {};  // into m_values; null: not read
    store::MapiBuffer<SPropValue> m_values;
    HRESULT m_lookup;
    HRESULT m_read;
};

}  // namespace compare
