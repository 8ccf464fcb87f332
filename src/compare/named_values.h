#pragma once
// Reading a few named properties of an item: one look-up of all names, one read of all values.
//
// A store that never held a name, and an item without the property, both make the value missing; neither is a
// failure. Nothing is logged here: the routine that reads knows its own lines.

#include <span>
#include <vector>

#include "store/resources.h"

struct NamedProperty {
    long id;              // numeric name; 0: the name is a text
    const wchar_t* name;  // textual name, used when id is 0
    ULONG type;           // PT_* to read it as
};

/// Tag of one named property with its type; *tag is 0 when the store never held the name. The platform's
/// result on failure.
HRESULT LookUpName(IMAPIProp* item, const GUID& set, const NamedProperty& property, ULONG* tag);

/// Tags of the named properties of one store. A name keeps its tag for the life of a store, so it is looked up
/// once; one that the store does not hold yet is asked for again.
class CKnownNames {
  public:
    /// As LookUpName, for a numeric name.
    HRESULT LookUp(IMAPIProp* item, const GUID& set, const NamedProperty& property, ULONG* tag);
    /// The property id of a numeric name that was looked up; 0 for one that is not known.
    ULONG Find(const GUID& set, long id) const;

  private:
    struct Known {
        GUID set;
        long id;
        ULONG propId;
    };
    std::vector<Known> m_known;
};

class NamedValues {
  public:
    static constexpr size_t kMost = 4;

    /// set: a property set in registry form. At most kMost properties.
    NamedValues(IMAPIProp* item, const char* set, std::span<const NamedProperty> properties);

    /// Result of the look-up of the names; the values are read only after S_OK.
    HRESULT Lookup() const { return m_lookup; }
    /// Result of reading the values; S_OK even when single ones could not be read.
    HRESULT Read() const { return m_read; }
    /// S_OK for a value that is there or missing; why it could not be read otherwise.
    SCODE Error(size_t i) const;
    /// The value, of exactly the type asked for; null when it is missing or could not be read. Owned by this.
    const SPropValue* Find(size_t i) const;

  private:
    HRESULT LookUp(IMAPIProp* item, const char* set, std::span<const NamedProperty> properties);
    HRESULT ReadAll(IMAPIProp* item);

    ULONG m_tags[kMost] = {};               // 0: never held
    const SPropValue* m_found[kMost] = {};  // into m_values; null: not read
    MapiBuffer<SPropValue> m_values;
    HRESULT m_lookup;
    HRESULT m_read;
};
