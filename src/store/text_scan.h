#pragma once
// Texts sixteen bytes at a time, where the system's functions go through them character by character.
//
// A load may go past the end of a text but never leaves its page: memory is there by whole pages.

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>

namespace scan {

/// Characters that are looked at together.
template <typename Char>
inline constexpr unsigned kUnits = sizeof(__m128i) / sizeof(Char);
/// The bits of a comparison that holds for all of them.
inline constexpr unsigned kAllBits = 0xFFFF;

/// Whether as many characters from here on lie in one page.
inline bool IsInPage(const void* text) {
    constexpr uintptr_t kPage = 4096;
    return reinterpret_cast<uintptr_t>(text) % kPage <= kPage - sizeof(__m128i);
}

inline __m128i Load(const void* text) {
    return _mm_loadu_si128(static_cast<const __m128i*>(text));
}

/// A bit for each byte of a comparison's result.
inline unsigned Bits(__m128i compared) {
    return static_cast<unsigned>(_mm_movemask_epi8(compared));
}

/// How many characters stand before the first that has not all its bits.
template <typename Char>
unsigned Leading(unsigned bits) {
    return static_cast<unsigned>(std::countr_one(bits)) / unsigned{sizeof(Char)};
}

/// The bits of terminators.
template <typename Char>
unsigned Ends(__m128i units) {
    const __m128i zero = _mm_setzero_si128();
    return Bits(sizeof(Char) == 1 ? _mm_cmpeq_epi8(units, zero) : _mm_cmpeq_epi16(units, zero));
}

/// Characters before the terminator.
template <typename Char>
size_t Length(const Char* text) {
    const Char* end = text;
    for (;;) {
        if (!IsInPage(end)) {
            if (*end == 0) break;
            ++end;
            continue;
        }
        const unsigned ends = Ends<Char>(Load(end));
        end += Leading<Char>(~ends & kAllBits);
        if (ends != 0) break;
    }
    return static_cast<size_t>(end - text);
}

/// Whether two texts are the same letter for letter.
inline bool AreIdentical(const wchar_t* a, const wchar_t* b) {
    for (;;) {
        if (!IsInPage(a) || !IsInPage(b)) {
            if (*a != *b) return false;
            if (*a == 0) return true;
            ++a;
            ++b;
            continue;
        }
        const __m128i units = Load(a);
        const unsigned same = Bits(_mm_cmpeq_epi16(units, Load(b)));
        const unsigned ends = Ends<wchar_t>(units);
        if (ends != 0 || same != kAllBits) {
            // Up to the terminator of the one, and with it.
            return ends != 0 && Leading<wchar_t>(same) > Leading<wchar_t>(~ends & kAllBits);
        }
        a += kUnits<wchar_t>;
        b += kUnits<wchar_t>;
    }
}

}  // namespace scan
