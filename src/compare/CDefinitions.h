#pragma once
// An engine's own copy of property definitions, texts included. 8-bit text types become wide ones: values are
// always read and compared wide.

#include <optional>
#include <string>
#include <vector>

#include "quorvel.h"

namespace compare {

class CDefinitions {
  public:
    CDefinitions() = default;
    CDefinitions(const CDefinitions& other);
    CDefinitions& operator=(const CDefinitions& other);
    CDefinitions(CDefinitions&&) noexcept = default;
    CDefinitions& operator=(CDefinitions&&) noexcept = default;

    void Add(const TComparyProp& definition);

    int Count() const { return static_cast<int>(m_entries.size()); }
    TComparyProp& operator[](int index) { return m_entries[static_cast<size_t>(index)]; }
    const TComparyProp& operator[](int index) const { return m_entries[static_cast<size_t>(index)]; }
    /// The entries as the list that the property functions take; valid until the next Add.
    TComparyProps List() { return {Count(), m_entries.data()}; }

  private:
    struct TTexts {
        std::optional<std::wstring> key, name, id;
        std::optional<std::string> guid;
    };

    void PointToTexts();

    std::vector<TTexts> m_texts;
    std::vector<TComparyProp> m_entries;
};

/// Whether the definition's property set is this one; letter case does not count.
bool IsInSet(const TComparyProp& definition, const char* set);
/// Whether the definition names a derived property: nID is its number.
bool IsDerived(const TComparyProp& definition);
/// The key and the name as they are printed.
const wchar_t* KeyOf(const TComparyProp& definition);
const wchar_t* NameOf(const TComparyProp& definition);

}  // namespace compare
