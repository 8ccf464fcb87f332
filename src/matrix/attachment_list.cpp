#include "matrix/attachment_list.h"

#include "log/CLog.h"
#include "store/attachments.h"
#include "store/mapi_extra.h"
#include "store/properties.h"

namespace {

constexpr ULONG kName = 1;  // the names follow the method

bool ReadAttachment(const char* routine, IMessage* item, const char* entryId, long number,
                    TMatrixAttachment& out) {
    ComPtr<IAttach> attachment;
    if (store::OpenAttachment(item, number, &attachment) != S_OK) return false;
    TagList tags(PR_ATTACH_METHOD, PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_FILENAME_W, PR_DISPLAY_NAME_W);
    MapiBuffer<SPropValue> values;
    ULONG count = 0;
    const HRESULT hr = store::GetPropValues(attachment.Get(), tags, &count, Out(values));
    if (!store::IsReadSuccess(hr) || count == 0) {
        g_Log.Error(routine, "Quorvel_GetPropValues returned 0x%x, EntryID = %s\n", static_cast<unsigned>(hr),
                    entryId);
        return false;
    }
    const SPropValue& method = values.get()[0];
    ULONG size = 0, photo = 0;
    store::GetAttachmentRealSize(attachment.Get(), &size);
    Attach_IsContactPhoto_get(attachment.Get(), &photo);
    out.number = number;
    out.name = FirstText(values.get() + kName, count - kName);
    out.size = size;
    out.method = method.ulPropTag == PR_ATTACH_METHOD ? method.Value.l : static_cast<long>(NO_ATTACHMENT);
    out.photo = photo != 0;
    return true;
}

}  // namespace

const wchar_t* FirstText(const SPropValue* values, ULONG count) {
    for (ULONG i = 0; i < count; ++i) {
        if (PROP_TYPE(values[i].ulPropTag) == PT_UNICODE && *OrEmpty(values[i].Value.lpszW)) {
            return values[i].Value.lpszW;
        }
    }
    return L"";
}

std::vector<TMatrixAttachment> ListAttachments(const char* routine, IMessage* item, const char* entryId) {
    std::vector<TMatrixAttachment> list;
    MapiBuffer<long> numbers;
    ULONG count = 0;
    if (store::GetAttachments(item, Out(numbers), &count) != S_OK) return list;
    for (ULONG i = 0; i < count; ++i) {
        TMatrixAttachment attachment{};
        if (!ReadAttachment(routine, item, entryId, numbers.get()[i], attachment)) continue;
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
