#pragma once
// Sort keys of texts: for whoever compares one text many times.
//
// A key is made once, about as dear as five comparisons. Two keys compare byte by byte as the texts do under
// LPCWSTR_Compare and cmExact. Keys are good within one process, for as long as its locale stays.

#include <cstddef>
#include <vector>

namespace compare {
/// Appends the key of a text to arena and returns its size in bytes. 0, and arena as it was, when the system
/// makes no key of the text: compare the texts themselves then.
size_t AppendSortKey(const wchar_t* text, std::vector<unsigned char>& arena);
}  // namespace compare
