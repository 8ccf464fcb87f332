#pragma once
// The first chunk of a stream, kept so that most comparisons with it need no second opening of its item.
//
// A head is a view: its bytes belong to the start that it was made of or, once it is kept, to the memory that
// keeps it. There a text of ASCII characters alone takes a byte for each.

#include <memory_resource>

#include "compare/text_hash.h"
#include "store/streams.h"

namespace dupsearch {

class CStreamHead {
  public:
    CStreamHead() = default;
    /// The chunk that a comparison of streams reads first. Writes no line: what cannot be read here is left
    /// unknown, and the comparison itself says why.
    explicit CStreamHead(store::TStreamStart& start);

    /// The same head of this property with its bytes in this memory.
    CStreamHead Kept(ULONG tag, std::pmr::memory_resource& memory) const;

    /// Heads that compare equal have the same hash; none where a head decides nothing. For a head that is not
    /// kept yet.
    compare::CHash Hash(ULONG tag, compare::CTextHash& texts) const;

    /// The comparison of two streams from their heads alone: true when these decide.
    static bool Compare(const CStreamHead& a, const CStreamHead& b, ULONG tag, int* order);

  private:
    static constexpr ULONG kChunk = 512;

    static constexpr size_t kMostUnits = kChunk / sizeof(wchar_t);

    const wchar_t* Wide() const { return reinterpret_cast<const wchar_t*>(m_pBytes); }
    /// The text, put into `units` where it takes a byte for each.
    const wchar_t* Wide(wchar_t (&units)[kMostUnits + 1]) const;
    size_t Units() const { return (m_nCount + 1) / sizeof(wchar_t); }
    bool NarrowInto(char* out) const;
    bool StartsEmpty(ULONG type) const;

    const char* m_pBytes = nullptr;  // ends in zero bytes; null: unknown
    ULONG m_nCount = 0;
    bool m_bWhole = false;   // nothing follows
    bool m_bNarrow = false;  // a byte for each character of a wide text
};

}  // namespace dupsearch
