#pragma once
// Counting the filled properties of items, and comparing and hashing their streams.

#include "compare/text_hash.h"

namespace compare {

// The exports of the same names (quorvel.h documents them), without their frame.
HRESULT CountProps(IMessage* item, SPropTagArray* tags, long* filled, ULONG* sizes);
HRESULT CountStreamProps(IMessage* item, SPropTagArray* tags, long* filled, ULONG* sizes);
/// One property of two items, by the tag that the store of each has for it.
HRESULT CompareStreamProp(IMessage* item1, ULONG tag1, IMessage* item2, ULONG tag2, long* result,
                          bool* compared);
inline HRESULT CompareStreamProp(IMessage* item1, IMessage* item2, ULONG tag, long* result, bool* compared) {
    return CompareStreamProp(item1, tag, item2, tag, result, compared);
}

/// Streams that CompareStreamProp finds equal have the same hash. None where a comparison would come to no result
/// or write a line. Reads the whole stream and writes nothing.
CHash HashStreamProp(IMessage* item, ULONG tag, CTextHash& texts);

}  // namespace compare
