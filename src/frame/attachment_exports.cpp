// Exports of attachments and of finding and moving items.

#include "frame/trace.h"
#include "quorvel.h"
#include "store/attachment_copy.h"
#include "store/attachments.h"
#include "store/item_operations.h"

using frame::Trace;

HRESULT Quorvel_GetAttachments(IMessage* item, long** numbers, unsigned long* count) {
    Trace(__func__);
    return store::GetAttachments(item, numbers, count);
}

HRESULT Quorvel_GetAttachmentsSize(IMessage* item, unsigned long* total) {
    Trace(__func__);
    return store::GetAttachmentsSize(item, total);
}

HRESULT Quorvel_OpenAttachment(IMessage* item, long number, IAttach** out) {
    Trace(__func__);
    return store::OpenAttachment(item, number, out);
}

HRESULT Quorvel_CopyAttachment(IMessage* target, unsigned long* newNumber, IMessage* source, long number,
                               int saveTarget) {
    Trace(__func__);
    return store::CopyAttachment(target, newNumber, source, number, saveTarget);
}

HRESULT Quorvel_DeleteAttachment(IMessage* item, long number, int save) {
    Trace(__func__);
    return store::DeleteAttachment(item, number, save);
}

HRESULT Quorvel_SetPhotoAttachment(IMessage* contact, unsigned long* newNumber, IMessage* source, long number,
                                   int save) {
    Trace(__func__);
    return store::SetPhotoAttachment(contact, newNumber, source, number, save);
}

HRESULT Quorvel_ClearHasPhotoFlag(IMessage* contact, int save) {
    Trace(__func__);
    return store::ClearHasPhotoFlag(contact, save);
}

HRESULT Quorvel_FindItem(IMAPIFolder* folder, SPropValue* searchKey, char* entryId) {
    Trace(__func__);
    return store::FindItem(folder, searchKey, entryId);
}

HRESULT Quorvel_ItemMove(IMAPISession* session, const char* entryId, const char* srcFolderId,
                         const char* srcStoreId, const char* dstFolderId, const char* dstStoreId,
                         char* newEntryId) {
    Trace(__func__);
    return store::ItemMove(session, entryId, srcFolderId, srcStoreId, dstFolderId, dstStoreId, newEntryId);
}
