#pragma once
// Attachments of an item: listed, measured, copied, deleted; a contact's photo.

#include "store/resources.h"

namespace store {
HRESULT GetAttachments(IMessage* item, long** numbers, ULONG* count);
HRESULT GetAttachmentsSize(IMessage* item, ULONG* total);
HRESULT OpenAttachment(IMessage* item, long number, IAttach** out);
HRESULT CopyAttachment(IMessage* target, ULONG* newNumber, IMessage* source, long number, int saveTarget);
HRESULT DeleteAttachment(IMessage* item, long number, int save);
HRESULT SetPhotoAttachment(IMessage* contact, ULONG* newNumber, IMessage* source, long number, int save);
HRESULT ClearHasPhotoFlag(IMessage* contact, int save);
HRESULT GetAttachmentRealSize(IAttach* attachment, ULONG* size);
}  // namespace store

HRESULT Attach_Hidden_get(IAttach* attachment, ULONG* flag);
HRESULT Attach_IsContactPhoto_get(IAttach* attachment, ULONG* flag);
HRESULT Attach_IsContactPhoto_set(IAttach* attachment, unsigned short value);
HRESULT Attach_RenderingPosition_set(IAttach* attachment, ULONG position);
