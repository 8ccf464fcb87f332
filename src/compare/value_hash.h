#pragma once
// Hashes of property values that respect their comparison.

#include "compare/text_hash.h"

namespace compare {

/// Values of one type that ComparePropValues finds equal under the method have the same hash. None for a
/// value whose equals no hash can tell: of a type or method under which comparisons are tolerant, contradict
/// each other or write lines.
CHash HashValue(const SPropValue& value, ECompareMethod method, CTextHash& texts);

/// The same for a text alone; none under a method that is not for texts.
CHash HashText(const wchar_t* text, ECompareMethod method, CTextHash& texts);

}  // namespace compare
