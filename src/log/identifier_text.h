#pragma once
// Identifiers as text: bytes as upper-case hexadecimal digits, property-set GUIDs in registry form.
// Pure conversions over caller buffers; the forms that allocate are in store/entry_id.h.

#include <windows.h>

namespace logging {

/// Writes 2 * count digits and a terminator into out.
void BytesToHex(const BYTE* bytes, size_t count, char* out);
/// Reads count pairs of digits from text, which holds at least 2 * count characters.
void HexToBytes(const char* text, size_t count, BYTE* out);
/// Value of the first n hexadecimal digits of text. A character that is no digit writes "Hex2DecError\n" to
/// the debugger output, sets what was read so far to 0xFFFFFFFF and reading goes on. n below 1 gives 0.
unsigned long Hex2Dec(const char* text, int n);
/// 1 when text holds 32 hexadecimal digits (anything between them is skipped, the 33rd and later are not
/// read); 0 when it ends before, out is then untouched.
int Str2GUID(const char* text, GUID* out);

}  // namespace logging
