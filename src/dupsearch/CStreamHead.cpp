#include "dupsearch/CStreamHead.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "store/mapi_extra.h"

namespace {
constexpr size_t kTerminator = 4;  // bytes: of any width, behind an odd number of others
}

CStreamHead::CStreamHead(store::TStreamStart& start) {
    static_assert(store::TStreamStart::kMost == kChunk + 1);
    if (!start.stream) return;
    ULONG more = 1;
    // A byte more tells that something follows; only a read of nothing tells that nothing does.
    char next;
    if (start.count <= kChunk && start.stream->Read(&next, 1, &more) != S_OK) return;
    m_count = std::min(start.count, kChunk);
    m_whole = more == 0;
    std::memset(start.bytes + m_count, 0, kTerminator);
    m_bytes = start.bytes;
}

CStreamHead CStreamHead::Kept(std::pmr::memory_resource& memory) const {
    CStreamHead kept = *this;
    if (!m_bytes) return kept;
    const size_t size = m_count + kTerminator;
    void* const bytes = memory.allocate(size, alignof(wchar_t));
    kept.m_bytes = static_cast<const char*>(std::memcpy(bytes, m_bytes, size));
    return kept;
}

bool CStreamHead::StartsEmpty(ULONG type) const {
    if (type == PT_UNICODE) return Wide()[0] == 0;
    if (type == PT_STRING8) return m_bytes[0] == 0;
    return m_count == 0;
}

std::optional<uint64_t> CStreamHead::Hash(ULONG tag, CTextHash& texts) const {
    const ULONG type = PROP_TYPE(tag);
    if (!m_bytes || StartsEmpty(type)) return std::nullopt;
    if (type == PT_UNICODE) return texts.Hash(Wide(), cmExact);
    return std::hash<std::string_view>()({m_bytes, m_count});
}

bool CStreamHead::Compare(const CStreamHead& a, const CStreamHead& b, ULONG tag, int* order) {
    const ULONG type = PROP_TYPE(tag);
    if (!a.m_bytes || !b.m_bytes || a.StartsEmpty(type) || b.StartsEmpty(type)) return false;
    if (type == PT_UNICODE) {
        *order = lstrcmpiW(a.Wide(), b.Wide());
    } else {
        *order = std::memcmp(a.m_bytes, b.m_bytes, std::min(a.m_count, b.m_count));
        if (*order == 0) *order = (a.m_count > b.m_count) - (a.m_count < b.m_count);
    }
    return *order != 0 || (a.m_whole && b.m_whole);
}
