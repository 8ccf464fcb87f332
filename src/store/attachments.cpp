#include "store/attachments.h"

#include <mapidefs.h>
#include <mapiguid.h>
#include <mapitags.h>

#include <algorithm>

#include "base/mapi_extra.h"
#include "log/CPlatformCalls.h"
#include "store/properties.h"

namespace store {

using logging::CPlatformCalls;
using logging::g_Log;

namespace {

constexpr char kGetAttachments[] = "Quorvel_GetAttachments";

bool HasAttachments(IMessage* item) {
    MapiBuffer<SPropValue> flag;
    const HRESULT hr = GetPropValue(item, PR_HASATTACH, Out(flag));
    return hr == S_OK && flag->Value.b;
}

HRESULT SizeByValue(CPlatformCalls& calls, IAttach* attachment, ULONG* size) {
    ComPtr<IStream> stream;
    STATSTG stat = {};
    if (calls.Gives(stream,
                    attachment->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0, OutUnknown(stream)),
                    "ATTACH_BY_VALUE: OpenProperty(PR_ATTACH_DATA_BIN,IStream) returned 0x%x\n") &&
        calls(stream->Stat(&stat, STATFLAG_NONAME), "ATTACH_BY_VALUE: pStream->Stat returned 0x%x\n")) {
        *size = stat.cbSize.LowPart;
    }
    return calls.result;
}

HRESULT SizeOfEmbedded(CPlatformCalls& calls, IAttach* attachment, ULONG* size) {
    ComPtr<IMessage> message;
    MapiBuffer<SPropValue> value;
    if (calls.Gives(message,
                    attachment->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, OutUnknown(message)),
                    "ATTACH_EMBEDDED_MSG: OpenProperty(PR_ATTACH_DATA_OBJ,IMessage) returned 0x%x\n") &&
        calls(GetPropValue(message.Get(), PR_MESSAGE_SIZE, Out(value)),
              "ATTACH_EMBEDDED_MSG: GetProp(PR_MESSAGE_SIZE) return 0x%x\n")) {
        *size = value->Value.ul;
    }
    return calls.result;
}

HRESULT SizeOfOle(CPlatformCalls& calls, IAttach* attachment, ULONG* size) {
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
        if (opened[i] == S_OK && !stream) opened[i] = MAPI_E_CALL_FAILED;
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

HRESULT ListAttachments(IMessage* item, std::vector<long>& numbers) {
    CPlatformCalls calls(kGetAttachments);
    numbers.clear();
    CTagList columns(PR_ATTACH_NUM);
    ComPtr<IMAPITable> table;
    ULONG rowCount = 0;
    RowSet rows;
    if (!calls.Gives(table, item->GetAttachmentTable(0, &table),
                     "pMessage->GetAttachmentTable return 0x%x\n") ||
        !calls(table->SetColumns(columns, 0), "pTable->SetColumns return 0x%x\n") ||
        !calls(table->GetRowCount(0, &rowCount), "pTable->GetRowCount return 0x%x\n") || rowCount == 0 ||
        !calls(QueryRows(table.Get(), rowCount, rows), "pTable->QueryRows return 0x%x\n")) {
        return calls.result;
    }
    // What was counted and did not come is there all the same.
    numbers.assign(std::max(rowCount, rows->cRows), kUnknownAttachment);
    for (ULONG i = 0; i < rows->cRows; i++) {
        const SPropValue* const number = ColumnOf(rows->aRow[i], 0);
        if (number && number->ulPropTag == PR_ATTACH_NUM) {
            numbers[i] = number->Value.l;
        } else {
            g_Log.Error(calls.tag, "pProps[0].ulPropTag = 0x%x\n",
                        static_cast<unsigned>(number ? number->ulPropTag : 0));
        }
    }
    return calls.result;
}

HRESULT GetAttachments(IMessage* item, long** numbers, ULONG* count) {
    CPlatformCalls calls(kGetAttachments);
    *numbers = nullptr;
    *count = 0;
    if (!HasAttachments(item)) return S_OK;

    std::vector<long> list;
    if (const HRESULT hr = ListAttachments(item, list); hr != S_OK) return hr;
    std::erase(list, kUnknownAttachment);
    if (list.empty()) return S_OK;
    MapiBuffer<long> found;
    if (!calls(Allocate(list.size() * sizeof(long), found), "MAPIAllocateBuffer returned 0x%x\n")) {
        return calls.result;
    }
    std::copy(list.begin(), list.end(), found.get());
    *numbers = found.release();
    *count = static_cast<ULONG>(list.size());
    return S_OK;
}

HRESULT GetAttachmentsSize(IMessage* item, ULONG* total) {
    CPlatformCalls calls("Quorvel_GetAttachmentsSize");
    *total = 0;
    CTagList columns(PR_ATTACH_SIZE, PR_DISPLAY_NAME_W);
    ComPtr<IMAPITable> table;
    ULONG rowCount = 0;
    RowSet rows;
    if (!calls.Gives(table, item->GetAttachmentTable(0, &table),
                     "lpItem->GetAttachmentTable return 0x%x\n") ||
        !calls(table->GetRowCount(0, &rowCount), "lpTable->GetRowCount return 0x%x\n") || rowCount == 0 ||
        !calls(table->SetColumns(columns, 0), "lpTable->SetColumns return 0x%x\n")) {
        return calls.result;
    }
    if (!calls(QueryRows(table.Get(), rowCount, rows), "lpTable->QueryRows return 0x%x\n")) {
        return calls.result;
    }
    for (ULONG i = 0; i < rows->cRows; i++) {
        const SPropValue* const size = ColumnOf(rows->aRow[i], 0);
        const SPropValue* const name = ColumnOf(rows->aRow[i], 1);
        if (!size || PROP_TYPE(size->ulPropTag) == PT_ERROR) {
            g_Log.Error(calls.tag, "Row[%d].Prop[0].Type == PT_ERROR\n", static_cast<int>(i));
            continue;
        }
        g_Log.InfoW(
            3, calls.tag, L"DisplayName = \"%s\", Size = %d\n",
            name && PROP_TYPE(name->ulPropTag) == PT_UNICODE ? base::OrEmpty(name->Value.lpszW) : L"Error",
            size->Value.l);
        *total += size->Value.ul;
    }
    return calls.result;
}

HRESULT OpenAttachment(IMessage* item, long number, IAttach** out) {
    CPlatformCalls calls("Quorvel_OpenAttachment");
    ComPtr<IAttach> opened;
    if (calls.Gives(opened, item->OpenAttach(static_cast<ULONG>(number), nullptr, 0, &opened),
                    "pMsg->OpenAttach return 0x%x\n")) {
        *out = opened.Detach();
    }
    return calls.result;
}

HRESULT DeleteAttachment(IMessage* item, long number, int save) {
    CPlatformCalls calls("Quorvel_DeleteAttachment");
    calls(item->DeleteAttach(static_cast<ULONG>(number), 0, nullptr, 0), "cant delete attach, hr=0x%x\n");
    if (save) item->SaveChanges(0);
    return calls.result;
}

HRESULT GetAttachmentRealSize(IAttach* attachment, ULONG* size) {
    CPlatformCalls calls("Quorvel_GetAttachmentRealSize");
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
