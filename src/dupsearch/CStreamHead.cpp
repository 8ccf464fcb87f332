#include "dupsearch/CStreamHead.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "store/mapi_extra.h"

CStreamHead::CStreamHead(const store::TStreamStart& start, Buffer& buffer) : m_count(start.count) {
    constexpr ULONG kRead = store::TStreamStart::kMost;
    if (!start.stream || m_count > kRead) return;
    std::memcpy(buffer.bytes, start.bytes, m_count);
    const auto readOn = [&](ULONG most, ULONG& read) {
        return start.stream->Read(buffer.bytes + m_count, most, &read) == S_OK && read <= most;
    };
    ULONG read = 0;
    // A byte more tells that something follows; only a read of nothing tells that nothing does.
    if (m_count == kRead) {
        if (!readOn(kChunk - kRead + 1, read)) return;
        m_count += read;
    }
    if (m_count <= kChunk) {
        if (!readOn(1, read)) return;
        m_whole = read == 0;
    } else {
        m_count = kChunk;
    }
    std::memset(buffer.bytes + m_count, 0, sizeof(buffer.bytes) - m_count);
    m_bytes = buffer.bytes;
}

CStreamHead CStreamHead::Kept(std::pmr::memory_resource& memory) const {
    CStreamHead kept = *this;
    if (!m_bytes) return kept;
    const size_t size = m_count + sizeof(Buffer) - kChunk;
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
