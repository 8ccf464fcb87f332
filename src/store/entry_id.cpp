#include "store/entry_id.h"

#include <algorithm>
#include <cstring>

#include "log/identifier_text.h"

namespace store {

MapiBuffer<char> EntryIdToText(const void* bytes, size_t count) {
    MapiBuffer<char> text;
    if (Allocate(2 * static_cast<uint64_t>(count) + 1, text) == S_OK) {
        logging::BytesToHex(static_cast<const BYTE*>(bytes), count, text.get());
    }
    return text;
}

TEntryId TextToEntryId(const char* text) {
    const size_t count = std::strlen(base::OrEmpty(text)) / 2;
    TEntryId id;
    // An empty text still gets a block: null says that there is no memory.
    if (Allocate(std::max<size_t>(count, 1), id.bytes) == S_OK) {
        logging::HexToBytes(text, count, reinterpret_cast<BYTE*>(id.bytes.get()));
        id.count = static_cast<ULONG>(count);
    }
    return id;
}

}  // namespace store
