#pragma once
// Properties read through a stream: whole, by size, by emptiness. A property that does not exist is not an
// error: it reads as empty, with result 0. Sizes are in bytes and 32-bit; a larger stream counts by its low
// 32 bits.

#include "store/resources.h"

namespace store {

/// The stream of a property and its first bytes; no stream: the property is missing.
struct TStreamStart {
    static constexpr ULONG kMost = 513;

    ComPtr<IStream> stream;
    alignas(wchar_t) char bytes[kMost + 4];  // zeros follow what was read: a terminator of any width
    ULONG count = 0;
};

/// The whole stream in one read, a block of MAPIAllocateBuffer; null and 0 for an empty or missing one. With
/// addTerminator two zero bytes follow the data, not counted. A short read leaves *count as read.
HRESULT GetStreamPropValue(IMAPIProp* object, ULONG tag, void** buffer, ULONG* count, int addTerminator);
/// Ends a text that was read with a terminator behind its last whole character, and gives its length, which
/// is less when it holds a zero.
size_t EndText(char* text, ULONG bytes);
size_t EndText(wchar_t* text, ULONG bytes);
/// The size alone; nothing is read.
HRESULT StreamPropSize(IMAPIProp* object, ULONG tag, ULONG* size);
/// Emptiness from the first 256 bytes. A text is empty when its first character is a zero; a plain-text body
/// also when it is one line break, with or without a blank before it. Any other type, inverted, is empty (1)
/// when it holds a byte, as callers rely on; a missing property is empty (1). size may be null; it is 0
/// whenever the verdict is empty, and on failure empty is 1 and size 0.
/// start, when given, gets the stream and as many of its first bytes as it holds.
HRESULT StreamPropEmpty(IMessage* item, ULONG tag, int* empty, ULONG* size, TStreamStart* start = nullptr);
/// Opens a property's stream for reading. S_OK with a null stream when the property is missing.
HRESULT OpenStream(IMAPIProp* object, ULONG tag, ComPtr<IStream>& stream);

}  // namespace store
