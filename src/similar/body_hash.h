#pragma once
// A hash of long texts, to tell them apart without keeping them.

#include <windows.h>

namespace similar {

/// Paul Hsieh's SuperFastHash over 16-bit units: a step takes two of them, an odd last one the tail of two
/// bytes, and the initial value is the number of units. 0 for an empty text.
ULONG BodyHash(const wchar_t* text, size_t length);

}  // namespace similar
