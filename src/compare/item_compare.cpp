#include "compare/item_compare.h"

#include <cstring>
#include <string_view>

#include "base/mapi_extra.h"
#include "compare/value_operations.h"
#include "log/CPlatformCalls.h"
#include "store/checked_calls.h"
#include "store/sessions.h"
#include "store/streams.h"

namespace compare {

using logging::CPlatformCalls;
using logging::g_Log;
using store::ComPtr;
using store::MapiBuffer;

namespace {

/// The item's entry-identifier text for a message; empty when it cannot be read.
class CEntryIdOf {
  public:
    explicit CEntryIdOf(IMessage* item) : m_text(store::EntryID2Str(item)) {}
    const char* Text() const { return m_text ? m_text.get() : ""; }

  private:
    MapiBuffer<char> m_text;
};

}  // namespace

HRESULT CountProps(IMessage* item, SPropTagArray* tags, long* filled, ULONG* sizes) {
    constexpr char tag[] = "Quorvel_CountProps";
    *filled = 0;
    if (!tags) return -1;
    MapiBuffer<SPropValue> values;
    ULONG count = 0;
    const HRESULT hr = store::GetProps(item, tags, &count, values);
    if (!store::IsReadSuccess(hr)) {
        g_Log.Error(tag, "lpItem->GetProps returned 0x%x, EntryID = %s\n", static_cast<unsigned>(hr),
                    CEntryIdOf(item).Text());
        return hr;
    }
    if (tags->cValues != count) {
        g_Log.Error(tag, "lpPropTags->cValues != nValues\n");
        count = count < tags->cValues ? count : tags->cValues;  // sizes has room for the tags asked for
    }
    CountProps2(values.get(), count, filled, sizes);
    return hr;
}

HRESULT CountStreamProps(IMessage* item, SPropTagArray* tags, long* filled, ULONG* sizes) {
    *filled = 0;
    if (!tags) return -1;
    HRESULT hr = S_OK;
    for (ULONG i = 0; i < tags->cValues; ++i) {
        int empty = 1;
        hr = store::StreamPropEmpty(item, tags->aulPropTag[i], &empty, sizes ? &sizes[i] : nullptr);
        if (!empty) ++*filled;
    }
    return hr;
}

namespace {

constexpr ULONG kChunk = 512;

/// One side of a stream comparison: its stream, none for a missing property, and the chunk read last.
struct TStreamSide {
    ComPtr<IStream> stream;
    // Room for a terminator, which an odd number of bytes puts across two wide characters.
    alignas(wchar_t) BYTE bytes[kChunk + 4];
    ULONG count = 0;

    const wchar_t* Wide() const { return reinterpret_cast<const wchar_t*>(bytes); }

    HRESULT Read() {
        count = 0;
        const HRESULT hr = stream ? store::ReadStream(stream.Get(), bytes, kChunk, &count) : S_OK;
        std::memset(bytes + count, 0, sizeof(bytes) - count);
        return hr;
    }

    /// Nothing to compare at a property's start: no bytes, or a text that begins with its terminator.
    bool StartsEmpty(ULONG type) const {
        if (type == PT_UNICODE) return Wide()[0] == 0;
        if (type == PT_STRING8) return bytes[0] == 0;
        return count == 0;
    }
};

int CompareChunkBytes(const TStreamSide& a, const TStreamSide& b) {
    const ULONG common = a.count < b.count ? a.count : b.count;
    const int order = common == 0 ? 0 : std::memcmp(a.bytes, b.bytes, common);
    return order != 0 ? order : (a.count > b.count) - (a.count < b.count);
}

}  // namespace

// 8-bit texts are compared byte for byte like any other stream; only wide ones are compared without regard to
// case.
HRESULT CompareStreamProp(IMessage* item1, ULONG tag1, IMessage* item2, ULONG tag2, long* result,
                          bool* compared) {
    CPlatformCalls calls("Quorvel_CompareStreamProp");
    const ULONG type = PROP_TYPE(tag1);
    *compared = false;

    TStreamSide side1, side2;
    HRESULT hr = store::OpenStream(item1, tag1, side1.stream);
    if (hr != S_OK) {
        g_Log.Error(calls.tag, "lpMessage1->OpenProperty returned 0x%x, EntryID = %s\n",
                    static_cast<unsigned>(hr), CEntryIdOf(item1).Text());
        return hr;
    }
    hr = store::OpenStream(item2, tag2, side2.stream);
    if (hr != S_OK) {
        g_Log.Error(calls.tag, "lpMessage2->OpenProperty returned 0x%x, EntryID = %s\n",
                    static_cast<unsigned>(hr), CEntryIdOf(item2).Text());
        return hr;
    }

    for (bool first = true;; first = false) {
        if (!calls(side1.Read(), "pStream1->Read returned 0x%x\n") ||
            !calls(side2.Read(), "pStream2->Read returned 0x%x\n")) {
            return calls.result;
        }
        if (first && (side1.StartsEmpty(type) || side2.StartsEmpty(type))) return calls.result;
        // Byte by byte first: equal streams mostly are so, and the system's comparison is slow.
        int order = CompareChunkBytes(side1, side2);
        if (order != 0 && type == PT_UNICODE) order = lstrcmpiW(side1.Wide(), side2.Wide());
        if (order != 0 || side1.count == 0 || side2.count == 0) {
            *result = order;
            *compared = true;
            return calls.result;
        }
    }
}

// Block by block, as they are compared. A comparison ends where one of the streams does, and a block of the other
// may be equal to none at all there: a stream with such a block equals some that are not equal to each other.
CHash HashStreamProp(IMessage* item, ULONG tag, CTextHash& texts) {
    const ULONG type = PROP_TYPE(tag);
    TStreamSide side;
    if (store::OpenStream(item, tag, side.stream) != S_OK || side.Read() != S_OK || side.StartsEmpty(type))
        return std::nullopt;
    const CHash none = texts.Hash(L"", cmExact);
    uint64_t hash = 0;
    while (side.count != 0) {
        const CHash block = type == PT_UNICODE
                                ? texts.Hash(side.Wide(), cmExact)
                                : CHash(std::hash<std::string_view>()(
                                      {reinterpret_cast<const char*>(side.bytes), side.count}));
        // Hyphens alone hash as nothing does, and are not equal to it.
        if (!block || (type == PT_UNICODE && block == none && lstrcmpiW(side.Wide(), L"") == 0))
            return std::nullopt;
        hash = (hash ^ *block) * 0x9E3779B97F4A7C15u;
        hash ^= hash >> 29;
        if (side.Read() != S_OK) return std::nullopt;
    }
    return hash;
}

}  // namespace compare
