#include "store/properties.h"

#include <mapidefs.h>
#include <mapitags.h>

#include <cstring>

#include "log/CPlatformCalls.h"
#include "store/attachments.h"
#include "store/streams.h"

namespace store {

using logging::g_Log;

HRESULT GetPropValue(IMAPIProp* object, ULONG tag, SPropValue** value) {
    CTagList tags(tag);
    *value = nullptr;
    ULONG count = 0;
    MapiBuffer<SPropValue> read;
    const HRESULT hr = GetProps(object, tags, &count, read);
    if (!IsReadSuccess(hr)) return hr;
    if (count == 0) return MAPI_E_CALL_FAILED;
    *value = read.release();
    return hr;
}

HRESULT GetPropValues(IMAPIProp* object, SPropTagArray* tags, ULONG* count, SPropValue** values) {
    *count = 0;
    *values = nullptr;
    if (!tags) return -1;
    ULONG found = 0;
    MapiBuffer<SPropValue> read;
    const HRESULT hr = GetProps(object, tags, &found, read);
    if (!IsReadSuccess(hr)) return hr;
    if (tags->cValues != found) {
        g_Log.Warning("Quorvel_GetPropValues", "NumTags(%d) != NumValues(%d)\n",
                      static_cast<int>(tags->cValues), static_cast<int>(found));
    }
    *count = found;
    *values = read.release();
    return hr;
}

HRESULT GetSubjectSize(IMessage* item, int wide, ULONG* size, SPropValue* values, ULONG count) {
    const ULONG tag = wide ? PR_SUBJECT_W : PR_SUBJECT_A;
    *size = 0;
    const SPropValue* subject = nullptr;
    for (ULONG i = 0; values && i < count && !subject; i++) {
        if (values[i].ulPropTag == tag) subject = &values[i];
    }
    MapiBuffer<SPropValue> read;
    if (!subject) {
        const HRESULT hr = GetPropValue(item, tag, Out(read));
        if (!IsReadSuccess(hr)) return hr;
        subject = read.get();
    }
    switch (const ULONG type = PROP_TYPE(subject->ulPropTag)) {
        case PT_ERROR:
            break;
        case PT_STRING8:
            *size = static_cast<ULONG>(std::strlen(base::OrEmpty(subject->Value.lpszA)));
            break;
        case PT_UNICODE:
            *size = static_cast<ULONG>(std::wcslen(base::OrEmpty(subject->Value.lpszW)) * sizeof(wchar_t));
            break;
        default:
            g_Log.Error("Quorvel_GetSubjectSize", "PR_SUBJECT is type=0x%x\n", static_cast<unsigned>(type));
    }
    return S_OK;
}

ULONG GetSubjectBodyAttachmentsSize(IMessage* item, int wide, SPropValue* values, ULONG count) {
    ULONG subject = 0, body = 0, attachments = 0;
    GetSubjectSize(item, wide, &subject, values, count);
    StreamPropSize(item, wide ? PR_BODY_W : PR_BODY_A, &body);
    GetAttachmentsSize(item, &attachments);
    const ULONG sum = subject + body + attachments;
    g_Log.Info(3, "Quorvel_GetSubjectBodyAttachmentsSize",
               "SUM = %d, cbSubject = %d, cbBody = %d, cbAttachments = %d\n", static_cast<int>(sum),
               static_cast<int>(subject), static_cast<int>(body), static_cast<int>(attachments));
    return sum;
}

HRESULT ReadIfPresent(const char* routine, IMAPIProp* object, ULONG tag, MapiBuffer<SPropValue>& value) {
    const HRESULT hr = GetPropValue(object, tag, Out(value));
    if (hr == S_OK) return S_OK;
    if (hr != MAPI_W_ERRORS_RETURNED) {
        g_Log.Error(routine, "GetPropValue return 0x%x\n", static_cast<unsigned>(hr));
        return hr;
    }
    const MapiBuffer<SPropValue> failed = std::move(value);
    if (!failed || PROP_TYPE(failed->ulPropTag) != PT_ERROR) return hr;
    if (failed->Value.err == MAPI_E_NOT_FOUND) return S_OK;
    g_Log.Error(routine, "lpValue->Value.err = 0x%x\n", static_cast<unsigned>(failed->Value.err));
    return hr;
}

HRESULT ReadFlag(const char* routine, IMAPIProp* object, ULONG tag, bool* flag) {
    MapiBuffer<SPropValue> value;
    const HRESULT hr = ReadIfPresent(routine, object, tag, value);
    *flag = value && value->Value.b;
    return hr;
}

}  // namespace store
