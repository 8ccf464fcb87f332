#pragma once
// Keys of texts, for both engines: two texts have the same key exactly where LPCWSTR_Compare finds them equal
// under cmExact, and keys stand byte by byte in the order of their texts.
//
// A key is the system's sort key, made once, at the cost of about five comparisons: the weights of the letters
// up to a byte 1, then what tells accents and punctuation apart. The system puts a byte 1 among the weights of
// some characters that stand for a letter with a mark (U+FB2A), though it compares such a character as it does
// letter and mark; it is taken apart first. Keys are good within one process, for as long as the thread's locale
// stays.

#include <cstddef>
#include <vector>

namespace compare {

/// Appends the key of a text to arena and returns its size in bytes. 0, and arena as it was, when there is none:
/// compare the texts themselves then.
size_t AppendSortKey(const wchar_t* text, std::vector<unsigned char>& arena);

/// Where the weights of the letters end in a key.
inline constexpr unsigned char kEndOfWeights = 1;

}  // namespace compare
