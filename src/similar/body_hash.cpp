#include "similar/body_hash.h"

namespace similar {

ULONG BodyHash(const wchar_t* text, size_t length) {
    if (length == 0) return 0;
    ULONG hash = static_cast<ULONG>(length);
    for (size_t pairs = length / 2; pairs > 0; --pairs, text += 2) {
        hash += text[0];
        const ULONG mixed = (static_cast<ULONG>(text[1]) << 11) ^ hash;
        hash = (hash << 16) ^ mixed;
        hash += hash >> 11;
    }
    if (length % 2 != 0) {
        hash += text[0];
        hash ^= hash << 11;
        hash += hash >> 17;
    }
    hash ^= hash << 3;
    hash += hash >> 5;
    hash ^= hash << 4;
    hash += hash >> 17;
    hash ^= hash << 25;
    hash += hash >> 6;
    return hash;
}

}  // namespace similar
