#include "store/one_mvalue.h"

#include <mapidefs.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <memory_resource>
#include <vector>

#include "log/CPlatformCalls.h"
#include "store/checked_calls.h"

namespace store {

using logging::CPlatformCalls;
using logging::g_Log;

namespace {

constexpr char kRoutine[] = "Quorvel_GetPropValuesInOneMValue";

/// Bytes of one element of a multi-valued value of this single-valued type; 0 when there is no such form.
size_t ElementSize(ULONG type) {
    switch (type) {
        case PT_I2:
            return sizeof(short);
        case PT_LONG:
        case PT_R4:
            return sizeof(LONG);
        case PT_DOUBLE:
        case PT_APPTIME:
        case PT_CURRENCY:
        case PT_SYSTIME:
        case PT_I8:
            return sizeof(LARGE_INTEGER);
        case PT_STRING8:
        case PT_UNICODE:
            return sizeof(void*);
        case PT_BINARY:
            return sizeof(SBinary);
        case PT_CLSID:
            return sizeof(GUID);
        default:
            return 0;
    }
}

bool IsEmpty(const SPropValue& value) {
    switch (PROP_TYPE(value.ulPropTag)) {
        case PT_STRING8:
            return *base::OrEmpty(value.Value.lpszA) == 0;
        case PT_UNICODE:
            return *base::OrEmpty(value.Value.lpszW) == 0;
        case PT_BINARY:
            return value.Value.bin.cb == 0;
        default:
            return false;
    }
}

using Elements = std::pmr::vector<ULONG>;

/// Indexes of the values that become elements, and the type that all found ones share.
HRESULT ChooseElements(const SPropValue* values, ULONG count, Elements& elements, ULONG& type) {
    type = PT_UNSPECIFIED;
    elements.reserve(count);
    for (ULONG i = 0; i < count; i++) {
        const ULONG own = PROP_TYPE(values[i].ulPropTag);
        if (own == PT_ERROR) continue;
        if (type == PT_UNSPECIFIED) type = own;
        if (own != type || ElementSize(own) == 0) {
            g_Log.Error(kRoutine, "sub values must be one type (0x%x != 0x%x)\n", static_cast<unsigned>(type),
                        static_cast<unsigned>(own));
            return MAPI_E_INVALID_TYPE;
        }
        if (!IsEmpty(values[i])) elements.push_back(i);
    }
    return S_OK;
}

/// The block: the value's record, the array of elements, then what the elements refer to.
HRESULT Gather(const SPropValue* values, const Elements& elements, ULONG type,
               MapiBuffer<SPropValue>& block) {
    const size_t elementSize = ElementSize(type);
    uint64_t size = sizeof(SPropValue) + elements.size() * elementSize;
    std::byte few[512];
    std::pmr::monotonic_buffer_resource memory(few, sizeof(few));
    std::pmr::vector<TOutside> parts(&memory);
    parts.reserve(elements.size());
    for (const ULONG i : elements) {
        parts.push_back(OutsideOf(values[i]));
        if (type != PT_CLSID) size += parts.back().size;
    }
    const HRESULT hr = Allocate(size, block);
    if (hr != S_OK) return hr;

    BYTE* const array = reinterpret_cast<BYTE*>(block.get() + 1);
    BYTE* outside = array + elements.size() * elementSize;
    BYTE* element = array;
    for (size_t place = 0; place < parts.size(); ++place) {
        const TOutside& data = parts[place];
        if (type == PT_CLSID) {
            std::memcpy(element, data.data, data.size);
        } else {
            SPropValue copy = values[elements[place]];
            if (data.data) {
                std::memcpy(outside, data.data, data.size);
                if (type == PT_BINARY) {
                    copy.Value.bin.lpb = outside;
                } else {
                    copy.Value.lpszA = reinterpret_cast<char*>(outside);
                }
                outside += data.size;
            }
            std::memcpy(element, &copy.Value, elementSize);
        }
        element += elementSize;
    }
    *block = {};
    block->ulPropTag = PROP_TAG(MV_FLAG | type, 0);
    // Every multi-valued form is a count and a pointer to its elements.
    block->Value.MVl = {static_cast<ULONG>(elements.size()), reinterpret_cast<LONG*>(array)};
    return S_OK;
}

}  // namespace

TOutside OutsideOf(const SPropValue& value) {
    switch (PROP_TYPE(value.ulPropTag)) {
        case PT_STRING8:
            return {value.Value.lpszA, value.Value.lpszA ? std::strlen(value.Value.lpszA) + 1 : 0};
        case PT_UNICODE:
            return {value.Value.lpszW,
                    value.Value.lpszW ? (std::wcslen(value.Value.lpszW) + 1) * sizeof(wchar_t) : 0};
        case PT_BINARY:
            return {value.Value.bin.lpb, value.Value.bin.cb};
        case PT_CLSID:
            return {value.Value.lpguid, sizeof(GUID)};
        default:
            return {};
    }
}

HRESULT GetPropValuesInOneMValue(IMessage* item, SPropTagArray* tags, SPropValue** value, ULONG* sources) {
    CPlatformCalls calls(kRoutine);
    *value = nullptr;
    if (!tags) return -1;
    ULONG count = 0;
    MapiBuffer<SPropValue> values;
    const HRESULT read = GetProps(item, tags, &count, values);
    if (!IsReadSuccess(read)) {
        calls(read, "lpItem->GetProps returned 0x%x\n");
        return read;
    }
    std::byte few[128];
    std::pmr::monotonic_buffer_resource memory(few, sizeof(few));
    Elements elements(&memory);
    ULONG type = PT_UNSPECIFIED;
    const HRESULT chosen = ChooseElements(values.get(), std::min(count, tags->cValues), elements, type);
    if (chosen != S_OK) return chosen;

    MapiBuffer<SPropValue> block;
    if (!calls(elements.empty() ? Allocate(sizeof(SPropValue), block)
                                : Gather(values.get(), elements, type, block),
               "MAPIAllocateBuffer returned 0x%x\n")) {
        return calls.result;
    }
    if (elements.empty()) {
        *block = {};
        block->ulPropTag = PROP_TAG(PT_ERROR, 0);
        block->Value.err = MAPI_E_NOT_FOUND;
    }
    if (sources) std::copy(elements.begin(), elements.end(), sources);
    *value = block.release();
    return read;
}

}  // namespace store
