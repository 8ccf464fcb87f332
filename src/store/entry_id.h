#pragma once
// Entry identifiers as text (two upper-case hexadecimal digits a byte), in blocks of MAPIAllocateBuffer. The
// conversions over a caller's buffer are in log/identifier_text.h.

#include "store/resources.h"

namespace store {

/// New text of 2 * count + 1 bytes, or null when the platform has no memory.
MapiBuffer<char> EntryIdToText(const void* bytes, size_t count);

/// A binary entry identifier and its byte count.
struct TEntryId {
    MapiBuffer<ENTRYID> bytes;
    ULONG count = 0;
};
/// Half as many bytes as the text has characters (an odd last digit is ignored; a null text is an empty one).
/// bytes is null only when the platform has no memory: callers stop there, since a null identifier names a
/// root.
TEntryId TextToEntryId(const char* text);

}  // namespace store
