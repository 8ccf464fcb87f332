#include "matrix/attachment_list.h"

#include <algorithm>

#include "base/mapi_extra.h"
#include "log/CLog.h"
#include "store/attachment_copy.h"
#include "store/attachments.h"
#include "store/properties.h"

namespace matrix {

using logging::g_Log;
using store::ComPtr;
using store::CTagList;
using store::MapiBuffer;

namespace {

constexpr ULONG kName = 1;  // the names follow the method
constexpr ULONG kRead = 4;

enum class EHolds { Data, Reference, Unknown };

EHolds HeldBy(long method) {
    switch (static_cast<ULONG>(method)) {
        case ATTACH_BY_VALUE:
        case ATTACH_EMBEDDED_MSG:
        case ATTACH_OLE:
            return EHolds::Data;
        case ATTACH_BY_REFERENCE:
        case ATTACH_BY_REF_RESOLVE:
        case ATTACH_BY_REF_ONLY:
        case ATTACH_BY_WEBREFERENCE:
            return EHolds::Reference;
        default:
            return EHolds::Unknown;
    }
}

/// Reads as much as it can.
void ReadAttachment(const char* routine, IMessage* item, const char* entryId, TMatrixAttachment& out) {
    ComPtr<IAttach> attachment;
    if (out.number == store::kUnknownAttachment ||
        store::OpenAttachment(item, out.number, &attachment) != S_OK) {
        return;
    }
    CTagList tags(PR_ATTACH_METHOD, PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_FILENAME_W, PR_DISPLAY_NAME_W);
    MapiBuffer<SPropValue> values;
    ULONG count = 0;
    const HRESULT hr = store::GetPropValues(attachment.Get(), tags, &count, store::Out(values));
    if (!store::IsReadSuccess(hr) || count == 0) {
        g_Log.Error(routine, "Quorvel_GetPropValues returned 0x%x, EntryID = %s\n", static_cast<unsigned>(hr),
                    entryId);
        return;
    }
    const SPropValue& method = values.get()[0];
    const wchar_t* const name = FirstText(values.get() + kName, std::min(count, kRead) - kName);
    ULONG photo = 0;
    const bool photoKnown = store::Attach_IsContactPhoto_get(attachment.Get(), &photo) == S_OK;
    out.name = base::OrEmpty(name);
    out.photo = photo != 0;
    out.method = method.ulPropTag == PR_ATTACH_METHOD ? method.Value.l : static_cast<long>(NO_ATTACHMENT);
    const EHolds holds = HeldBy(out.method);
    ULONG size = 0;
    // A reference has no size of its own; name and path decide.
    const bool sizeKnown =
        holds == EHolds::Reference || store::GetAttachmentRealSize(attachment.Get(), &size) == S_OK;
    out.size = size;
    out.comparable = holds != EHolds::Unknown && name && photoKnown && sizeKnown;
}

}  // namespace

const wchar_t* FirstText(const SPropValue* values, ULONG count) {
    for (ULONG i = 0; i < count; ++i) {
        const ULONG type = PROP_TYPE(values[i].ulPropTag);
        if (type == PT_UNICODE && *base::OrEmpty(values[i].Value.lpszW)) return values[i].Value.lpszW;
        if (type == PT_ERROR && values[i].Value.err != MAPI_E_NOT_FOUND) return nullptr;
    }
    return L"";
}

std::vector<TMatrixAttachment> ListAttachments(const char* routine, IMessage* item, const char* entryId) {
    std::vector<TMatrixAttachment> list;
    std::vector<long> numbers;
    if (store::ListAttachments(item, numbers) != S_OK) return list;
    for (const long number : numbers) {
        TMatrixAttachment attachment{};
        attachment.number = number;
        ReadAttachment(routine, item, entryId, attachment);
        if (attachment.photo && attachment.method != static_cast<long>(ATTACH_BY_VALUE)) {
            g_Log.Error(routine,
                        "ContactPhoto.PR_ATTACH_METHOD = %d (!= ATTACH_BY_VALUE)\n"
                        "Processing this attachment is normal attachment\n",
                        static_cast<int>(attachment.method));
            attachment.photo = false;
        }
        list.push_back(std::move(attachment));
    }
    return list;
}

}  // namespace matrix
