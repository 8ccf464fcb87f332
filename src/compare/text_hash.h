#pragma once
// Hashes of texts that respect the comparison of texts: for whoever looks a text up among many.
//
// The system's sort key of a text begins with the weights of its letters, up to a byte 1; what follows tells
// accents and punctuation apart. The hash is taken of these weights, those of an ASCII character standing for
// that character. Making a key costs as much as five comparisons, so a text of ASCII characters alone is hashed
// without one. That is right only where no letters sort as a unit; whether a locale has such is found out once,
// and known until the library is unloaded.
//
// Good for as long as the locale stays that the thread had at the construction. Used from one thread at a time;
// several threads may make and use theirs at once.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "quorvel.h"

namespace compare {

/// A hash or none, as an optional number is. Of eight bytes: it travels in a register.
class CHash {
  public:
    CHash() = default;
    CHash(std::nullopt_t) {}
    CHash(uint64_t hash) : m_nHash(hash ? hash : 1) {}

    explicit operator bool() const { return m_nHash != 0; }
    uint64_t operator*() const { return m_nHash; }
    bool operator==(const CHash&) const = default;

  private:
    uint64_t m_nHash = 0;  // none
};

class CTextHash {
  public:
    /// The first one of a locale takes about half a millisecond.
    CTextHash();

    /// Texts (null: an empty one) that LPCWSTR_Compare finds equal have the same hash. method is cmExact or
    /// cmLast7Digits. None when there is no key of the text.
    CHash Hash(const wchar_t* text, ECompareMethod method);

    /// Whether texts of ASCII characters are hashed without a key.
    bool HasWeights() const;

  private:
    struct TWeights;
    class CKnownWeights;

    explicit CTextHash(const TWeights& weights) : m_weights(weights) {}
    static void FindWeights(TWeights& weights);
    /// Whether the characters of a text give the hash that its key gives.
    bool IsHashedAlike(const std::vector<wchar_t>& text);
    /// The weights at the beginning of a text's key; none when there is no key. Good until the next.
    std::optional<std::span<const unsigned char>> WeightsByKey(const wchar_t* text);
    CHash HashByKey(const wchar_t* text);
    /// None for a text that is not all ASCII.
    CHash HashByCharacters(const wchar_t* text) const;

    static CKnownWeights g_known;

    const TWeights& m_weights;         // of the locale
    std::vector<unsigned char> m_key;  // the last one made
};

}  // namespace compare
