#include "store/attachments.h"

#include <mapidefs.h>
#include <mapiguid.h>
#include <mapitags.h>

#include "log/PlatformCalls.h"
#include "store/mapi_extra.h"
#include "store/properties.h"
#include "store/streams.h"

namespace store {
namespace {

bool HasAttachments(IMessage* item) {
    MapiBuffer<SPropValue> flag;
    const HRESULT hr = GetPropValue(item, PR_HASATTACH, Out(flag));
    return hr == S_OK && flag->Value.b;
}

HRESULT SizeByValue(PlatformCalls& calls, IAttach* attachment, ULONG* size) {
    ComPtr<IStream> stream;
    STATSTG stat = {};
    if (calls(attachment->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0, OutUnknown(stream)),
              "ATTACH_BY_VALUE: OpenProperty(PR_ATTACH_DATA_BIN,IStream) returned 0x%x\n") &&
        calls(stream->Stat(&stat, STATFLAG_NONAME), "ATTACH_BY_VALUE: pStream->Stat returned 0x%x\n")) {
        *size = stat.cbSize.LowPart;
    }
    return calls.result;
}

HRESULT SizeOfEmbedded(PlatformCalls& calls, IAttach* attachment, ULONG* size) {
    ComPtr<IMessage> message;
    MapiBuffer<SPropValue> value;
    if (calls(attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, OutUnknown(message)),
              "ATTACH_EMBEDDED_MSG: OpenProperty(PR_ATTACH_DATA_OBJ,IMessage) returned 0x%x\n") &&
        calls(GetPropValue(message.Get(), PR_MESSAGE_SIZE, Out(value)),
              "ATTACH_EMBEDDED_MSG: GetProp(PR_MESSAGE_SIZE) return 0x%x\n")) {
        *size = value->Value.ul;
    }
    return calls.result;
}

HRESULT SizeOfOle(PlatformCalls& calls, IAttach* attachment, ULONG* size) {
    const struct {
        ULONG tag;
        const IID* iid;
    } attempts[] = {
        {PR_ATTACH_DATA_OBJ, &IID_IStreamDocfile},
        {PR_ATTACH_DATA_BIN, &IID_IStreamDocfile},
        {PR_ATTACH_DATA_OBJ, &IID_IStream},
    };
    HRESULT opened[std::size(attempts)] = {};
    for (size_t i = 0; i < std::size(attempts); i++) {
        ComPtr<IStream> stream;
        opened[i] = attachment->OpenProperty(attempts[i].tag, attempts[i].iid, 0, 0, OutUnknown(stream));
        if (opened[i] != S_OK) continue;
        STATSTG stat = {};
        if (calls(stream->Stat(&stat, STATFLAG_NONAME),
                  "ATTACH_BY_VALUE: pStream->Stat returned 0x%x, i = %d\n", static_cast<int>(i))) {
            *size = stat.cbSize.LowPart;
        }
        return calls.result;
    }
    g_Log.Error(calls.tag, "ATTACH_BY_VALUE: OpenProperty retuned 0x%x, 0x%x, 0x%x\n",
                static_cast<unsigned>(opened[0]), static_cast<unsigned>(opened[1]),
                static_cast<unsigned>(opened[2]));
    return opened[2];
}

}  // namespace

HRESULT GetAttachments(IMessage* item, long** numbers, ULONG* count) {
    PlatformCalls calls("Quorvel_GetAttachments");
    *numbers = nullptr;
    *count = 0;
    if (!HasAttachments(item)) return S_OK;

    TagList columns(PR_ATTACH_NUM);
    ComPtr<IMAPITable> table;
    ULONG rowCount = 0;
    RowSet rows;
    if (!calls(item->GetAttachmentTable(0, &table), "pMessage->GetAttachmentTable return 0x%x\n") ||
        !calls(table->SetColumns(columns, 0), "pTable->SetColumns return 0x%x\n") ||
        !calls(table->GetRowCount(0, &rowCount), "pTable->GetRowCount return 0x%x\n") || rowCount == 0) {
        return calls.result;
    }
    if (!calls(table->QueryRows(static_cast<LONG>(rowCount), 0, Out(rows)),
               "pTable->QueryRows return 0x%x\n")) {
        return calls.result;
    }
    if (!rows || rows->cRows == 0) return calls.result;
    MapiBuffer<long> found;
    if (!calls(Allocate(rows->cRows * sizeof(long), found), "MAPIAllocateBuffer returned 0x%x\n")) {
        return calls.result;
    }
    ULONG taken = 0;
    for (ULONG i = 0; i < rows->cRows; i++) {
        const SPropValue& number = rows->aRow[i].lpProps[0];
        if (number.ulPropTag == PR_ATTACH_NUM) {
            found.get()[taken++] = number.Value.l;
        } else {
            g_Log.Error(calls.tag, "pProps[0].ulPropTag = 0x%x\n", static_cast<unsigned>(number.ulPropTag));
        }
    }
    if (taken > 0) *numbers = found.release();
    *count = taken;
    return calls.result;
}

