#pragma once
// The first chunk of a stream, kept so that most comparisons with it need no second opening of its item.

#include <string>

#include "compare/text_hash.h"
#include "store/resources.h"

class CStreamHead {
  public:
    /// Reads the chunk as a comparison of streams does. Writes no line: what cannot be read here is left
    /// unknown, and the comparison itself says why.
    void Read(IMessage* item, ULONG tag);
    /// Heads that compare equal have the same hash; none where a head decides nothing.
    std::optional<uint64_t> Hash(ULONG tag, CTextHash& texts) const;

    /// The comparison of two streams from their heads alone: true when these decide.
    static bool Compare(const CStreamHead& a, const CStreamHead& b, ULONG tag, int* order);

  private:
    static constexpr ULONG kChunk = 512;

    const wchar_t* Wide() const { return reinterpret_cast<const wchar_t*>(m_bytes.data()); }
    bool StartsEmpty(ULONG type) const;

    std::string m_bytes;  // padded with zero bytes, so that it ends in a terminator of any width
    ULONG m_count = 0;
    bool m_known = false;
    bool m_whole = false;  // nothing follows
};
