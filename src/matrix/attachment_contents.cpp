#include "matrix/attachment_contents.h"

#include <mapiguid.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <span>

#include "base/mapi_extra.h"
#include "log/CPlatformCalls.h"
#include "matrix/attachment_list.h"
#include "store/properties.h"
#include "store/streams.h"

namespace matrix {

using logging::CPlatformCalls;
using store::ComPtr;
using store::CTagList;
using store::MapiBuffer;

namespace {

constexpr ULONG kChunk = 0x4000;

/// Where an attachment's data may be, in the order in which it is looked for.
struct TDataPlace {
    ULONG tag;
    const IID* iid;
};
const TDataPlace kByValue[] = {{PR_ATTACH_DATA_BIN, &IID_IStream}};
const TDataPlace kOle[] = {{PR_ATTACH_DATA_OBJ, &IID_IStreamDocfile},
                           {PR_ATTACH_DATA_BIN, &IID_IStreamDocfile},
                           {PR_ATTACH_DATA_OBJ, &IID_IStream}};

bool OpenData(CPlatformCalls& calls, IAttach* attachment, std::span<const TDataPlace> places,
              ComPtr<IStream>& stream) {
    HRESULT hr = S_OK;
    for (const TDataPlace& place : places) {
        hr = attachment->OpenProperty(place.tag, place.iid, 0, 0, store::OutUnknown(stream));
        if (hr == S_OK && !stream) hr = MAPI_E_CALL_FAILED;
        if (hr == S_OK) return true;
    }
    return calls(hr, "OpenProperty returned 0x%x\n");
}

/// Fills the chunk as far as the stream goes: a stream may give less than it has.
bool ReadChunk(CPlatformCalls& calls, IStream* stream, BYTE (&chunk)[kChunk], ULONG& count) {
    for (count = 0; stream && count < kChunk;) {
        ULONG read = 0;
        if (!calls(store::ReadStream(stream, chunk + count, kChunk - count, &read),
                   "pStream->Read returned 0x%x\n")) {
            return false;
        }
        if (read == 0) break;
        count += read;
    }
    return true;
}

/// A null stream is an empty one.
bool SameStreams(CPlatformCalls& calls, IStream* stream1, IStream* stream2) {
    BYTE chunk1[kChunk], chunk2[kChunk];
    ULONG count1, count2;
    do {
        if (!ReadChunk(calls, stream1, chunk1, count1) || !ReadChunk(calls, stream2, chunk2, count2) ||
            count1 != count2 || std::memcmp(chunk1, chunk2, count1) != 0) {
            return false;
        }
    } while (count1 == kChunk);
    return true;
}

bool SameData(CPlatformCalls& calls, IAttach* attachment1, IAttach* attachment2,
              std::span<const TDataPlace> places) {
    ComPtr<IStream> stream1, stream2;
    return OpenData(calls, attachment1, places, stream1) && OpenData(calls, attachment2, places, stream2) &&
           SameStreams(calls, stream1.Get(), stream2.Get());
}

/// Reads the tags of an object; the text is the first of them that has one.
template <size_t N>
bool ReadText(CPlatformCalls& calls, IMAPIProp* object, CTagList<N>& tags, MapiBuffer<SPropValue>& values,
              const wchar_t*& text) {
    ULONG count = 0;
    const HRESULT hr = store::GetPropValues(object, tags, &count, store::Out(values));
    if (!store::IsReadSuccess(hr)) return calls(hr, "Quorvel_GetPropValues returned 0x%x\n");
    text = FirstText(values.get(), std::min(count, ULONG{N}));
    return text != nullptr;
}

bool SamePaths(CPlatformCalls& calls, IAttach* attachment1, IAttach* attachment2) {
    CTagList tags(PR_ATTACH_LONG_PATHNAME_W, PR_ATTACH_PATHNAME_W);
    MapiBuffer<SPropValue> values1, values2;
    const wchar_t *path1, *path2;
    return ReadText(calls, attachment1, tags, values1, path1) &&
           ReadText(calls, attachment2, tags, values2, path2) &&
           CompareStringOrdinal(path1, -1, path2, -1, TRUE) == CSTR_EQUAL;
}

bool SameEmbedded(CPlatformCalls& calls, IAttach* attachment1, IAttach* attachment2) {
    constexpr char kBodyFailed[] = "OpenProperty(PR_BODY,IStream) returned 0x%x\n";
    ComPtr<IMessage> item1, item2;
    CTagList subject(PR_SUBJECT_W);
    MapiBuffer<SPropValue> values1, values2;
    const wchar_t *subject1, *subject2;
    ComPtr<IStream> body1, body2;
    const auto open = [&](IAttach* attachment, ComPtr<IMessage>& item) {
        return calls.Gives(
            item, attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, store::OutUnknown(item)),
            "OpenProperty(PR_ATTACH_DATA_OBJ,IMessage) returned 0x%x\n");
    };
    return open(attachment1, item1) && open(attachment2, item2) &&
           ReadText(calls, item1.Get(), subject, values1, subject1) &&
           ReadText(calls, item2.Get(), subject, values2, subject2) && wcscmp(subject1, subject2) == 0 &&
           calls(store::OpenStream(item1.Get(), PR_BODY_W, body1), kBodyFailed) &&
           calls(store::OpenStream(item2.Get(), PR_BODY_W, body2), kBodyFailed) &&
           SameStreams(calls, body1.Get(), body2.Get());
}

}  // namespace

bool SameContents(const char* routine, IAttach* attachment1, IAttach* attachment2, long method) {
    CPlatformCalls calls(routine);
    switch (static_cast<ULONG>(method)) {
        case ATTACH_BY_VALUE:
            return SameData(calls, attachment1, attachment2, kByValue);
        case ATTACH_OLE:
            return SameData(calls, attachment1, attachment2, kOle);
        case ATTACH_EMBEDDED_MSG:
            return SameEmbedded(calls, attachment1, attachment2);
        case ATTACH_BY_REFERENCE:
        case ATTACH_BY_REF_RESOLVE:
        case ATTACH_BY_REF_ONLY:
        case ATTACH_BY_WEBREFERENCE:
            return SamePaths(calls, attachment1, attachment2);
        default:
            return false;
    }
}

}  // namespace matrix
