#include "store/streams.h"

#include <mapidefs.h>
#include <mapitags.h>

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "log/CPlatformCalls.h"
#include "store/checked_calls.h"
#include "store/sessions.h"

namespace store {

using logging::CPlatformCalls;

namespace {

bool SizeOf(CPlatformCalls& calls, IStream* stream, ULONG& size) {
    STATSTG stat = {};
    if (!calls(stream->Stat(&stat, STATFLAG_NONAME), "pStream->Stat returned 0x%x\n")) return false;
    size = stat.cbSize.LowPart;
    return true;
}

/// Whether the text that starts with these characters counts as empty. Line breaks alone make only a body
/// empty.
template <typename Char>
bool IsEmptyText(const Char* start, bool isBody) {
    constexpr Char blankLine[] = {' ', '\r', '\n', 0};
    const auto startsLike = [start](const Char* text, const Char* end) {
        return std::equal(text, end, start);
    };
    return *start == 0 || (isBody && (startsLike(blankLine, std::end(blankLine)) ||
                                      startsLike(blankLine + 1, std::end(blankLine))));
}

}  // namespace

HRESULT OpenStream(IMAPIProp* object, ULONG tag, ComPtr<IStream>& stream) {
    const HRESULT hr = object->OpenProperty(tag, &IID_IStream, 0, 0, OutUnknown(stream));
    if (hr != S_OK) stream.Reset();
    return hr == MAPI_E_NOT_FOUND ? S_OK : hr;
}

HRESULT GetStreamPropValue(IMAPIProp* object, ULONG tag, void** buffer, ULONG* count, int addTerminator) {
    CPlatformCalls calls("Quorvel_GetStreamPropValue");
    *buffer = nullptr;
    *count = 0;
    ComPtr<IStream> stream;
    ULONG size = 0;
    if (!calls(OpenStream(object, tag, stream), "lpMapiProp->OpenProperty returned 0x%x\n") || !stream ||
        !SizeOf(calls, stream.Get(), size) || size == 0) {
        return calls.result;
    }
    MapiBuffer<BYTE> data;
    ULONG read = 0;
    const uint64_t terminator = addTerminator ? sizeof(wchar_t) : 0;
    if (!calls(Allocate(size + terminator, data), "MAPIAllocateBuffer returned 0x%x\n") ||
        !calls(ReadStream(stream.Get(), data.get(), size, &read), "pStream1->Read returned 0x%x\n")) {
        return calls.result;
    }
    if (addTerminator) {
        std::memset(data.get() + read, 0, sizeof(wchar_t));
        std::memset(data.get() + size, 0, sizeof(wchar_t));
    }
    *count = read;
    *buffer = data.release();
    return calls.result;
}

size_t EndText(char* text, ULONG bytes) {
    text[bytes] = 0;
    return std::strlen(text);
}

size_t EndText(wchar_t* text, ULONG bytes) {
    text[bytes / sizeof(wchar_t)] = 0;
    return std::wcslen(text);
}

HRESULT StreamPropSize(IMAPIProp* object, ULONG tag, ULONG* size) {
    CPlatformCalls calls("Quorvel_StreamPropSize");
    *size = 0;
    ComPtr<IStream> stream;
    if (calls(OpenStream(object, tag, stream), "lpMapiProp->OpenProperty returned 0x%x\n") && stream) {
        SizeOf(calls, stream.Get(), *size);
    }
    return calls.result;
}

HRESULT StreamPropEmpty(IMessage* item, ULONG tag, int* empty, ULONG* size, TStreamStart* start) {
    CPlatformCalls calls("Quorvel_StreamPropEmpty");
    constexpr ULONG kTested = 256;
    const ULONG most = start ? TStreamStart::kMost : kTested;
    TStreamStart own;
    if (!start) start = &own;
    start->count = 0;
    *empty = 1;
    if (size) *size = 0;
    if (const HRESULT hr = OpenStream(item, tag, start->stream); hr != S_OK) {
        calls(hr, "lpMessage->OpenProperty returned 0x%x, EntryID = %s\n",
              base::OrEmpty(EntryID2Str(item).get()));
        return hr;
    }
    if (!start->stream) return S_OK;

    ULONG wholeSize = 0;
    if ((size && !SizeOf(calls, start->stream.Get(), wholeSize)) ||
        !calls(ReadStream(start->stream.Get(), start->bytes, most, &start->count),
               "pStream->Read returned 0x%x\n")) {
        return calls.result;
    }
    std::memset(start->bytes + start->count, 0, sizeof(start->bytes) - TStreamStart::kMost);
    switch (PROP_TYPE(tag)) {
        case PT_UNICODE:
            *empty = IsEmptyText(reinterpret_cast<const wchar_t*>(start->bytes), tag == PR_BODY_W);
            break;
        case PT_STRING8:
            *empty = IsEmptyText(start->bytes, tag == PR_BODY_A);
            break;
        default:
            *empty = start->count > 0;
    }
    if (size && !*empty) *size = wholeSize;
    return calls.result;
}

}  // namespace store