HRESULT GetAttachmentsSize(IMessage* item, ULONG* total) {
    PlatformCalls calls("Quorvel_GetAttachmentsSize");
    *total = 0;
    TagList columns(PR_ATTACH_SIZE, PR_DISPLAY_NAME_W);
    ComPtr<IMAPITable> table;
    ULONG rowCount = 0;
    RowSet rows;
    if (!calls(item->GetAttachmentTable(0, &table), "lpItem->GetAttachmentTable return 0x%x\n") ||
        !calls(table->GetRowCount(0, &rowCount), "lpTable->GetRowCount return 0x%x\n") || rowCount == 0 ||
        !calls(table->SetColumns(columns, 0), "lpTable->SetColumns return 0x%x\n")) {
        return calls.result;
    }
    if (!calls(table->QueryRows(static_cast<LONG>(rowCount), 0, Out(rows)),
               "lpTable->QueryRows return 0x%x\n")) {
        return calls.result;
    }
    if (!rows) return calls.result;
    for (ULONG i = 0; i < rows->cRows; i++) {
        const SPropValue& size = rows->aRow[i].lpProps[0];
        const SPropValue& name = rows->aRow[i].lpProps[1];
        if (PROP_TYPE(size.ulPropTag) == PT_ERROR) {
            g_Log.Error(calls.tag, "Row[%d].Prop[0].Type == PT_ERROR\n", static_cast<int>(i));
            continue;
        }
        g_Log.InfoW(3, calls.tag, L"DisplayName = \"%s\", Size = %d\n",
                    PROP_TYPE(name.ulPropTag) == PT_UNICODE ? name.Value.lpszW : L"Error", size.Value.l);
        *total += size.Value.ul;
    }
    return calls.result;
}

HRESULT OpenAttachment(IMessage* item, long number, IAttach** out) {
    PlatformCalls calls("Quorvel_OpenAttachment");
    ComPtr<IAttach> opened;
    if (calls(item->OpenAttach(static_cast<ULONG>(number), nullptr, 0, &opened),
              "pMsg->OpenAttach return 0x%x\n")) {
        *out = opened.Detach();
    }
    return calls.result;
}

HRESULT DeleteAttachment(IMessage* item, long number, int save) {
    PlatformCalls calls("Quorvel_DeleteAttachment");
    calls(item->DeleteAttach(static_cast<ULONG>(number), 0, nullptr, 0), "cant delete attach, hr=0x%x\n");
    if (save) item->SaveChanges(0);
    return calls.result;
}

HRESULT GetAttachmentRealSize(IAttach* attachment, ULONG* size) {
    PlatformCalls calls("Quorvel_GetAttachmentRealSize");
    *size = 0;
    MapiBuffer<SPropValue> method;
    if (!calls(GetPropValue(attachment, PR_ATTACH_METHOD, Out(method)), "IMapiProp::GetProp return 0x%x\n")) {
        return calls.result;
    }
    switch (method->Value.l) {
        case ATTACH_BY_VALUE:
            return SizeByValue(calls, attachment, size);
        case ATTACH_BY_REF_ONLY:
            return S_OK;
        case ATTACH_EMBEDDED_MSG:
            return SizeOfEmbedded(calls, attachment, size);
        case ATTACH_OLE:
            return SizeOfOle(calls, attachment, size);
        default:
            g_Log.Error(calls.tag, "Unknown attach method = %d\n", static_cast<int>(method->Value.l));
            return -1;
    }
}

}  // namespace store
