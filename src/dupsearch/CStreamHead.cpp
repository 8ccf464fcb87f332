#include "dupsearch/CStreamHead.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "store/mapi_extra.h"

void CStreamHead::Read(IMessage* item, ULONG tag) {
    m_known = false;
    ComPtr<IStream> stream;
    const HRESULT opened =
        item->OpenProperty(tag, &IID_IStream, 0, 0, reinterpret_cast<LPUNKNOWN*>(stream.GetAddressOf()));
    if (opened != S_OK || !stream) return;
    char chunk[kChunk];
    if (stream->Read(chunk, kChunk, &m_count) != S_OK || m_count > kChunk) return;
    char next;
    ULONG more = 0;
    if (stream->Read(&next, 1, &more) != S_OK) return;
    m_bytes.assign(chunk, m_count).append(4, '\0');
    m_whole = more == 0;
    m_known = true;
}

bool CStreamHead::StartsEmpty(ULONG type) const {
    if (type == PT_UNICODE) return Wide()[0] == 0;
    if (type == PT_STRING8) return m_bytes[0] == 0;
    return m_count == 0;
}

std::optional<uint64_t> CStreamHead::Hash(ULONG tag, CTextHash& texts) const {
    const ULONG type = PROP_TYPE(tag);
    if (!m_known || StartsEmpty(type)) return std::nullopt;
    if (type == PT_UNICODE) return texts.Hash(Wide(), cmExact);
    return std::hash<std::string_view>()({m_bytes.data(), m_count});
}

bool CStreamHead::Compare(const CStreamHead& a, const CStreamHead& b, ULONG tag, int* order) {
    const ULONG type = PROP_TYPE(tag);
    if (!a.m_known || !b.m_known || a.StartsEmpty(type) || b.StartsEmpty(type)) return false;
    if (type == PT_UNICODE) {
        *order = lstrcmpiW(a.Wide(), b.Wide());
    } else {
        *order = std::memcmp(a.m_bytes.data(), b.m_bytes.data(), std::min(a.m_count, b.m_count));
        if (*order == 0) *order = (a.m_count > b.m_count) - (a.m_count < b.m_count);
    }
    return *order != 0 || (a.m_whole && b.m_whole);
}
