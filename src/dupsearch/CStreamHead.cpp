#include "dupsearch/CStreamHead.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "base/mapi_extra.h"
#include "store/checked_calls.h"

namespace dupsearch {

using compare::CHash;
using compare::CTextHash;

namespace {
constexpr size_t kTerminator = 4;  // bytes: of any width, behind an odd number of others
constexpr unsigned kLastAscii = 0x7F;
}  // namespace

CStreamHead::CStreamHead(store::TStreamStart& start) {
    static_assert(store::TStreamStart::kMost == kChunk + 1);
    if (!start.stream) return;
    ULONG more = 1;
    // A byte more tells that something follows; only a read of nothing tells that nothing does.
    char next;
    if (start.count <= kChunk && store::ReadStream(start.stream.Get(), &next, 1, &more) != S_OK) return;
    m_nCount = std::min(start.count, kChunk);
    m_bWhole = more == 0;
    std::memset(start.bytes + m_nCount, 0, kTerminator);
    m_pBytes = start.bytes;
}

/// Writes the text and its terminator, a byte for each character; false when one of them needs two.
bool CStreamHead::NarrowInto(char* out) const {
    const size_t count = Units();
    constexpr size_t kStep = sizeof(__m128i) / sizeof(wchar_t);
    __m128i seen = _mm_setzero_si128();
    size_t i = 0;
    for (; i + kStep <= count; i += kStep) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(Wide() + i));
        seen = _mm_or_si128(seen, units);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(units, units));
    }
    unsigned rest = 0;
    for (; i < count; ++i) {
        rest |= Wide()[i];
        out[i] = static_cast<char>(Wide()[i]);
    }
    out[count] = 0;
    const __m128i beyond = _mm_and_si128(seen, _mm_set1_epi16(static_cast<short>(~kLastAscii)));
    return rest <= kLastAscii && _mm_movemask_epi8(_mm_cmpeq_epi8(beyond, _mm_setzero_si128())) == 0xFFFF;
}

const wchar_t* CStreamHead::Wide(wchar_t (&units)[kMostUnits + 1]) const {
    if (!m_bNarrow) return Wide();
    std::copy_n(m_pBytes, Units() + 1, units);
    return units;
}

CStreamHead CStreamHead::Kept(ULONG tag, std::pmr::memory_resource& memory) const {
    CStreamHead kept = *this;
    if (!m_pBytes) return kept;
    char narrow[kMostUnits + 1];
    kept.m_bNarrow = PROP_TYPE(tag) == PT_UNICODE && NarrowInto(narrow);
    const size_t size = kept.m_bNarrow ? Units() + 1 : m_nCount + kTerminator;
    void* const bytes = memory.allocate(size, alignof(wchar_t));
    kept.m_pBytes = static_cast<const char*>(std::memcpy(bytes, kept.m_bNarrow ? narrow : m_pBytes, size));
    return kept;
}

bool CStreamHead::StartsEmpty(ULONG type) const {
    if (type == PT_UNICODE) return m_bNarrow ? m_pBytes[0] == 0 : Wide()[0] == 0;
    if (type == PT_STRING8) return m_pBytes[0] == 0;
    return m_nCount == 0;
}

CHash CStreamHead::Hash(ULONG tag, CTextHash& texts) const {
    const ULONG type = PROP_TYPE(tag);
    if (!m_pBytes || StartsEmpty(type)) return std::nullopt;
    if (type == PT_UNICODE) return texts.Hash(Wide(), cmExact);
    return std::hash<std::string_view>()({m_pBytes, m_nCount});
}

bool CStreamHead::Compare(const CStreamHead& a, const CStreamHead& b, ULONG tag, int* order) {
    const ULONG type = PROP_TYPE(tag);
    if (!a.m_pBytes || !b.m_pBytes || a.StartsEmpty(type) || b.StartsEmpty(type)) return false;
    if (type == PT_UNICODE) {
        wchar_t unitsOfA[kMostUnits + 1], unitsOfB[kMostUnits + 1];
        *order = lstrcmpiW(a.Wide(unitsOfA), b.Wide(unitsOfB));
    } else {
        *order = std::memcmp(a.m_pBytes, b.m_pBytes, std::min(a.m_nCount, b.m_nCount));
        if (*order == 0) *order = (a.m_nCount > b.m_nCount) - (a.m_nCount < b.m_nCount);
    }
    return *order != 0 || (a.m_bWhole && b.m_bWhole);
}

}  // namespace dupsearch
