#pragma once
// Sort keys of texts: for whoever compares one text many times.
//
// A key is made once (about as dear as five comparisons) and comparing two keys is a comparison of bytes
// (some forty times cheaper than comparing the texts). It gives the sign that LPCWSTR_Compare gives for the
// texts under the same method. Keys are good within one process, for as long as its locale stays.

#include <span>
#include <vector>

#include "quorvel.h"

namespace compare {
using SortKey = std::span<const unsigned char>;

/// Appends the key of a text (null: an empty one) to arena and returns its size in bytes; the key is arena's
/// last so many bytes, none of which is a pointer: the arena may be moved and copied. method is cmExact or
/// cmLast7Digits. 0, and arena as it was, when the system makes no key of the text: compare the texts
/// themselves then.
size_t AppendSortKey(const wchar_t* text, ECompareMethod method, std::vector<unsigned char>& arena);

/// Three-way comparison of two keys made under the same method; 0 when the texts count as equal.
int CompareSortKeys(SortKey a, SortKey b);
}  // namespace compare
